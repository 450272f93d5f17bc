"""From moving cells to boxes: connected parts, put out to the edges of the windows that they play in.

A box is four nodes Kx1, left, top, right, bottom, in pixels of the input, right and bottom exclusive; K is CANDIDATES.
"""

import numpy as np
import openvino.opset1 as ops1
import openvino.opset7 as ops

from models.content_cells import CELL, CELLS, SIDE, as_map, rows_at, running
from models.flags import above, below, choose, every, inverse, number, positive, scaled, shaped, some

CANDIDATES = 32
_ROUNDS = 64  # cells from one end of a part to the other, round corners
_LINE = 0.7  # part of a side that must be edge
_STRAIGHT, _LARGE = 0.7, 48  # part of a side's cells that move where it needs no edge; pixels of such a box's sides
_INWARDS, _OUTWARDS = 8, 17  # pixels within which a straight side looks for its edge
_DENSE = 0.5  # part of a row or column that moves, to count as the box's inner part
_DENSE_STRAIGHT, _DENSE_REST = 0.85, 0.1  # its sides, and what may lie outside for its size
_DENSE_SPARE = 8.5  # cells outside that are always allowed: a pointer
_POSITIONS = np.arange(SIDE + 1, dtype=np.float32)[None]
_PLACES = np.arange(CELLS, dtype=np.float32)[None]


class Sums:
    """Sums of a map of cells over boxes."""

    def __init__(self, cells):
        both = running(ops.transpose(running(cells), [1, 0]))
        self._total = shaped(both, (CELLS + 1) ** 2, 1)

    def over(self, left, top, right, bottom):
        """Kx1 for sides in cells, Kx1 each."""
        return ops.subtract(ops.add(self._until(right, bottom), self._until(left, top)),
                            ops.add(self._until(right, top), self._until(left, bottom)))

    def _until(self, x, y):
        return rows_at(self._total, ops.add(scaled(x, CELLS + 1), y))


def in_cells(box):
    """The cells that a box touches."""
    return [*(ops.floor(scaled(v, 1 / CELL)) for v in box[:2]), *(ops.ceiling(scaled(v, 1 / CELL)) for v in box[2:])]


def components(motion, barrier):
    """The boxes of the largest connected parts, and a flag for each that there is one; the others are 0.

    Each cell takes over the reach and the number of its neighbours until all cells of a part agree; the cell that bears
    the part's number speaks for it.
    """
    cells = ops.multiply(motion.cells, inverse(barrier))
    numbers = np.arange(1, CELLS * CELLS + 1, dtype=np.float32)
    state = ops.concat([as_map(r) for r in motion.reach()] + [numbers.reshape(1, 1, CELLS, CELLS)], 1)
    state = ops.multiply(state, as_map(cells))
    for _ in range(_ROUNDS):
        state = ops.multiply(ops1.max_pool(state, [1, 1], [1, 1], [1, 1], [3, 3]), as_map(cells))
    left, top, right, bottom, name = (shaped(p, CELLS * CELLS) for p in ops.split(state, 1, 5).outputs())
    speaks = inverse(positive(ops.abs(ops.subtract(name, numbers))))
    width, height = (ops.subtract(ops.add(a, b), number(SIDE)) for a, b in ((left, right), (top, bottom)))
    largest = ops.topk(every(width, height, speaks), np.int64(CANDIDATES), 0, "max", "value")
    there = positive(shaped(largest.output(0), CANDIDATES, 1))
    left, top, right, bottom = (shaped(ops.gather(v, largest.output(1), np.int64(0)), CANDIDATES, 1)
                                for v in (left, top, right, bottom))
    box = (ops.subtract(number(SIDE), left), ops.subtract(number(SIDE), top), right, bottom)
    return [ops.multiply(side, there) for side in box], there


def cleared(box, cells):
    """The box without what sticks out of it, a pointer say, where the rest is a rectangle that moves at all its sides.

    Also a flag for each side that motion fills the cells along it, so that it needs no edge.
    """
    sums, dense = Sums(cells), _dense(box, cells)
    inside = sums.over(*in_cells(dense))
    outside = ops.subtract(sums.over(*in_cells(box)), inside)
    little = below(ops.subtract(outside, scaled(inside, _DENSE_REST)), _DENSE_SPARE)
    rectangle = every(little, *_straight(dense, sums, _DENSE_STRAIGHT))
    box = [choose(rectangle, new, old) for new, old in zip(dense, box)]
    return box, [some(rectangle, s) for s in _straight(box, sums, _STRAIGHT)]


def _dense(box, cells):
    """From the first to the last row and column of cells that is half full, in pixels."""
    left, top, right, bottom = in_cells(box)
    down, across = running(cells), running(ops.transpose(cells, [1, 0]))
    for _ in range(2):
        top, bottom = _half_full(across, left, right, top, bottom)
        left, right = _half_full(down, top, bottom, left, right)
    return [scaled(v, CELL) for v in (left, top, right, bottom)]


