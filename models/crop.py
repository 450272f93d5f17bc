"""Turned squares of a picture: cut out for a network, and what it finds there brought back to the picture.

Coordinates in the picture are in its pixels, x to the right and y down, those in a square 0..1 of its side.
"""

from typing import NamedTuple

import numpy as np
import openvino as ov
import openvino.opset7 as ops
import openvino.opset9 as later_ops

_SMALLEST = np.float32(1)  # side in pixels: keeps a square with an area, whatever a network said


class Squares(NamedTuple):
    """N squares in the picture."""

    centre: ov.Node  # Nx1x2
    axes: ov.Node  # Nx2x2: the square's x and y axis, as long as its side
    side: ov.Node  # Nx1x1


def squares(centre, along, side):
    """Squares whose x axes point to where the Nx1x2 vectors `along` do, of any length but none."""
    x, y = ops.split(_unit(along), 2, 2).outputs()
    across = ops.concat([ops.negative(y), x], 2)
    side = ops.maximum(side, _SMALLEST)
    return Squares(centre, ops.multiply(ops.concat([_unit(along), across], 1), side), side)


def mirrored(turned, which):
    """The same squares, of which those whose number is in `which` are seen with left and right exchanged."""
    count = turned.axes.get_output_shape(0)[0]
    signs = np.ones((count, 2, 1), np.float32)
    signs[list(which), 0] = -1
    return turned._replace(axes=ops.multiply(turned.axes, signs))


def cut(picture, turned, pixels):
    """Nx3xPxP of the picture's planes in the squares, P = `pixels`; beyond the picture its border goes on."""
    height, width = picture.get_output_shape(0)[2:]
    steps = (np.arange(pixels, dtype=np.float32) + 0.5) / pixels
    y, x = np.meshgrid(steps, steps, indexing="ij")
    places = to_picture(ops.constant(np.stack([x, y], 2).reshape(1, -1, 2)), turned)
    grid = ops.add(ops.multiply(places, np.array([2 / width, 2 / height], np.float32)), np.float32(-1))
    # All squares as one high crop: the picture is there once, and would be needed once for each.
    crops = later_ops.grid_sample(picture, ops.reshape(grid, np.array([1, -1, pixels, 2]), False),
                                  {"align_corners": False, "mode": "bilinear", "padding_mode": "border"})
    return ops.transpose(ops.reshape(crops, np.array([3, -1, pixels, pixels]), False), [1, 0, 2, 3])


def to_picture(places, turned):
    """NxMx2 places in the squares, in the picture."""
    from_centre = ops.subtract(places, np.float32(0.5))
    return ops.add(ops.matmul(from_centre, turned.axes, False, False), turned.centre)


def points_to_picture(points, turned):
    """NxMx3 points in the squares, in the picture: depth is in the unit of x, and so grows with the square."""
    places, depth = ops.variadic_split(points, 2, [2, 1]).outputs()
    return ops.concat([to_picture(places, turned), ops.multiply(depth, turned.side)], 2)


def length(vector):
    """Of the last dimension, which stays as 1."""
    return ops.sqrt(ops.reduce_sum(ops.multiply(vector, vector), [-1], True))


def _unit(vector):
    return ops.divide(vector, ops.maximum(length(vector), np.float32(1e-6)))
