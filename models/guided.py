"""Edge-aware upsampling of a mask in the graph: a guided filter with a colour guide.

Near every place the mask is taken to be a linear function of the colour, mask = slope * colour + offset. Slope and offset
are found on a coarse grid and applied to the full-size picture, so that the mask's edges fall where the picture's are.
Variances are computed from differences to the neighbours, not as differences of large sums, and the equations are solved
in units of the noise: both keep the filter right on devices that compute in half precision.
"""

import numpy as np
import openvino.opset7 as ops

from models.tflite import resize

# Variance of colours 0..1 below which an edge is taken for noise, and the part of the local variance that is always noise:
# it keeps the equations solvable in half precision where all colours lie on one line.
_NOISE = 5e-5
_PART_NOISE = 0.002
# The filtered mask is cut by this much at both ends: a faint halo is no mask, a faint hole is no hole.
_FLAT = 0.25
_NEIGHBOURS = [(y, x) for y in range(3) for x in range(3) if (y, x) != (1, 1)]


def halved(planes):
    """Each plane as a picture of its own, whose memory needs no other order before it is halved."""
    count, height, width = list(planes.get_output_shape(0))[1:]
    pictures = ops.reshape(planes, [count, 1, height, width], False)
    return ops.reshape(ops.avg_pool(pictures, [2, 2], [0, 0], [0, 0], [2, 2], True),
                       [1, count, height // 2, width // 2], False)


def upsampled(mask, coarse, picture):
    """`mask`, of any size, at the size of `picture`; `coarse` is the same picture on the coarse grid. Colours are 0..1."""
    height, width = coarse.get_output_shape(0)[2:]
    slope, offset = _linear(coarse, resize(mask, height, width))
    times = picture.get_output_shape(0)[2] // height
    # One plane at a time: enlarged together they would have to be taken apart again.
    red, green, blue, value = (_enlarged(_local_mean(p), times) for p in (*slope, offset))
    for factor, plane in zip((red, green, blue), ops.split(picture, 1, 3).outputs()):
        value = ops.add(value, ops.multiply(factor, plane))
    stretch = 1 / (1 - 2 * _FLAT)
    return ops.clamp(ops.add(_scaled(value, stretch), _number(-_FLAT * stretch)), 0.0, 1.0)


def _linear(colour, mask):
    """Slope, three planes, and offset of the best linear function in the 3x3 window round every place."""
    difference = _differences(ops.concat([colour, mask], 1))
    mean = [_scaled(_sum(d), 1 / 3) for d in difference]
    covariance = {(i, j): ops.subtract(_sum(ops.multiply(difference[i], difference[j])), ops.multiply(mean[i], mean[j]))
                  for i in range(4) for j in range(i, 4) if i < 3}
    slope = _solve({k: _scaled(v, 1 / _NOISE) for k, v in covariance.items()})
    offset = ops.add(mask, mean[3])
    for plane, shift, factor in zip(ops.split(colour, 1, 3).outputs(), mean, slope):
        offset = ops.subtract(offset, ops.multiply(factor, ops.add(plane, shift)))
    return slope, offset


def _enlarged(plane, times):
    """A 1x1xHxW plane, bilinear, `times` as high and wide: what a resize gives, in a quarter of its time.

    Each place makes times x times pixels from its 3x3 window by one small convolution.
    """
    weights = _bilinear_weights(times)
    kernel = np.einsum("iy,jx->ijyx", weights, weights).reshape(times * times, 1, 3, 3).astype(np.float32)
    bordered = ops.pad(plane, [0, 0, 1, 1], [0, 0, 1, 1], "edge")
    pixels = ops.convolution(bordered, kernel, [1, 1], [0, 0], [0, 0], [1, 1])
    return ops.depth_to_space(pixels, "depth_first", times)


def _bilinear_weights(times):
    """times x 3: what each new pixel of a place takes from the place before, the place itself and the next."""
    weights = np.zeros((times, 3))
    for number in range(times):
        position = (number + 0.5) / times - 0.5
        weights[number, 1] = 1 - abs(position)
        weights[number, 0 if position < 0 else 2] = abs(position)
    return weights


def _differences(planes):
    """For each plane eight planes, 1x8xHxW: the neighbours less the place itself, over 3, so that products sum to means."""
    kernel = np.zeros((4, 8, 1, 3, 3), np.float32)
    for number, (y, x) in enumerate(_NEIGHBOURS):
        kernel[:, number, 0, y, x], kernel[:, number, 0, 1, 1] = 1 / 3, -1 / 3
    bordered = ops.pad(planes, [0, 0, 1, 1], [0, 0, 1, 1], "edge")
    return ops.split(ops.group_convolution(bordered, kernel, [1, 1], [0, 0], [0, 0], [1, 1]), 1, 4).outputs()


def _solve(a):
    """Solves (A + N) x = y at every place by elimination, N the noise on the diagonal.

    `a` maps (i, j), i <= j, to planes of A, and (i, 3) to those of y, all in units of the noise.
    """
    trace = ops.add(ops.add(a[0, 0], a[1, 1]), a[2, 2])
    noise = ops.add(_scaled(trace, _PART_NOISE), _number(1.0))
    a00, a11, a22 = (ops.add(a[i, i], noise) for i in range(3))
    f01, f02 = ops.divide(a[0, 1], a00), ops.divide(a[0, 2], a00)
    b11 = ops.subtract(a11, ops.multiply(f01, a[0, 1]))
    b12 = ops.subtract(a[1, 2], ops.multiply(f01, a[0, 2]))
    b22 = ops.subtract(a22, ops.multiply(f02, a[0, 2]))
    y1 = ops.subtract(a[1, 3], ops.multiply(f01, a[0, 3]))
    y2 = ops.subtract(a[2, 3], ops.multiply(f02, a[0, 3]))
    f12 = ops.divide(b12, b11)
    x2 = ops.divide(ops.subtract(y2, ops.multiply(f12, y1)), ops.subtract(b22, ops.multiply(f12, b12)))
    x1 = ops.subtract(ops.divide(y1, b11), ops.multiply(f12, x2))
    x0 = ops.subtract(ops.subtract(ops.divide(a[0, 3], a00), ops.multiply(f01, x1)), ops.multiply(f02, x2))
    return x0, x1, x2


def _sum(planes):
    return ops.reduce_sum(planes, [1], True)


def _local_mean(planes):
    return ops.avg_pool(planes, [1, 1], [1, 1], [1, 1], [3, 3], True)


def _scaled(value, factor):
    return ops.multiply(value, _number(factor))


def _number(value):
    return ops.constant(np.float32(value))
