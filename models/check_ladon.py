"""Holds the Ladon networks against the trained networks run alone, and measures their colour tables and time."""

import tempfile
import time
from pathlib import Path

import numpy as np
import openvino as ov
from PIL import Image, ImageDraw

from models import check_hands, ir, pictures, recipes, reference, selfie, sources, table

LARGE, SMALL, LARGE_TABLE, SMALL_TABLE = (pair.name for pair in table.PAIRS if pair.name.startswith("Ladon"))
_SEGMENTATION = {LARGE: "Large_640360_Chan4_D5_V33_03032022", SMALL: "Large_256144_Chan4_D5_V33_03032022"}
_SETTINGS = {"INFERENCE_NUM_THREADS": 1, "NUM_STREAMS": 1, "INFERENCE_PRECISION_HINT": "f32"}
_CASTS = {"warm": (1.4, 1.0, 0.6), "cold": (0.7, 1.0, 1.35), "green": (0.85, 1.15, 0.8)}
# Places of portraits in scenes with several: left, top, side, in parts of the picture's width, height, height.
_SEVERAL = (((0.02, 0.05, 0.9), (0.55, 0.1, 0.75)), ((0.0, 0.3, 0.6), (0.62, 0.0, 0.95)),
            ((0.0, 0.0, 0.5), (0.34, 0.4, 0.55), (0.68, 0.05, 0.45)), ((0.3, 0.1, 0.4),))
_PUPILS = np.array([[263.4, 119.7], [318.5, 123.1]])  # in the sample photograph, marked by hand
_HIGHEST = {"segmentation": 255, "motion": 1, "gesture": 1, "lut": 1, "lut_vertices": 1, "lut_confidence": 1}
_LUMINANCE = np.array([0.2126, 0.7152, 0.0722])


class Network:
    """A network on one thread of the processor. `inner` names nodes whose values are told too."""

    def __init__(self, model, inner=None):
        self._names = [result.get_friendly_name().removesuffix("/sink_port_0") for result in model.get_results()]
        for name, node in (inner or {}).items():
            model.add_outputs([node.output(0)])
            self._names.append(name)
        self._request = ov.Core().compile_model(model, "CPU", _SETTINGS).create_infer_request()
        self.height, self.width = model.input(0).get_shape()[2:]

    def run(self, picture, previous=None):
        """Outputs by name. `picture` is of bytes, `previous` a mask of bytes."""
        before = np.zeros((self.height, self.width)) if previous is None else previous
        self._frame = np.concatenate([pictures.planes(np.asarray(picture)), before[None, None].astype(np.float32)], 1)
        made = self._request.infer([self._frame])
        return {name: made[output].copy() for name, output in zip(self._names, self._request.model_outputs)}

    def processor_time(self):
        """Seconds of one run on the frame given last."""
        start = time.process_time()
        self._request.infer([self._frame], share_inputs=True)
        return time.process_time() - start


def rows(folder, downloads):
    """(what, value, sign, limit) of each measurement."""
    alone = reference.Reference(sources.Sources(downloads))
    networks = {name: read(folder, name) for name in (LARGE, SMALL, LARGE_TABLE, SMALL_TABLE)}
    for name in (SMALL, LARGE):
        yield from _mask(folder, name, networks[name])
        yield from _face_stages(name, networks[name], alone)
        yield from _hand_stages(name, networks[name], alone)
    yield from _trained_mask(networks[SMALL], downloads)
    yield from check_hands.rows({_size(name): networks[name] for name in (SMALL, LARGE)})
    yield from _pupils(networks[LARGE])
    yield from _tables(networks[SMALL_TABLE])
    yield from _robustness(networks)
    yield from _same_again(folder, downloads)
    yield from _times(folder, networks)


def read(folder, name):
    """The network with the hand's points and palm, which stay inside it, as "hand" and "palm"."""
    model = ov.Core().read_model(folder / f"{name}.xml")
    return Network(model, {"hand": _last(model, "Concat", [1, 21, 3]), "palm": _last(model, "Multiply", [1, 4, 2])})


def faces(grid):
    """Cell, score, box as left, top, right, bottom and 478x3 points of each face in "faces_and_landmarks"."""
    cells = grid[0, 0]
    found = [((y, x), *np.split(cells[y, x], [1, 5])) for y, x in np.argwhere(cells[..., 0] > 0)]
    told = [(cell, score[0], box, points.reshape(-1, 3)) for cell, score, box, points in found]
    return sorted(told, key=lambda face: -face[1])


