"""Recipe of the face detector: a small picture in, its most likely faces out.

The input's planes are R, G, B, bytes b as (b - 127) / 128. The outputs are rows in the order of their scores: the
probabilities of "no face" and "face", and the box as left, top, right, bottom in 0..1 of the picture, not cut to it.
"""

import numpy as np
import openvino.opset7 as ops

from models import ir, tflite

PATH = "mediapipe/modules/face_detection/face_detection_full_range_sparse.tflite"
# The trained network looks at a square picture and answers for each cell of a grid.
_SIDE = 192
_CELLS = 48


def load(sources):
    """The network as a model: 1x3x192x192 FP32, RGB, -1..1, to 1x2304x16 box values and 1x2304x1 logits."""
    return tflite.load(sources, PATH)


def detector(pair, network):
    node, picture = ir.parameter(pair)
    height, width = pair.input.shape[2:]
    rows = pair.outputs[0].shape[1]
    raw, logits = tflite.embed(network, _letterboxed(_trained_range(picture), height, width))
    scores = ops.reshape(ops.sigmoid(logits), np.array([_CELLS * _CELLS]), False)
    best = ops.topk(scores, np.int64(rows), 0, "max", "value")
    face = ops.reshape(best.output(0), np.array([1, rows, 1]), False)
    boxes = ops.gather(_corners(raw, height, width), best.output(1), np.int64(1))
    return ir.model(pair, node, {"scores": ops.concat([ops.subtract(np.float32(1), face), face], 2), "boxes": boxes})


def _trained_range(picture):
    """Trained on (b - 127.5) / 127.5."""
    return ops.add(ops.multiply(picture, np.float32(128 / 127.5)), np.float32(-0.5 / 127.5))


def _letterboxed(picture, height, width):
    """The picture at the full width of the square, black above and below."""
    rows = _SIDE * height // width
    above = (_SIDE - rows) // 2
    return ops.pad(tflite.resize(picture, rows, _SIDE), np.array([0, 0, above, 0]),
                   np.array([0, 0, _SIDE - rows - above, 0]), "constant", np.float32(-1))


def _corners(raw, height, width):
    """Box values are the centre's distance from its cell's centre, width and height, in pixels of the square."""
    rows = _SIDE * height // width
    above = (_SIDE - rows) // 2
    half = np.array([[1, 0, 1, 0], [0, 1, 0, 1], [-0.5, 0, 0.5, 0], [0, -0.5, 0, 0.5]])
    scale = np.array([_SIDE, rows, _SIDE, rows])
    centres = (np.arange(_CELLS) + 0.5) / _CELLS * _SIDE
    y, x = np.meshgrid(centres, centres, indexing="ij")
    cells = np.stack([x, y - above, x, y - above], axis=2).reshape(1, -1, 4)
    values = ops.strided_slice(raw, np.array([0, 0, 0]), np.array([0, 0, 4]), np.array([1, 1, 1]), [1, 1, 1], [1, 1, 0])
    return ops.add(ops.matmul(values, np.float32(half / scale), False, False), np.float32(cells / scale))
