"""A colour table that takes a cast out of a picture and brings it to a usual brightness, both estimated from the picture.

Each channel gets a curve that begins with the slope of its gain and bends only to stay below white. Colours near white
go back to white, so that clipped lights keep no colour of the correction, while a single clipped channel is corrected.
"""

from typing import NamedTuple

import numpy as np
import openvino as ov
import openvino.opset7 as ops

from models.arithmetic import ramp

VERTICES = 33

# Tones and luminance are those of places, averages of 8x8 pixels.
_PLACE = 8
# The light is that of edges between averages of 2x2 pixels; one with a channel beyond these tells nothing of it.
_DOT = 2
_DARK, _CLIPPED = 0.02, 0.97
# The light counts as white as if an edge of this squared height, grey, were everywhere.
_GREY_EDGE = 1e-4
_CAST_BOUNDS = (0.5, 2.0)
# Mean luminance that exposure aims at, and the gains it keeps to.
_TARGET, _EXPOSURE_BOUNDS = 0.42, (0.7, 2.5)
_LUMINANCE = np.array([0.2126, 0.7152, 0.0722], np.float32).reshape(1, 3, 1)
_SHOULDER = 4.0  # how late a curve of a gain above 1 leaves the straight line for white
_WHITE = 8.0  # how late, on the way of the darkest channel to white, colours begin to go to white
# Usable dots: below the first share nothing is trusted, from the second on all.
_NO_TRUST, _FULL_TRUST = 0.05, 0.4
# Vertices lie half evenly, half where the picture's tones do.
_EVEN = 0.5


class Table(NamedTuple):
    lut: ov.Node
    vertices: ov.Node
    confidence: ov.Node


def estimated(picture):
    """The table of a picture, 1x3xHxW, 0..1: the outputs "lut", "lut_vertices" and "lut_confidence"."""
    places = ops.reshape(_averaged(picture, _PLACE), np.array([1, 3, -1]), False)
    cast, share = _cast_gains(_averaged(picture, _DOT))
    vertices = _vertices(places)
    confidence = ramp(share, _NO_TRUST, _FULL_TRUST)
    lut = _cube(vertices, _curve(vertices, _exposed(cast, places)))
    return Table(lut, vertices, ops.reshape(confidence, np.array([1, 1]), False))


def _averaged(picture, pixels):
    return ops.avg_pool(picture, [pixels] * 2, [0, 0], [0, 0], [pixels] * 2, True)


def _cast_gains(dots):
    """1x3x1, and the share of usable dots: edges are grey on the whole, however large a coloured thing is."""
    here, right, below = (_shifted(dots, *step) for step in ((0, 0), (0, 1), (1, 0)))
    usable = ops.multiply(ops.multiply(_usable(here), _usable(right)), _usable(below))
    across, down = ops.subtract(right, here), ops.subtract(below, here)
    height = ops.multiply(ops.add(ops.multiply(across, across), ops.multiply(down, down)), usable)
    light = ops.sqrt(ops.add(_mean(height), np.float32(_GREY_EDGE)))
    gains = ops.divide(ops.reduce_mean(light, [1], True), light)
    return ops.clamp(ops.squeeze(gains, [3]), *_CAST_BOUNDS), _mean(usable)


def _shifted(dots, down, right):
    """All but the last row and column, or as many from the next row or column on."""
    height, width = dots.get_output_shape(0)[2:]
    return ops.strided_slice(dots, [0, 0, down, right], [0, 0, height - 1 + down, width - 1 + right], [1, 1, 1, 1],
                             [1, 1, 0, 0], [1, 1, 0, 0])


def _usable(dots):
    """1 where no channel is dark or clipped, else 0."""
    dark = ops.greater(ops.reduce_min(dots, [1], True), np.float32(_DARK))
    bright = ops.less(ops.reduce_max(dots, [1], True), np.float32(_CLIPPED))
    return ops.convert(ops.logical_and(dark, bright), "f32")


def _mean(planes):
    return ops.reduce_mean(planes, [2, 3], True)


def _exposed(cast, places):
    """The gains of the cast at the same luminance, times that of exposure."""
    before, after = (_mean_luminance(p) for p in (places, ops.multiply(places, cast)))
    exposure = ops.clamp(ops.divide(np.float32(_TARGET), before), *_EXPOSURE_BOUNDS)
    return ops.multiply(cast, ops.multiply(ops.divide(before, after), exposure))


def _mean_luminance(places):
    mean = ops.reduce_sum(ops.multiply(ops.reduce_mean(places, [2], True), _LUMINANCE), [1], True)
    return ops.maximum(mean, np.float32(1e-3))


def _curve(values, gain):
    """g v up to a gain of 1; above it g v / (1 + (g^k - 1) v^k)^(1/k), which begins with the same slope and ends in 1."""
    excess = ops.relu(ops.subtract(ops.power(gain, np.float32(_SHOULDER)), np.float32(1)))
    bent = ops.add(ops.multiply(ops.power(values, np.float32(_SHOULDER)), excess), np.float32(1))
    return ops.divide(ops.multiply(values, gain), ops.power(bent, np.float32(1 / _SHOULDER)))


def _vertices(places):
    """1x3x33, rising from 0 to 1: the mean of even steps and of the tones that part each channel into equal shares."""
    count = places.get_output_shape(0)[2]
    ranked = ops.topk(places, np.int64(count), 2, "min", "value").output(0)
    inner = np.rint(np.linspace(0, count - 1, VERTICES)[1:-1]).astype(np.int64)
    tones = ops.gather(ranked, inner, np.int64(2))
    low, high = (ops.constant(np.full((1, 3, 1), value, np.float32)) for value in (0, 1))
    quantiles = ops.concat([low, ops.clamp(tones, 0.0, 1.0), high], 2)
    even = np.linspace(0, 1, VERTICES, dtype=np.float32)
    return ops.add(ops.multiply(quantiles, np.float32(1 - _EVEN)), even * np.float32(_EVEN))


def _cube(vertices, curves):
    """1x3x33x33x33: red changes along the last dimension, green along the one before, blue along the one before that."""
    red, green, blue = _along_axes(vertices)
    white = ops.power(ops.minimum(ops.minimum(red, green), blue), np.float32(_WHITE))
    corrected = ops.concat([ops.broadcast(c, np.array([1, 1] + 3 * [VERTICES])) for c in _along_axes(curves)], 1)
    return ops.clamp(ops.add(corrected, ops.multiply(white, ops.subtract(np.float32(1), corrected))), 0.0, 1.0)


def _along_axes(curves):
    """Each channel's 33 values along its own dimension of the cube."""
    for channel, curve in enumerate(ops.split(curves, 1, 3).outputs()):
        shape = np.ones(5, np.int64)
        shape[4 - channel] = VERTICES
        yield ops.reshape(curve, shape, False)
