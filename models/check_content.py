"""Measures the content network on drawn screens that it was not built with.

What the host makes of the network's rows is done here a second time, from its description: thresholds, suppression of
overlaps, at most twenty boxes, positions in the frame.
"""

import time

import numpy as np
import openvino as ov

from models import screens, table

NAME = "Nuwa_512_yyy_v38"
_PADDING = 114
_OBJECTNESS, _CLASS_SCORE, _OVERLAP, _MOST = 0.7, 0.25, 0.25, 20
_SAME_PLACE = 0.5  # intersection over union of a box and the region that it tells
_MIXED, _OTHERS = 200, 100  # screens
_RUNS = 40
_FIRST = screens.TUNING


class Detector:
    def __init__(self, folder):
        settings = {"INFERENCE_NUM_THREADS": 1, "NUM_STREAMS": 1, "INFERENCE_PRECISION_HINT": "f32"}
        self._request = ov.Core().compile_model(folder / f"{NAME}.xml", "CPU", settings).create_infer_request()
        self._side = table.pair(NAME).input.shape[2]

    def boxes(self, frames):
        """Left, top, right, bottom in pixels of the frames, objectness and class of what the host would tell: Nx6."""
        self._give(frames)
        height, width = frames.shape[1:]
        left, top = (self._side - width) // 2, (self._side - height) // 2
        return told(next(iter(self._request.infer([self._input]).values()))[0]) - (left, top, left, top, 0, 0)

    def processor_time(self, frames):
        """Seconds of one run."""
        self._give(frames)
        start = time.process_time()
        self._request.infer([self._input], share_inputs=True)
        return time.process_time() - start

    def _give(self, frames):
        """Fractions of bytes in half precision, the earliest frame in the last plane, grey all round."""
        planes = np.full((3, self._side, self._side), _PADDING, np.uint8)
        height, width = frames.shape[1:]
        left, top = (self._side - width) // 2, (self._side - height) // 2
        planes[:, top:top + height, left:left + width] = frames[::-1]
        self._input = np.float16(planes[None] / np.float32(255))


def told(rows):
    """Boxes, objectness and class that remain of a network's rows, the best first: Nx6."""
    scores = rows[:, 5:] * rows[:, 4:5]
    best = scores.shape[1] - 1 - scores[:, ::-1].argmax(1)
    likely = (rows[:, 4] >= _OBJECTNESS) & (scores[np.arange(len(rows)), best] > _CLASS_SCORE)
    rows, best = rows[likely], best[likely]
    half = rows[:, 2:4] / 2
    found = np.column_stack([rows[:, :2] - half, rows[:, :2] + half, rows[:, 4], best])
    kept = []
    for box in found[np.argsort(-found[:, 4], kind="stable")]:
        if len(kept) < _MOST and all(overlap(box, other) <= _OVERLAP for other in kept):
            kept.append(box)
    return np.array(kept).reshape(-1, 6)


def overlap(a, b):
    """Intersection over union."""
    shared = np.clip(np.minimum(a[2:4], b[2:4]) - np.maximum(a[:2], b[:2]), 0, None).prod()
    return shared / ((a[2:4] - a[:2]).prod() + (b[2:4] - b[:2]).prod() - shared)


def rows(folder, first=_FIRST):
    """(what, value, sign, limit) of each measurement, on seeds from `first` on."""
    detector = Detector(folder)
    mixed = [screens.mixed(seed) for seed in range(first, first + _MIXED)]
    tiles = [screens.tiles(seed) for seed in range(first, first + _OTHERS)]
    recall, precision = _found(detector, mixed)
    yield f"content on {_MIXED} screens, recall", recall, ">=", 0.95
    yield f"content on {_MIXED} screens, precision", precision, ">=", 0.95
    yield "content on 2x2 tiles 2 px apart, recall", _found(detector, tiles)[0], ">=", 0.95
    repeated = [screens.repeated(screen, seed) for seed, screen in enumerate(mixed, first)]
    yield "content with one of three frames repeated, recall", _found(detector, repeated)[0], ">=", 0.9
    noisy = [screens.noisy(screen, seed) for seed, screen in enumerate(mixed, first)]
    yield "content with noise of one grey level, recall", _found(detector, noisy)[0], ">=", 0.8
    for what, kind, limit in (("frozen", screens.frozen, 0), ("cursor, caret and clock only", screens.small, 2)):
        count = sum(len(detector.boxes(kind(seed).frames)) for seed in range(first, first + _OTHERS))
        yield f"content on {_OTHERS} screens, {what}, boxes", count, "<=", limit
    times = [detector.processor_time(mixed[number % len(mixed)].frames) for number in range(_RUNS)]
    yield "content one inference, one thread, ms", np.median(times) * 1e3, "<=", 25


def _found(detector, drawn):
    """Recall and precision: the part of the regions that are told, and the part of what is told that are regions."""
    regions = hits = boxes = right = 0
    for screen in drawn:
        found = detector.boxes(screen.frames)
        same = np.array([[overlap(np.float64(region), box) for box in found] for region in screen.regions])
        same = same.reshape(len(screen.regions), len(found)) >= _SAME_PLACE
        regions, hits = regions + len(screen.regions), hits + same.any(1).sum()
        boxes, right = boxes + len(found), right + same.any(0).sum()
    return hits / max(regions, 1), right / max(boxes, 1)
