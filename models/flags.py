"""Small words for graphs that decide: flags are nodes of 0.0 and 1.0."""

import numpy as np
import openvino.opset7 as ops


def number(value):
    return ops.constant(np.float32(value))


def above(value, limit):
    """1 where the value is greater, else 0."""
    return ops.convert(ops.greater(value, number(limit)), "f32")


def below(value, limit):
    return ops.convert(ops.less(value, number(limit)), "f32")


def positive(value):
    return above(value, 0)


def inverse(flag):
    return ops.subtract(number(1), flag)


def every(*flags):
    product = flags[0]
    for flag in flags[1:]:
        product = ops.multiply(product, flag)
    return product


def some(first, *others):
    for flag in others:
        first = ops.maximum(first, flag)
    return first


def choose(flag, yes, no):
    return ops.add(ops.multiply(flag, yes), ops.multiply(inverse(flag), no))


def scaled(value, factor):
    return ops.multiply(value, number(factor))


def shaped(node, *shape):
    return ops.reshape(node, list(shape), False)
