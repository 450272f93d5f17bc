"""The best of many overlapping boxes, without an operation whose number of results depends on the picture."""

import numpy as np
import openvino.opset7 as ops

_SAME = np.float32(0.3)  # intersection over union from which on two boxes are of one thing


def greedy(scores, values, count):
    """Picks the likeliest `count` times, each time dropping what overlaps it.

    `scores` are N, `values` NxM, each row beginning with left, top, right, bottom. Returns pairs of a score, 1, and its row,
    1xM, the likeliest first; the score is 0 where no box was left.
    """
    boxes = ops.strided_slice(values, [0, 0], [0, 4], [1, 1], [1, 1], [1, 0])
    picked = []
    for _ in range(count):
        best = ops.topk(scores, np.int64(1), 0, "max", "value")
        row = ops.gather(values, best.output(1), np.int64(0))
        picked.append((best.output(0), row))
        box = ops.strided_slice(row, [0, 0], [0, 4], [1, 1], [1, 1], [1, 0])
        scores = ops.select(_overlaps(boxes, box), np.float32(0), scores)
    return picked


def _overlaps(boxes, box):
    """Which of the Nx4 boxes are of one thing with the 1x4 box. A box without an area is so with itself."""
    lows, highs = ops.split(boxes, 1, 2).outputs()
    low, high = ops.split(box, 1, 2).outputs()
    common = _area(ops.maximum(lows, low), ops.minimum(highs, high))
    union = ops.subtract(ops.add(_area(lows, highs), _area(low, high)), common)
    return ops.squeeze(ops.greater_equal(common, ops.multiply(union, _SAME)), [1])


def _area(low, high):
    return ops.reduce_prod(ops.relu(ops.subtract(high, low)), [1], True)