def _last(model, kind, shape):
    return [node for node in model.get_ordered_ops() if node.get_type_name() == kind
            and node.get_output_partial_shape(0).is_static and list(node.get_output_shape(0)) == shape][-1]


def _mask(folder, name, network):
    """The mask against the segmentation network of the same size, and the motion that both masks tell."""
    segmentation = Network(ov.Core().read_model(folder / f"{_SEGMENTATION[name]}.xml"))
    difference, motion = 0.0, 0.0
    for picture in pictures.portraits(network.width, network.height, views=6):
        previous = None
        for _ in range(2):
            made, alone = network.run(picture, previous), segmentation.run(picture, previous)["output_mask"] * 255
            before = 0 if previous is None else previous
            difference = max(difference, np.abs(made["segmentation"] - alone).max())
            motion = max(motion, abs(made["motion"].item() - np.abs(alone - before).mean() / 255))
            previous = made["segmentation"][0, 0].astype(np.uint8)
    yield f"Ladon {_size(name)} mask to the segmentation pair's, levels", difference, "<=", 0.05
    yield f"Ladon {_size(name)} motion, error", motion, "<=", 0.001


def _trained_mask(network, downloads):
    trained = ov.Core().compile_model(selfie.load(sources.Sources(downloads)), "CPU", _SETTINGS)
    difference = 0.0
    for picture in pictures.portraits(network.width, network.height, views=6):
        alone = trained([pictures.planes(picture, 1 / 255)])[0] * 255
        difference = max(difference, np.abs(network.run(picture)["segmentation"] - alone).max())
    yield "Ladon 256x144 mask to the trained network's, levels", difference, "<=", 0.05


def _face_stages(name, network, alone):
    """Largest distances of boxes and points, in widths of the face's box, over all faces of all scenes."""
    box, mesh, iris, same_number, placed, size = 0.0, 0.0, 0.0, [], [], np.array([network.width, network.height])
    for scene in _scenes(network):
        expected, grid = alone.faces(scene), network.run(scene)["faces_and_landmarks"]
        found = faces(grid)
        same_number.append(len(found) == len(expected))
        placed.append(_only_faces_in_their_cells(grid, found))
        for number, ((_, _, told, points), (_, face)) in enumerate(zip(found, expected)):
            width = face[1, 0] - face[0, 0]
            box = max(box, np.abs(told.reshape(2, 2) * size - face[:2]).max() / width)
            if number < 2:
                points = points * [network.width, network.height, network.width]
                outline = alone.mesh(scene, face)[0]
                irises = alone.irises(scene, outline)
                mesh = max(mesh, _farthest(points[:468], outline) / width)
                iris = max(iris, _farthest(points[468:], irises) / width)
    size = _size(name)
    yield f"Ladon {size} scenes with as many faces as found alone", np.mean(same_number), ">=", 1.0
    yield f"Ladon {size} scenes with faces in their cells only", np.mean(placed), ">=", 1.0
    yield f"Ladon {size} face boxes, largest error in face widths", box, "<=", 0.005
    yield f"Ladon {size} mesh, largest error in face widths", mesh, "<=", 0.005
    yield f"Ladon {size} irises, largest error in face widths", iris, "<=", 0.005


def _scenes(network):
    """Pictures with one face, level and turned, and with several."""
    size = (network.width, network.height)
    for angle in (0, -35, -15, 20, 40):
        turned = pictures.portrait().rotate(angle, Image.BICUBIC).crop((0, 8, 496, 287))
        yield np.asarray(turned.resize(size, Image.LANCZOS))
    yield from pictures.portraits(*size, views=5)
    for background, places in zip(pictures.backgrounds(*size), _SEVERAL):
        scene = Image.fromarray(background)
        for x, y, side in places:
            side = round(side * network.height)
            scene.paste(pictures.portrait().resize((side, side), Image.LANCZOS),
                        (round(x * network.width), round(y * network.height)))
        yield np.asarray(scene)


def _only_faces_in_their_cells(grid, found):
    cells = grid[0, 0].copy()
    for cell, _, box, _ in found:
        x, y = (box[:2] + box[2:]) / 2 * [16, 9]
        if cell != (int(y), int(x)):
            return False
        cells[cell] = 0
    return not cells.any()


