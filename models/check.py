"""Measures the made pairs on pictures outside the calibration set and holds them against what they must reach.

Masks are compared at the threshold of one half. Feedback is what the host does: the output times 255, truncated to bytes,
is the next frame's fourth plane. Networks compute in single precision, as in the host. Times are processor time of one
thread in interleaved runs, the fastest of each and the median of the ratios.
"""

import itertools
import time

import numpy as np
import openvino as ov
from PIL import Image, ImageFilter

from models import check_content, check_faces, check_ladon, pictures, table

SMALL, SMALL_U8, LARGE, LARGE_U8 = (pair.name for pair in table.PAIRS[:4])
_STILL_FRAMES = 12
_FRAMES_AFTER_CUT = 3
_BAND = 8  # pixels on both sides of an outline that count as its edge


class Network:
    """One made pair on one thread of the processor."""

    def __init__(self, folder, name):
        settings = {"INFERENCE_NUM_THREADS": 1, "NUM_STREAMS": 1, "INFERENCE_PRECISION_HINT": "f32"}
        self._request = ov.Core().compile_model(folder / f"{name}.xml", "CPU", settings).create_infer_request()
        self.height, self.width = table.pair(name).input.shape[2:]

    def mask(self, picture, previous=None):
        """Mask of a picture, 0..1, height x width; `previous` is a mask of bytes."""
        if previous is None:
            previous = np.zeros((self.height, self.width), np.uint8)
        self.frame = np.concatenate([pictures.planes(picture), previous[None, None].astype(np.float32)], axis=1)
        return next(iter(self._request.infer([self.frame]).values()))[0, 0].copy()

    def masks(self, frames, feedback, previous=None):
        """Masks of bytes of following frames."""
        made = []
        for frame in frames:
            previous = _bytes(self.mask(frame, previous if feedback else None))
            made.append(previous)
        return made

    def processor_time(self):
        """Seconds of one run on the frame given last."""
        start = time.process_time()
        self._request.infer([self.frame], share_inputs=True)
        return time.process_time() - start


def run(folder, sheet_file, downloads):
    """Prints the figures. Returns the number of those that miss."""
    networks = {name: Network(folder, name) for name in (SMALL, SMALL_U8, LARGE, LARGE_U8)}
    cut_out = CutOut(networks[SMALL])
    rows = [*_quantisation(networks, cut_out), *_steadiness(networks, cut_out), *_recovery(networks, cut_out),
            *_edges(networks, cut_out), *_times(networks), *check_faces.rows(folder),
            *check_content.rows(folder), *check_ladon.rows(folder, downloads)]
    for what, value, sign, limit in rows:
        print(f"{'ok  ' if _holds(value, sign, limit) else 'MISS'}  {what:<70} {value:8.3f}  {sign} {limit}")
    if sheet_file:
        sheet(folder, sheet_file)
    return sum(not _holds(value, sign, limit) for _, value, sign, limit in rows)


