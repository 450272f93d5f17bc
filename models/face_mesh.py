"""The points of faces: the mesh in a square round each, then the irises in a square round each eye."""

import numpy as np
import openvino.opset7 as ops

from models import crop, tflite

MESH_PATH = "mediapipe/modules/face_landmark/face_landmark.tflite"
IRIS_PATH = "mediapipe/modules/iris_landmark/iris_landmark.tflite"
MESH_POINTS, IRIS_POINTS = 468, 5
POINTS = MESH_POINTS + 2 * IRIS_POINTS

# Sides of the squares that the networks were trained on: that round a face in its box's longer side, that round an eye in
# the distance of its corners.
_FACE_SIDE, _EYE_SIDE = 1.5, 2.3
_MESH_PIXELS, _IRIS_PIXELS = 192, 64
# Mesh points of the corners, that at the left of an upright face first. The iris network knows the first of these eyes; the
# other one it is shown in a mirror.
_EYES = ((33, 133), (362, 263))


def load_mesh(sources):
    """The network as a model: 1x3x192x192 FP32, RGB, 0..1, to 468 points x, y, z in its pixels and the logit of a face."""
    return tflite.load(sources, MESH_PATH)


def load_iris(sources):
    """The network as a model: 1x3x64x64 FP32, RGB, 0..1, to 71 points round the eye and 5 of the iris, in its pixels."""
    return tflite.load(sources, IRIS_PATH)


def face_squares(faces, size):
    """The squares that meshes are looked for in.

    `faces` are Nx8: the box, then both eyes, in 0..1 of a picture of `size` (height, width).
    """
    height, width = size
    pixels = ops.multiply(ops.reshape(faces, np.array([-1, 4, 2]), False), np.array([width, height], np.float32))
    low, high, left_eye, right_eye = ops.split(pixels, 1, 4).outputs()
    centre = ops.multiply(ops.add(low, high), np.float32(0.5))
    longer = ops.reduce_max(ops.subtract(high, low), [2], True)
    return crop.squares(centre, ops.subtract(right_eye, left_eye), ops.multiply(longer, np.float32(_FACE_SIDE)))


def points(meshes, irises, picture, squares):
    """478 points for each square in pixels of the picture, Nx478x3, and the probability, Nx1, that they lie on a face."""
    count = squares.side.get_output_shape(0)[0]
    mesh, logits = tflite.embed(tflite.batched(meshes, count), crop.cut(picture, squares, _MESH_PIXELS))
    on_picture = crop.points_to_picture(_scaled(mesh, MESH_POINTS, _MESH_PIXELS), squares)
    found = ops.reshape(_irises(irises, picture, on_picture), np.array([count, 2 * IRIS_POINTS, 3]), False)
    return ops.concat([on_picture, found], 1), ops.sigmoid(ops.reshape(logits, np.array([count, 1]), False))


def _irises(irises, picture, mesh):
    """2Nx5x3: two eyes for each mesh. The network's depth begins at the eye, that is at the depth of its corners."""
    corners = ops.reshape(ops.gather(mesh, np.array(_EYES).ravel(), np.int64(1)), np.array([-1, 2, 3]), False)
    eyes = corners.get_output_shape(0)[0]
    first, second = ops.split(ops.variadic_split(corners, 2, [2, 1]).output(0), 1, 2).outputs()
    centre, depth = ops.variadic_split(ops.reduce_mean(corners, [1], True), 2, [2, 1]).outputs()
    along = ops.subtract(second, first)
    squares = crop.squares(centre, along, ops.multiply(crop.length(along), np.float32(_EYE_SIDE)))
    squares = crop.mirrored(squares, range(1, eyes, 2))
    _, iris = tflite.embed(tflite.batched(irises, eyes), crop.cut(picture, squares, _IRIS_PIXELS))
    found = crop.points_to_picture(_scaled(iris, IRIS_POINTS, _IRIS_PIXELS), squares)
    return ops.add(found, ops.pad(depth, np.array([0, 0, 2]), np.array([0, 0, 0]), "constant", np.float32(0)))


def _scaled(values, count, pixels):
    return ops.multiply(ops.reshape(values, np.array([-1, count, 3]), False), np.float32(1 / pixels))