def _hand_stages(name, network, alone):
    """Largest distances of the palm and of the hand's points, in sides of the palm's box, on drawn hands."""
    palm, hand = 0.0, 0.0
    for _, scene, _ in check_hands.scenes(network.width, network.height):
        made, (expected, _) = network.run(scene), alone.palm(scene)
        side = expected[1].max()
        palm = max(palm, _farthest(made["palm"][0], expected) / side)
        hand = max(hand, _farthest(made["hand"][0], alone.hand(scene, expected)[0]) / side)
    yield f"Ladon {_size(name)} palm, largest error in its sides", palm, "<=", 0.005
    yield f"Ladon {_size(name)} hand points, largest error in sides of the palm", hand, "<=", 0.005


def _pupils(network):
    """The irises' centres to the pupils of the sample photograph, marked by hand."""
    (_, _, box, points), = faces(network.run(pictures.sample())["faces_and_landmarks"])
    centres = points[[468, 473], :2] * [network.width, network.height]
    width = (box[2] - box[0]) * network.width
    yield "Ladon 640x360 pupils, largest error in face widths", _farthest(centres, _PUPILS) / width, "<=", 0.02


def _tables(network):
    """What is left of casts, where they clip nothing, and of too little light when the table is put on the picture."""
    plain = np.asarray(pictures.sample().resize((network.width, network.height), Image.LANCZOS))
    neutral = applied(network.run(plain), plain)
    for name, gains in _CASTS.items():
        cast = np.uint8(np.clip(np.rint(plain * np.array(gains)), 0, 255))
        kept = cast.max(2) < 250
        before, after = _cast(cast[kept], plain[kept]), _cast(applied(network.run(cast), cast)[kept], neutral[kept])
        yield f"Ladon table, {name} cast, angle to grey left of {before:.1f} degrees", after, "<=", 3.0
    for exposure in (0.35, 0.6):
        dark = np.uint8(np.rint(plain * exposure))
        bright = applied(network.run(dark), dark)
        yield (f"Ladon table, light times {exposure}, luminance of the corrected plain picture",
               _luminance(bright) / _luminance(neutral), ">=", 0.9)
    yield "Ladon table, cast that it gives the plain picture, degrees", _cast(neutral, plain), "<=", 3.0


def applied(made, picture):
    """Bytes of the picture with the table on it, interpolated between its vertices."""
    lut, vertices = made["lut"][0], made["lut_vertices"][0]
    below, share = [], []
    for channel in range(3):
        values = picture[..., channel] / 255
        cell = np.clip(np.searchsorted(vertices[channel], values, "right") - 1, 0, 31)
        low, high = vertices[channel][cell], vertices[channel][cell + 1]
        below.append(cell)
        share.append((values - low) / (high - low))
    total = 0.0
    for corner in np.ndindex(2, 2, 2):
        weight = np.prod([s if c else 1 - s for c, s in zip(corner, share)], axis=0)
        red, green, blue = (b + c for b, c in zip(below, corner))
        total = total + weight * lut[:, blue, green, red]
    return np.uint8(np.clip(np.rint(total * 255), 0, 255)).transpose(1, 2, 0)


def _cast(picture, plain):
    """How far, in degrees, the ratio of both pictures' mean colours is from grey."""
    ratio = picture.reshape(-1, 3).mean(0) / plain.reshape(-1, 3).mean(0)
    return np.degrees(np.arccos(np.clip(ratio.sum() / np.linalg.norm(ratio) / np.sqrt(3), -1, 1)))


def _luminance(picture):
    return (picture.mean((0, 1)) * _LUMINANCE).sum()


def _robustness(networks):
    """Outputs that are no number, or out of their range, on pictures of any bytes."""
    wrong, falling, told = 0, 0, 0
    for network in networks.values():
        for picture, previous in _any_bytes(network):
            made = network.run(picture, previous)
            wrong += sum(not np.isfinite(values).all() for values in made.values())
            wrong += sum(values.min() < 0 or values.max() > _HIGHEST[name] for name, values in made.items()
                         if name in _HIGHEST)
            told += int(made["gesture"].any() or made["faces_and_landmarks"].any())
            if "lut" in made:
                vertices = made["lut_vertices"][0]
                falling += int((np.diff(vertices) <= 0).any() or vertices[:, 0].any() or (vertices[:, -1] != 1).any())
                falling += sum(int((np.diff(made["lut"][0, c], axis=2 - c) < 0).any()) for c in range(3))
    yield "Ladon outputs out of range or no number, on any bytes", wrong, "<=", 0
    yield "Ladon tables that do not rise from 0 to 1, on any bytes", falling, "<=", 0
    yield "Ladon faces and gestures in pictures that show none", told, "<=", 0


