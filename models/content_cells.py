"""What the content network sees: motion, edges that stand still, and rows that scroll, by cells of 8x8 pixels.

A map of cells is 64x64, rows first. Frames are nodes 1x1x512x512 of whole numbers 0..255.
"""

import numpy as np
import openvino.opset1 as ops1
import openvino.opset7 as ops

from models.flags import above, below, every, inverse, number, positive, scaled, shaped, some

SIDE = 512
CELL = 8
CELLS = SIDE // CELL
_PADDING = 114  # the grey round a frame that is smaller than the input
# With noise of one level two frames differ by up to this.
_NOISE = 2
# A cell that only noise changes: share of pixels, mean difference. And the mean that noise does not reach.
_NOISE_SHARE, _NOISE_MEAN = (0.3, 0.95), 0.6
_BEYOND_NOISE = 0.8
_EDGE = 8  # grey levels between neighbours
_BARRIER = 0.8  # part of three cells that must be edge to keep two sides apart
_GAP_STILL, _GAP_MOVING = 0.05, 0.3  # motion in a narrow gap and beside it
_BREAK = 3  # cells for which a barrier may be broken, by a pointer say
_SCROLL_CELL = 16  # pixels across
_SCROLL = 32  # pixels up or down


class Motion:
    """Where the frames differ, in either interval. Noise of one grey level is found out and does not count."""

    def __init__(self, first, second, third):
        self.noisy, noticed = _noise(first, third)
        differences = [ops.abs(ops.subtract(a, b)) for a, b in ((first, second), (second, third))]
        moving = [ops.clamp(ops.subtract(d, scaled(self.noisy, _NOISE)), 0.0, 1.0) for d in differences]
        self.pixels = ops.maximum(*moving)
        self.share = ops.maximum(_means(self.pixels), noticed)
        self.intervals = [ops.maximum(_means(m), noticed) for m in moving]
        self.cells = positive(self.share)
        self._noticed = noticed

    def reach(self):
        """How far the moving pixels of each cell reach: 512 - left, 512 - top, right, bottom; 0 where nothing moves."""
        columns = shaped(ops.reduce_max(shaped(self.pixels, CELLS, CELL, SIDE), [1]), CELLS, CELLS, CELL)
        rows = ops.reduce_max(shaped(self.pixels, CELLS, CELL, CELLS, CELL), [3])
        place = np.arange(SIDE, dtype=np.float32).reshape(CELLS, CELL)
        begin = place[:, 0]
        across, down = place[None], place[:, :, None]
        made = ((columns, 2, SIDE - across, SIDE - begin[None]), (rows, 1, SIDE - down, SIDE - begin[:, None]),
                (columns, 2, across + 1, begin[None] + CELL), (rows, 1, down + 1, begin[:, None] + CELL))
        return [ops.maximum(ops.reduce_max(ops.multiply(pixels, far), [axis]), ops.multiply(self._noticed, whole))
                for pixels, axis, far, whole in made]


def _noise(first, third):
    """Whether the screen is noisy all over, and if so the cells that move although each of their pixels may be noise.

    On a noisy screen next to no cell stands still; the grey round a small frame does not count.
    """
    total = ops.subtract(first, third)
    size = ops.abs(total)
    share, mean, peak = _means(ops.clamp(size, 0.0, 1.0)), ops.abs(_means(total)), _peaks(size)
    padding = inverse(positive(_peaks(ops.abs(ops.subtract(first, number(_PADDING))))))
    still = every(inverse(positive(peak)), inverse(padding))
    like_noise = every(above(share, _NOISE_SHARE[0]), below(share, _NOISE_SHARE[1]), below(peak, _NOISE + 0.5),
                       below(mean, _NOISE_MEAN))
    noisy = positive(ops.subtract(ops.reduce_sum(like_noise, [0, 1]), scaled(ops.reduce_sum(still, [0, 1]), 4)))
    return noisy, every(noisy, above(mean, _BEYOND_NOISE))


class Lines:
    """Edges of one direction that stand still.

    `share`, 64x513, tells by cells along the edge and by pixels across which part of the cell's length is edge between
    the pixel before and the pixel. Both ends of the input count as edges.
    """

    def __init__(self, share):
        self.share = share
        self._total = running(share)

    def barrier(self):
        """1 in cells that a line of three cells runs through, by cells along and across."""
        long = above(_with_neighbours(self.share), _BARRIER)
        inner = ops.multiply(ops.strided_slice(long, [0, 0], [CELLS, SIDE], [1, 1], [1, 0], [1, 0]), _NOT_FIRST)
        return ops.reduce_max(shaped(inner, CELLS, CELLS, CELL), [2])

    def between(self, low, high):
        """Part that is edge at each pixel across, from `low` to `high` along, Kx1 each in pixels: Kx513."""
        first, last = ops.ceiling(scaled(low, 1 / CELL)), ops.floor(scaled(high, 1 / CELL))
        middle = ops.clamp(ops.floor(scaled(ops.add(low, high), 0.5 / CELL)), 0.0, CELLS - 1.0)
        whole = positive(ops.subtract(last, first))
        first = ops.add(ops.multiply(whole, first), ops.multiply(inverse(whole), middle))
        last = ops.add(ops.multiply(whole, last), ops.multiply(inverse(whole), ops.add(middle, number(1))))
        return ops.divide(ops.subtract(rows_at(self._total, last), rows_at(self._total, first)),
                          ops.subtract(last, first))


_NOT_FIRST = np.float32(np.arange(SIDE) > 0)[None]


def lines(first, third, moving):
    """Lines that run down and lines that run across: edges in both frames of which one side at least stands still."""
    return [Lines(_edge_share(first, third, moving, axis)) for axis in (3, 2)]


