"""Recipes of the Ladon family: one picture in, and out of it mask, faces with their points, gesture, motion, and in half of
the networks a colour table.

The input is that of the segmentation family: planes R, G, B as bytes 0..255 and the previous mask as bytes 0..255. The mask
comes out as 0..255. docs/models.md tells the layout of every output.
"""

from typing import NamedTuple

import numpy as np
import openvino as ov
import openvino.opset7 as ops

from models import colour_table, face_mesh, faces, guided, hands, ir, segmentation, selfie, suppression, tflite
from models.letterbox import Letterbox

GRID_ROWS, GRID_COLUMNS = 9, 16
_FACES = 4
_FACES_WITH_POINTS = 2  # each costs as much as two masks, whether it is there or not
_FACE_SCORE = 0.5  # what a face needs to be told at all
_MESH_SCORE = 0.5  # what its mesh needs


class Parts(NamedTuple):
    """The trained networks inside."""

    selfie: ov.Model
    faces: ov.Model
    mesh: ov.Model
    iris: ov.Model
    palm: ov.Model
    hand: ov.Model


def load(sources, selfie_network, faces_network):
    """All parts; two of them are inside other networks too and come ready."""
    return Parts(selfie_network, faces_network, face_mesh.load_mesh(sources), face_mesh.load_iris(sources),
                 hands.load_palm(sources), hands.load_hand(sources))


def network(pair, parts):
    node, frame = ir.parameter(pair)
    picture, previous = segmentation.split(frame)
    mask, reduced = _mask(parts, picture, previous)
    letterbox = Letterbox(selfie.HEIGHT, selfie.WIDTH)
    boxed = letterbox.picture(reduced, 0)
    hand = hands.best(parts.palm, parts.hand, picture, boxed, letterbox)
    outputs = {"segmentation": ops.multiply(mask, np.float32(255)), "motion": _motion(mask, previous),
               "gesture": hands.gestures(hand), "faces_and_landmarks": _faces(parts, picture, boxed, letterbox)}
    if "lut" in (port.name for port in pair.outputs):
        table = colour_table.estimated(reduced)
        outputs |= {"lut": table.lut, "lut_vertices": table.vertices, "lut_confidence": table.confidence}
    return ir.model(pair, node, outputs)


def _mask(parts, picture, previous):
    """The mask, 0..1, and the picture at the size of the trained network, which detectors look at too."""
    if tuple(picture.get_output_shape(0)[2:]) == (selfie.HEIGHT, selfie.WIDTH):
        return segmentation.steadied(selfie.embed(parts.selfie, picture), previous), picture
    half = guided.halved(picture)
    reduced = tflite.resize(half, selfie.HEIGHT, selfie.WIDTH)
    mask = segmentation.upsampled(parts.selfie, reduced, half, picture)
    return segmentation.steadied(mask, previous), reduced


def _motion(mask, previous):
    """Mean change from the mask that was fed back, 0..1."""
    change = ops.abs(ops.subtract(mask, ops.multiply(previous, np.float32(1 / 255))))
    return ops.reduce_mean(change, [1, 2, 3], True)


def _faces(parts, picture, boxed, letterbox):
    """1x1x9x16x1439: each face in the cell of its box's centre, the likeliest with their points."""
    trained_range = ops.add(ops.multiply(boxed, np.float32(2)), np.float32(-1))
    scores, values = faces.candidates(parts.faces, trained_range, letterbox, points=2)
    found = suppression.greedy(scores, ops.squeeze(values, [0]), _FACES)
    scores_of_all = ops.concat([ops.unsqueeze(score, [0]) for score, _ in found], 0)
    values_of_all = ops.concat([values for _, values in found], 0)
    rows = ops.concat([scores_of_all, _boxes(values_of_all), _points(parts, picture, values_of_all)], 1)
    nobody = ops.constant(np.zeros((1, rows.get_output_shape(0)[1]), np.float32))
    cells = ops.gather(ops.concat([nobody, rows], 0), _row_of_cell(found), np.int64(0))
    return ops.reshape(cells, np.array([1, 1, GRID_ROWS, GRID_COLUMNS, -1]), False)


def _boxes(values):
    return ops.strided_slice(values, [0, 0], [0, 4], [1, 1], [1, 1], [1, 0])


def _points(parts, picture, found):
    """4x1434 in units of the picture, z in that of x; zeros where the mesh network sees no face, and for further faces."""
    height, width = picture.get_output_shape(0)[2:]
    likeliest, _ = ops.variadic_split(found, 0, [_FACES_WITH_POINTS, _FACES - _FACES_WITH_POINTS]).outputs()
    squares = face_mesh.face_squares(likeliest, (height, width))
    points, scores = face_mesh.points(parts.mesh, parts.iris, picture, squares)
    unit = np.array([1 / width, 1 / height, 1 / width], np.float32)
    told = ops.reshape(ops.multiply(points, unit), np.array([_FACES_WITH_POINTS, -1]), False)
    told = ops.select(ops.greater_equal(scores, np.float32(_MESH_SCORE)), told, np.float32(0))
    further = np.zeros((_FACES - _FACES_WITH_POINTS, face_mesh.POINTS * 3), np.float32)
    return ops.concat([told, ops.constant(further)], 0)


def _row_of_cell(found):
    """For each cell the number of its face, counted from 1 in the order of `found`, or 0."""
    cells = np.arange(GRID_ROWS * GRID_COLUMNS, dtype=np.float32)
    rows = ops.constant(np.zeros(cells.shape, np.int64))
    for number, (score, face) in reversed(list(enumerate(found, 1))):
        here = ops.logical_and(ops.equal(_cell(face), cells), ops.greater_equal(score, np.float32(_FACE_SCORE)))
        rows = ops.select(here, np.int64(number), rows)
    return rows


def _cell(face):
    """The number of the cell with the box's centre, 1; a centre beyond the picture counts to the nearest cell."""
    low, high = ops.split(_boxes(face), 1, 2).outputs()
    grid = np.array([GRID_COLUMNS, GRID_ROWS], np.float32)
    place = ops.floor(ops.multiply(ops.add(low, high), grid / np.float32(2)))
    inside = ops.minimum(ops.relu(place), grid - 1)
    return ops.reduce_sum(ops.multiply(inside, np.array([1, GRID_COLUMNS], np.float32)), [1], False)