def _any_bytes(network):
    """Pictures and masks: empty, full, one channel only, noise, stripes, textures."""
    random = np.random.default_rng(17)
    shape = (network.height, network.width, 3)
    mask = random.integers(0, 256, shape[:2]).astype(np.uint8)
    for value in (0, 255, 1, 128, (255, 0, 0), (0, 255, 0), (0, 0, 255)):
        yield np.full(shape, value, np.uint8), mask
    for _ in range(3):
        yield random.integers(0, 256, shape).astype(np.uint8), mask
    yield np.uint8(255 * (np.indices(shape)[1] % 2)), None
    yield from ((background, None) for background in pictures.backgrounds(network.width, network.height))


def _same_again(folder, downloads):
    """The pairs made once more: the same bytes, and the same results as before they were written."""
    kitchen, other_bytes, difference = recipes.Recipes(downloads), 0, 0.0
    with tempfile.TemporaryDirectory() as again:
        for name in (LARGE, SMALL, LARGE_TABLE, SMALL_TABLE):
            made = kitchen.make(table.pair(name))
            ir.write(made, Path(again))
            other_bytes += sum((Path(again) / f"{name}{end}").read_bytes() != (folder / f"{name}{end}").read_bytes()
                               for end in (".xml", ".bin"))
            written, direct = Network(ov.Core().read_model(folder / f"{name}.xml")), Network(made)
            picture = pictures.sample().resize((written.width, written.height), Image.LANCZOS)
            expected = direct.run(picture)
            difference = max(difference, *(np.abs(values - expected[output]).max()
                                           for output, values in written.run(picture).items()))
    yield "Ladon files that differ when made again", other_bytes, "<=", 0
    yield "Ladon outputs of the files to those before writing", difference, "<=", 0.001


def _times(folder, networks):
    segmentation = Network(ov.Core().read_model(folder / f"{_SEGMENTATION[SMALL]}.xml"))
    timed = {"": segmentation} | {name: Network(ov.Core().read_model(folder / f"{name}.xml")) for name in networks}
    taken = {name: [] for name in timed}
    for network in timed.values():
        network.run(pictures.sample().resize((network.width, network.height), Image.LANCZOS))
    for _ in range(60):
        for name, network in timed.items():
            taken[name].append(network.processor_time())
    for name in networks:
        print(f"      Ladon {_size(name)} one inference, one thread: {min(taken[name]) * 1e3:.2f} ms")
    for name in (SMALL, SMALL_TABLE):
        ratio = np.median(np.array(taken[name]) / np.array(taken[""]))
        yield f"Ladon {_size(name)} time to that of 256x144 segmentation", ratio, "<=", 20.0


def sheet(folder):
    """Three pictures of 640x360: what both sizes find in the sample photograph, and a cast with and without the table."""
    photograph = pictures.sample()
    for name in (SMALL, LARGE):
        network = read(folder, name)
        scene = photograph.resize((network.width, network.height), Image.LANCZOS)
        yield _marked(photograph, network.run(scene)["faces_and_landmarks"])
    network = read(folder, SMALL_TABLE)
    plain = np.asarray(photograph.resize((network.width, network.height), Image.LANCZOS))
    cast = np.uint8(np.clip(np.rint(plain * np.array(_CASTS["warm"])), 0, 255))
    halves = np.concatenate([cast[:, :128], applied(network.run(cast), cast)[:, 128:]], 1)
    yield Image.fromarray(halves).resize(photograph.size, Image.LANCZOS)


def _marked(photograph, grid):
    """Box, mesh and irises, magnified round the likeliest face."""
    _, _, box, points = faces(grid)[0]
    times, size = 2, np.array(photograph.size)
    page = photograph.resize(tuple(int(n) for n in size * times), Image.LANCZOS)
    draw = ImageDraw.Draw(page)
    draw.rectangle([tuple(corner) for corner in box.reshape(2, 2) * size * times], outline="yellow")
    for number, (x, y) in enumerate(points[:, :2] * size * times):
        colour = "lime" if number < 468 else "red"
        draw.rectangle([x - 1, y - 1, x + 1, y + 1], fill=colour)
    middle = (box[:2] + box[2:]) / 2 * size * times - size / 2
    x, y = np.clip(middle, 0, size * (times - 1)).astype(int)
    return page.crop((x, y, x + photograph.width, y + photograph.height))


def _farthest(found, expected):
    """In the picture's plane."""
    return np.linalg.norm(found[:, :2] - expected[:, :2], axis=1).max()


def _size(name):
    pair = table.pair(name)
    return f"{pair.input.shape[3]}x{pair.input.shape[2]}{' with table' if len(pair.outputs) > 4 else ''}"
