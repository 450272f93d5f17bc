"""Recipes of the segmentation family: a frame and the previous mask in, the person's mask out.

The input's planes are R, G, B as bytes 0..255 and the previous mask as bytes 0..255, all zero when there is none. The
output is the mask, 0..1.
"""

import numpy as np
import openvino.opset7 as ops

from models import guided, ir, selfie, tflite
from models.arithmetic import ramp

# A pixel with probability p counts as uncertain by 4p(1-p), the height of a parabola over 0..1; from a third of its
# height on it leans on the previous mask in full.
_UNCERTAIN = 12.0
# How much of a fully uncertain pixel comes from the previous mask.
_MEMORY = 0.75
# Where both masks differ by less than the first a pixel may remember in full, from the second on not at all.
_SAME, _OTHER = 0.4, 0.7
# The same for the overlap of the whole masks: below the first it is another picture, from the second on the same.
_CUT, _STILL = 0.6, 0.85


def small(pair, network):
    """256x144: the network at the size of its own, then the blend with the previous mask."""
    node, frame = ir.parameter(pair)
    picture, previous = split(frame)
    return ir.model(pair, node, {"output_mask": steadied(selfie.embed(network, picture), previous)})


def large(pair, network):
    """640x360: the network on the picture made smaller, its mask brought to full size along the picture's edges."""
    node, frame = ir.parameter(pair)
    picture, previous = split(frame)
    half = guided.halved(picture)
    reduced = tflite.resize(half, selfie.HEIGHT, selfie.WIDTH)
    return ir.model(pair, node, {"output_mask": steadied(upsampled(network, reduced, half, picture), previous)})


def split(frame):
    """The frame's colours as 0..1, and the previous mask, 0..255."""
    parts = ops.variadic_split(frame, 1, [3, 1])
    return ops.multiply(parts.output(0), _number(1 / 255)), parts.output(1)


def upsampled(network, reduced, half, picture):
    """The network's mask of `reduced`, at the size of `picture`; `half` is the picture at half its size."""
    return guided.upsampled(selfie.embed(network, reduced), guided.halved(half), picture)


def steadied(mask, previous):
    """The mask, leaning on the previous one where it is uncertain, both see the same, and the picture has not changed.

    A previous mask of zeros overlaps with nothing and so has no weight.
    """
    # The feedback is truncated to bytes; half a step puts it back on average.
    before = ops.multiply(ops.add(previous, _number(0.5)), _number(1 / 255))
    difference = ops.subtract(before, mask)
    uncertain = ops.multiply(ops.multiply(mask, ops.subtract(_number(1.0), mask)), _number(_UNCERTAIN))
    same = ramp(ops.abs(difference), _OTHER, _SAME)
    overlap = ops.divide(_mean(ops.minimum(mask, before)), _mean(ops.maximum(mask, before)))
    still = ops.multiply(ramp(overlap, _CUT, _STILL), _number(_MEMORY))
    weight = ops.multiply(ops.multiply(ops.clamp(uncertain, 0.0, 1.0), same), still)
    return ops.clamp(ops.add(mask, ops.multiply(weight, difference)), 0.0, 1.0)


def _number(value):
    return ops.constant(np.float32(value))


def _mean(plane):
    return ops.reduce_mean(plane, [2, 3], True)
