"""The trained networks run alone, as their makers' files are, on crops made without the graphs of this folder.

What the Ladon networks find is held against this. Pictures are of bytes, height x width x 3; points are in pixels.
"""

import numpy as np
import openvino as ov

from models import face_mesh, faces, hands

_SETTINGS = {"INFERENCE_NUM_THREADS": 1, "NUM_STREAMS": 1, "INFERENCE_PRECISION_HINT": "f32"}
_DETECTED = 144, 256  # the picture that detectors look at
_SQUARE = 192


class Reference:
    def __init__(self, sources):
        self._networks = {path: _compiled(sources.file(path)) for path in (
            faces.PATH, face_mesh.MESH_PATH, face_mesh.IRIS_PATH, hands.PALM_PATH, hands.HAND_PATH)}

    def faces(self, picture):
        """Up to four faces, the likeliest first: score, box and the eyes, 4x2."""
        values, logits = self._run(faces.PATH, _letterboxed(picture) * 2 - 1)
        scores = _probability(logits.ravel())
        y, x = np.divmod(np.arange(48 * 48), 48)
        cells = np.stack([x, y], 1) * 4 + 2
        points = values.reshape(-1, 8, 2)[:, :4] + [[1], [0], [1], [1]] * cells[:, None]
        middle, size = points[:, 0], points[:, 1]
        rows = np.stack([middle - size / 2, middle + size / 2, points[:, 2], points[:, 3]], 1)
        found = []
        for number in np.argsort(-scores):
            if scores[number] >= 0.5 and all(_overlap(rows[number], rows[f]) < 0.3 for f in found):
                found.append(number)
        return [(scores[f], _unboxed(rows[f], picture)) for f in found[:4]]

    def mesh(self, picture, face):
        """468x3 points of a face as faces() gives it, and the logit of a face."""
        low, high, left_eye, right_eye = face
        square = _Square((low + high) / 2, right_eye - left_eye, 1.5 * (high - low).max())
        mesh, logit = self._run(face_mesh.MESH_PATH, square.cut(picture, 192))
        return square.back(mesh.reshape(468, 3) / 192), logit.item()

    def irises(self, picture, mesh):
        """Both irises, 10x3."""
        left, right = (self._iris(picture, mesh[list(corners)], mirror)
                       for corners, mirror in (((33, 133), False), ((362, 263), True)))
        return np.concatenate([left, right])

    def palm(self, picture):
        """Centre and size of the likeliest palm's box, wrist and base of the middle finger, 4x2; its score."""
        values, logits = self._run(hands.PALM_PATH, _letterboxed(picture))
        best = logits.argmax()
        cells, cell = (24, best // 2) if best < 1152 else (12, (best - 1152) // 6)
        anchor = (np.array([cell % cells, cell // cells]) + 0.5) * _SQUARE / cells
        centre, size, *points = values.reshape(-1, 9, 2)[best]
        box = np.stack([centre + anchor, centre + anchor + size, points[0] + anchor, points[2] + anchor])
        box = _unboxed(box, picture)
        box[1] -= box[0]
        return box, _probability(logits.max())

    def hand(self, picture, palm):
        """21x3 points of the hand of a palm, and its probability."""
        centre, size, wrist, finger = palm
        up = (finger - wrist) / np.linalg.norm(finger - wrist)
        square = _Square(centre + 0.5 * size.max() * up, np.array([-up[1], up[0]]), 2.6 * size.max())
        points, probability, *_ = self._run(hands.HAND_PATH, square.cut(picture, 224))
        return square.back(points.reshape(21, 3) / 224), probability.item()

    def _iris(self, picture, corners, mirror):
        along = corners[1, :2] - corners[0, :2]
        square = _Square(corners[:, :2].mean(0), along, 2.3 * np.linalg.norm(along))
        eye = square.cut(picture, 64)
        _, iris = self._run(face_mesh.IRIS_PATH, eye[:, ::-1] if mirror else eye)
        points = iris.reshape(5, 3) / 64
        if mirror:
            points[:, 0] = 1 - points[:, 0]
        return square.back(points) + [0, 0, corners[:, 2].mean()]

    def _run(self, path, pixels):
        request = self._networks[path]
        made = request.infer([np.ascontiguousarray(pixels[None], np.float32)])
        return [made[output] for output in request.model_outputs]


class _Square:
    """A turned square of a picture."""

    def __init__(self, centre, along, side):
        self._side = side
        self._x = along / np.linalg.norm(along) * side
        self._y = np.array([-self._x[1], self._x[0]])
        self._corner = centre - (self._x + self._y) / 2

    def cut(self, picture, pixels):
        """Pixels, 0..1, of the square; the picture's border goes on around it."""
        steps = (np.arange(pixels)[:, None] + 0.5) / pixels
        places = self._corner + steps[:, None] * self._y + steps[None] * self._x
        return _sampled(picture / 255, places[..., 0], places[..., 1])

    def back(self, points):
        places = self._corner + points[:, :1] * self._x + points[:, 1:2] * self._y
        return np.concatenate([places, points[:, 2:] * self._side], 1)


def _compiled(file):
    return ov.Core().compile_model(file, "CPU", _SETTINGS).create_infer_request()


def _letterboxed(picture):
    """192x192 pixels, 0..1."""
    planes = picture / 255
    if planes.shape[0] > _DETECTED[0]:
        planes = _stretched((planes[::2, ::2] + planes[1::2, ::2] + planes[::2, 1::2] + planes[1::2, 1::2]) / 4, *_DETECTED)
    rows = _SQUARE * planes.shape[0] // planes.shape[1]
    square = np.zeros((_SQUARE, _SQUARE, 3))
    above = (_SQUARE - rows) // 2
    square[above:above + rows] = _stretched(planes, rows, _SQUARE)
    return square


def _stretched(picture, height, width):
    """Bilinear between the nearest pixels, without the averaging of a resize."""
    y = (np.arange(height)[:, None] + 0.5) * picture.shape[0] / height
    x = (np.arange(width)[None] + 0.5) * picture.shape[1] / width
    return _sampled(picture, *np.broadcast_arrays(x, y))


def _sampled(picture, x, y):
    """Colours at places in pixels, bilinear; the border goes on around the picture."""
    height, width, _ = picture.shape
    left, above = np.floor(x - 0.5), np.floor(y - 0.5)
    total = 0.0
    for row, column in np.ndindex(2, 2):
        weight = np.abs(1 - column - (x - 0.5 - left)) * np.abs(1 - row - (y - 0.5 - above))
        near = picture[np.clip(above + row, 0, height - 1).astype(int), np.clip(left + column, 0, width - 1).astype(int)]
        total = total + weight[..., None] * near
    return total


def _unboxed(points, picture):
    """From pixels of the letterboxed square to those of the picture."""
    height, width, _ = picture.shape
    return (points - [0, (_SQUARE - _SQUARE * height // width) // 2]) * width / _SQUARE


def _probability(logit):
    return 1 / (1 + np.exp(-np.clip(logit, -80, 80)))


def _overlap(a, b):
    common = np.clip(np.minimum(a[1], b[1]) - np.maximum(a[0], b[0]), 0, None).prod()
    return common / ((a[1] - a[0]).prod() + (b[1] - b[0]).prod() - common)