class CutOut:
    """The person of the sample photograph before other backgrounds, cut out along a smooth line that is known."""

    def __init__(self, network):
        picture = pictures.sample()
        mask = network.mask(_resized(picture, network.width, network.height))
        mask[:, network.width * 3 // 4:] = 0  # what stands there is no person
        enlarged = Image.fromarray(mask).resize(picture.size, Image.BILINEAR)
        line = Image.fromarray(np.uint8(255 * (np.asarray(enlarged) > 0.5))).filter(ImageFilter.GaussianBlur(3))
        sharp = Image.fromarray(np.uint8(255 * (np.asarray(line) > 127))).filter(ImageFilter.GaussianBlur(0.7))
        self.outline = np.asarray(sharp) / 255
        self.pictures = [pictures.composite(np.asarray(picture), self.outline, b)
                         for b in pictures.backgrounds(*picture.size)]


def _quantisation(networks, cut_out):
    for exact, quantised in ((SMALL, SMALL_U8), (LARGE, LARGE_U8)):
        worst = 1.0
        network = networks[exact]
        for picture in (*pictures.portraits(network.width, network.height, views=100), *_composites(network, cut_out)):
            before = _bytes(network.mask(picture))
            for previous in (None, before):
                worst = min(worst, _overlap(network.mask(picture, previous),
                                            networks[quantised].mask(picture, previous)))
        yield f"{_size(exact)} U8 to float, worst IoU", worst, ">=", 0.98


def _steadiness(networks, cut_out):
    for name, network in networks.items():
        random = np.random.default_rng(3)
        worst = 0.0
        for picture, deviation in zip(_people(network, cut_out), itertools.cycle((4, 5, 6))):
            frames = [pictures.noisy(picture, random, deviation) for _ in range(_STILL_FRAMES)]
            with_feedback, without = (_change(network.masks(frames, feedback)) for feedback in (True, False))
            worst = max(worst, with_feedback / without)
        yield f"{_size(name)} still noisy picture, change to that without feedback", worst, "<=", 0.5


def _recovery(networks, cut_out):
    for name, network in networks.items():
        random = np.random.default_rng(5)
        empty = list(pictures.backgrounds(network.width, network.height))[:2]
        scenes = [*_people(network, cut_out), *empty]
        frames = [[pictures.noisy(scene, random, 5) for _ in range(_FRAMES_AFTER_CUT)] for scene in scenes]
        fresh = [network.masks(f, feedback=False) for f in frames]
        settled = [network.masks(f, feedback=True)[-1] for f in frames]
        worst = 1.0
        for old, new in itertools.permutations(range(len(scenes)), 2):
            after = network.masks(frames[new], True, settled[old])
            worst = min(worst, _overlap(after[-1] / 255, fresh[new][-1] / 255))
        yield f"{_size(name)} third frame after a cut, worst IoU", worst, ">=", 0.95


def _edges(networks, cut_out):
    """How far masks are from the known outline near its edge: the large network's against a small mask made larger."""
    inside = cut_out.outline > 0.5
    band = _grown(inside, _BAND) & _grown(~inside, _BAND)
    small, large = [], []
    for picture in cut_out.pictures:
        little = _resized(Image.fromarray(picture), 256, 144)
        enlarged = Image.fromarray(networks[SMALL].mask(little)).resize((640, 360), Image.BILINEAR)
        small.append(np.abs(np.asarray(enlarged) - cut_out.outline)[band].mean())
        large.append(np.abs(networks[LARGE].mask(picture) - cut_out.outline)[band].mean())
    worst = max(fine / coarse for fine, coarse in zip(large, small))
    yield "640x360 edge error to that of a 256x144 mask made larger", worst, "<=", 0.9


def _times(networks):
    times = {name: [] for name in networks}
    for name, network in networks.items():
        network.mask(_resized(pictures.sample(), network.width, network.height))
    for _ in range(150):
        for name, network in networks.items():
            times[name].append(network.processor_time())
    for name, taken in times.items():
        print(f"      {_size(name)} one inference, one thread: {min(taken) * 1e3:.2f} ms")

    def ratio(above, below):
        return np.median(np.array(times[above]) / np.array(times[below]))

    yield "640x360 time to that of 256x144", ratio(LARGE, SMALL), "<=", 10.0
    for exact, quantised in ((SMALL, SMALL_U8), (LARGE, LARGE_U8)):
        yield f"{_size(exact)} U8 time to that of float", ratio(quantised, exact), "<=", 1.03


def sheet(folder, file):
    """Draws the sample photograph, its masks and cut-outs of both sizes, a magnified part, and what Ladon makes of it."""
    photograph = pictures.sample()
    rows = []
    for name in (SMALL_U8, LARGE_U8):
        network = Network(folder, name)
        mask = network.mask(_resized(photograph, network.width, network.height))
        full = np.asarray(Image.fromarray(mask).resize(photograph.size, Image.BILINEAR))
        cut = Image.fromarray(pictures.composite(np.asarray(photograph), full, np.array([32, 96, 160])))
        grey = Image.fromarray(np.uint8(full * 255)).convert("RGB")
        rows.append([grey, cut, cut.crop((200, 0, 360, 90)).resize(photograph.size, Image.NEAREST)])
    rows.append(check_ladon.sheet(folder))
    page = Image.new("RGB", (640 * 3, 360 * 3))
    for y, row in enumerate(rows):
        for x, picture in enumerate(row):
            page.paste(picture, (640 * x, 360 * y))
    page.save(file)
    return 0


def _people(network, cut_out):
    """Pictures with a person at the network's size: views of the portrait, and the person before other backgrounds."""
    yield from pictures.portraits(network.width, network.height, views=3)
    yield from itertools.islice(_composites(network, cut_out), 1, None)


def _composites(network, cut_out):
    return (_resized(Image.fromarray(picture), network.width, network.height) for picture in cut_out.pictures)


def _resized(picture, width, height):
    return np.asarray(picture.resize((width, height), Image.LANCZOS))


def _bytes(mask):
    return (mask * np.float32(255)).astype(np.uint8)


def _change(masks):
    """Mean change per pixel and frame."""
    return np.abs(np.diff(np.array(masks, np.int16), axis=0)).mean()


def _overlap(left, right):
    """Intersection over union; 1 for two masks that are empty but for specks."""
    left, right = left > 0.5, right > 0.5
    union = np.count_nonzero(left | right)
    return np.count_nonzero(left & right) / union if union > left.size / 200 else 1.0


def _grown(area, distance):
    for axis, step in itertools.product((0, 1), (1, -1)):
        area = np.logical_or.reduce([np.roll(area, step * d, axis) for d in range(distance + 1)])
    return area


def _size(name):
    height, width = table.pair(name).input.shape[2:]
    return f"{width}x{height}{' U8' if table.pair(name).fake_quantize else ''}"


def _holds(value, sign, limit):
    return value >= limit if sign == ">=" else value <= limit