def _edge_share(first, third, moving, axis):
    steps = [ops.abs(ops.subtract(*_neighbours(frame, axis))) for frame in (first, third)]
    edge = ops.clamp(ops.subtract(ops.minimum(*steps), number(_EDGE - 1)), 0.0, 1.0)
    edge = every(edge, inverse(every(*_neighbours(moving, axis))))
    ends = np.eye(4, dtype=np.int64)[axis]
    return _along(ops.pad(edge, ends, ends, "constant", number(1)), axis)


def _along(plane, axis):
    """Means of 8 pixels along the lines, by cells along and pixels across."""
    if axis == 3:
        return ops.reduce_mean(shaped(plane, CELLS, CELL, -1), [1])
    return ops.transpose(ops.reduce_mean(shaped(plane, -1, CELLS, CELL), [2]), [1, 0])


def _neighbours(plane, axis):
    """The plane from its second row or column on, and the plane up to its last but one."""
    along = np.eye(4, dtype=np.int64)[axis]
    return [ops.strided_slice(plane, along * low, along * high, [1] * 4, 1 - along, 1 - along)
            for low, high in ((1, SIDE), (0, SIDE - 1))]


def barriers(motion, down, across):
    """Cells where what moves on one side is not taken together with what moves on the other."""
    vertical = _closed(some(down.barrier(), _gap(motion.pixels, 3)))
    horizontal = _closed(some(across.barrier(), _gap(motion.pixels, 2)))
    return some(vertical, ops.transpose(horizontal, [1, 0]))


def _gap(moving, axis):
    """1 where a narrow line that stands still runs between two parts that move, by cells along and across."""
    share = _with_neighbours(_along(moving, axis))
    before, after = (_peak_of_eight(share, a, b) for a, b in ((CELL, 0), (0, CELL)))
    gap = every(below(share, _GAP_STILL), above(before, _GAP_MOVING), above(after, _GAP_MOVING))
    return ops.reduce_max(shaped(gap, CELLS, CELLS, CELL), [2])


def _peak_of_eight(share, before, after):
    """The greatest of the 8 pixels before each, or after each."""
    padded = ops.pad(share, [0, before], [0, after], "constant", number(0))
    peaks = ops1.max_pool(shaped(padded, 1, 1, CELLS, SIDE + CELL), [1, 1], [0, 0], [0, 0], [1, CELL])
    begin = 0 if before else 1
    return ops.strided_slice(shaped(peaks, CELLS, SIDE + 1), [0, begin], [CELLS, SIDE + begin], [1, 1], [1, 0], [1, 0])


def _with_neighbours(share):
    """Means over three cells along."""
    length = share.get_output_shape(0)[1]
    pooled = ops.avg_pool(shaped(share, 1, 1, CELLS, length), [1, 1], [1, 0], [1, 0], [3, 1], True)
    return shaped(pooled, CELLS, length)


def _closed(barrier):
    """Whole where it is broken for a little, and a cell longer at both ends: a line does not fill its last cells."""
    wide = _peaks_along(barrier, _BREAK + 1)
    return inverse(_peaks_along(inverse(wide), _BREAK))


def _peaks_along(cells, distance):
    pooled = ops1.max_pool(as_map(cells), [1, 1], [distance, 0], [distance, 0], [2 * distance + 1, 1])
    return shaped(pooled, CELLS, CELLS)


def scrolled(frames, noisy):
    """By cells how many rows of 16 pixels changed, and how many of them stand higher or lower in the middle frame.

    Both intervals are counted; a cell takes the shift that explains most.
    """
    shape = (CELLS, CELL, SIDE // _SCROLL_CELL)
    first, middle, last = (ops.reduce_sum(shaped(f, SIDE, shape[2], _SCROLL_CELL), [2]) for f in frames)
    tolerance = ops.add(scaled(noisy, 14), number(0.5))  # three deviations of the noise of 16 pixels
    shifts = np.array([d for d in range(-_SCROLL, _SCROLL + 1) if d])
    sources = np.clip(np.arange(SIDE) + shifts[:, None], 0, SIDE - 1).ravel()
    moved = shaped(ops.gather(middle, sources, np.int64(0)), len(shifts), *shape)
    changed, explained = [], []
    for other in (first, last):
        change = shaped(positive(ops.subtract(ops.abs(ops.subtract(other, middle)), tolerance)), 1, *shape)
        apart = ops.abs(ops.subtract(shaped(other, 1, *shape), moved))
        same = every(inverse(positive(ops.subtract(apart, tolerance))), change)
        changed.append(ops.reduce_sum(change, [0, 2]))
        explained.append(ops.reduce_max(ops.reduce_sum(same, [2]), [0]))
    return [_square(ops.add(*counts)) for counts in (changed, explained)]


def _square(wide):
    """Cells of 16 pixels as two of 8."""
    column = shaped(wide, CELLS, CELLS // 2, 1)
    return shaped(ops.concat([column, column], 2), CELLS, CELLS)


def as_map(cells):
    return shaped(cells, 1, 1, CELLS, CELLS)


def running(rows):
    """Sums of the rows above each row, and of all: one row more."""
    return ops.cum_sum(ops.pad(rows, [1, 0], [0, 0], "constant", number(0)), np.int64(0))


def rows_at(table, index):
    """The rows of a table that a column of whole numbers names."""
    return ops.gather(table, shaped(ops.convert(index, "i32"), -1), np.int64(0))


def _means(plane):
    return shaped(ops.avg_pool(plane, [CELL] * 2, [0, 0], [0, 0], [CELL] * 2, True), CELLS, CELLS)


def _peaks(plane):
    return shaped(ops1.max_pool(plane, [CELL] * 2, [0, 0], [0, 0], [CELL] * 2), CELLS, CELLS)
