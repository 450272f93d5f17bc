"""Recipe of the face detector: a small picture in, its most likely faces out.

The input's planes are R, G, B, bytes b as (b - 127) / 128. The outputs are rows in the order of their scores: the
probabilities of "no face" and "face", and the box as left, top, right, bottom in 0..1 of the picture, not cut to it.
"""

import numpy as np
import openvino.opset7 as ops

from models import ir, tflite
from models.letterbox import SIDE, Letterbox

PATH = "mediapipe/modules/face_detection/face_detection_full_range_sparse.tflite"
# The trained network looks at a square picture and answers for each cell of a grid.
_CELLS = 48


def load(sources):
    """The network as a model: 1x3x192x192 FP32, RGB, -1..1, to 1x2304x16 box values and 1x2304x1 logits."""
    return tflite.load(sources, PATH)


def detector(pair, network):
    node, picture = ir.parameter(pair)
    letterbox = Letterbox(*pair.input.shape[2:])
    rows = pair.outputs[0].shape[1]
    scores, boxes = candidates(network, letterbox.picture(_trained_range(picture), -1), letterbox)
    best = ops.topk(scores, np.int64(rows), 0, "max", "value")
    face = ops.reshape(best.output(0), np.array([1, rows, 1]), False)
    boxes = ops.gather(boxes, best.output(1), np.int64(1))
    return ir.model(pair, node, {"scores": ops.concat([ops.subtract(np.float32(1), face), face], 2), "boxes": boxes})


def candidates(network, square, letterbox, points=0):
    """What the network says of each cell of the letterboxed picture `square`, -1..1: scores, 2304, and values,
    1x2304x(4 + 2 * points), in 0..1 of the picture: left, top, right, bottom, then x, y of the first key points (the eye at
    the left of an upright face, the eye at its right, nose, mouth, ears).
    """
    raw, logits = tflite.embed(network, square)
    scores = ops.reshape(ops.sigmoid(logits), np.array([_CELLS * _CELLS]), False)
    return scores, _decoded(raw, letterbox, 4 + 2 * points)


def _trained_range(picture):
    """Trained on (b - 127.5) / 127.5."""
    return ops.add(ops.multiply(picture, np.float32(128 / 127.5)), np.float32(-0.5 / 127.5))


def _decoded(raw, letterbox, columns):
    """Raw values are distances from the cell's centre, of the box also width and height, in pixels of the square."""
    turned = np.eye(columns)
    turned[:4, :4] = [[1, 0, 1, 0], [0, 1, 0, 1], [-0.5, 0, 0.5, 0], [0, -0.5, 0, 0.5]]
    scale = np.tile(letterbox.scale, columns // 2)
    centres = (np.arange(_CELLS) + 0.5) / _CELLS * SIDE
    y, x = np.meshgrid(centres, centres, indexing="ij")
    cells = np.stack([x, y], axis=2).reshape(1, -1, 2) - letterbox.origin
    values = ops.strided_slice(raw, np.array([0, 0, 0]), np.array([0, 0, columns]), np.array([1, 1, 1]), [1, 1, 1],
                               [1, 1, 0])
    return ops.add(ops.matmul(values, np.float32(turned / scale), False, False),
                   np.float32(np.tile(cells, columns // 2) / scale))