def _half_full(total, low, high, first, last):
    count = ops.subtract(rows_at(total, high), rows_at(total, low))
    full = every(above(ops.subtract(count, scaled(ops.subtract(high, low), _DENSE)), -0.001),
                 above(ops.subtract(_PLACES, first), -0.5), above(ops.subtract(last, _PLACES), 0.5))
    found = ops.reduce_max(full, [1], True)
    begin = ops.subtract(number(CELLS), ops.reduce_max(ops.multiply(full, CELLS - _PLACES), [1], True))
    end = ops.reduce_max(ops.multiply(full, _PLACES + 1), [1], True)
    return choose(found, begin, first), choose(found, end, last)


def _straight(box, sums, share):
    left, top, right, bottom = in_cells(box)
    one, none = number(1), number(0)
    # An empty box has all sides at 0: no strip leaves the map.
    strips = ((left, top, ops.add(left, one), bottom), (left, top, right, ops.add(top, one)),
              (ops.maximum(ops.subtract(right, one), none), top, right, bottom),
              (left, ops.maximum(ops.subtract(bottom, one), none), right, bottom))
    lengths = [ops.subtract(bottom, top), ops.subtract(right, left)] * 2
    large = every(*(above(ops.subtract(box[i + 2], box[i]), _LARGE - 0.5) for i in (0, 1)))
    return [every(large, above(ops.subtract(sums.over(*strip), scaled(length, share)), -0.001))
            for strip, length in zip(strips, lengths)]


def snapped(box, straight, down, across):
    """The box put out to the nearest lines that hold along the whole of its sides; as it was where one side has none.

    How far a side runs depends on the others: a line that ends short of the corners gives way to the next one.
    """
    found = box
    for _ in range(3):
        columns, rows = _profiles(found, down, across)
        found = [_before(columns, box[0], box[2], straight[0]), _before(rows, box[1], box[3], straight[1]),
                 _after(columns, box[2], box[0], straight[2]), _after(rows, box[3], box[1], straight[3])]
    columns, rows = _profiles(found, down, across)
    holds = [some(s, above(ops.gather_elements(profile, ops.convert(side, "i32"), 1), _LINE))
             for s, profile, side in zip(straight, (columns, rows, columns, rows), found)]
    return [choose(every(*holds), new, old) for new, old in zip(found, box)]


def _profiles(box, down, across):
    left, top, right, bottom = box
    return down.between(top, bottom), across.between(left, right)


def _before(profile, side, opposite, straight):
    """The nearest line at a left or upper side or before it; where the side is straight only a near one."""
    limit = ops.minimum(ops.add(side, number(_INWARDS)), _middle(side, opposite))
    line = every(above(profile, _LINE), above(ops.subtract(limit, _POSITIONS), -0.1))
    found = ops.reduce_max(ops.multiply(line, _POSITIONS), [1], True)
    return choose(every(straight, above(ops.subtract(side, found), _OUTWARDS + 0.5)), side, found)


def _after(profile, side, opposite, straight):
    """The same for a right or lower side."""
    limit = ops.maximum(ops.subtract(side, number(_INWARDS)), _middle(side, opposite))
    line = every(above(profile, _LINE), above(ops.subtract(_POSITIONS, limit), -0.1))
    found = ops.subtract(number(SIDE), ops.reduce_max(ops.multiply(line, SIDE - _POSITIONS), [1], True))
    return choose(every(straight, above(ops.subtract(found, side), _OUTWARDS + 0.5)), side, found)


def _middle(a, b):
    return scaled(ops.add(a, b), 0.5)


def size(box):
    """Width and height."""
    return ops.subtract(box[2], box[0]), ops.subtract(box[3], box[1])


def area(box):
    return ops.multiply(*size(box))


def overlap(box):
    """Area that each box shares with each: KxK."""
    turned = [as_row(v) for v in box]
    width, height = (ops.maximum(ops.subtract(ops.minimum(box[i + 2], turned[i + 2]), ops.maximum(box[i], turned[i])),
                                 number(0)) for i in (0, 1))
    return ops.multiply(width, height)


def together(box, belongs):
    """For each box the smallest that holds all boxes which belong to it, KxK flags; each belongs to itself."""
    def farthest(side):
        return ops.reduce_max(ops.multiply(belongs, as_row(side)), [1], True)

    far = number(SIDE)
    return [*(ops.subtract(far, farthest(ops.subtract(far, v))) for v in box[:2]), *(farthest(v) for v in box[2:])]


def as_row(column):
    return shaped(column, 1, CANDIDATES)
