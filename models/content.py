"""Recipe of the content network: three grey frames of a screen in, the regions whose picture plays out.

Nothing in it is trained. Positions are pixels of the input, 512x512. All arithmetic stays in single precision and apart
from matrix products and convolutions, which devices may compute with coarser numbers than positions need.

A row is centre x, centre y, width, height, objectness and the scores of four classes: the whole area moves, part of it,
a page scrolls, changed in one interval only. Rows of regions have an
objectness of REGION and more; text that scrolls has SCROLLS, anything else that moves LITTLE. All further rows are 0.
"""

import numpy as np
import openvino.opset7 as ops

from models import ir
from models.content_boxes import (CANDIDATES, Sums, area, as_row, cleared, components, in_cells, overlap, size, snapped,
                                  together)
from models.content_cells import CELL, SIDE, Motion, barriers, lines, scrolled
from models.flags import above, below, choose, every, inverse, number, positive, scaled, shaped, some

REGION, SCROLLS, LITTLE = 0.75, 0.5, 0.25
_RANGE = 0.2  # objectness of a region that moves all over, above REGION
_CLASS_SCORE = 0.9

_SAME = 0.8  # intersection over union of boxes that stand for one region
_INSIDE = 0.6  # of the smaller box, for two to be united
_SMALLEST = 44  # pixels of a region's smaller side
_MOVING = 0.01  # part of a region's pixels that moves
_POINTER = (18, 28)  # pixels of a large one
_LEAST, _LEAST_LIKE_POINTER = 500, 640  # pixels of a region that move: more than a pointer on its way
_EXTENT = 0.13  # part of its width and of its height over which it does
_FULL = 0.9  # part of its cells that move in a picture, but hardly ever in a page of text
_CERTAIN = 0.78  # part of the changed rows that a scroll explains where that many cells move, without noise
_EXPLAINED = 0.66  # part of the changed rows that a scroll explains
_MANY, _MANY_EXPLAINED = 4, 0.42  # as many parts are lines and words already where it explains less
_OWN = 0.6  # part of the motion inside a box that is its own
_SOME_OWN, _LITTLE_TEXT = 0.4, 0.28  # the same where a scroll explains less than the second
_WHOLE = 0.7  # part of the cells that move, for the whole area to move
_ONE_INTERVAL = 0.02  # motion of the weaker interval for that of the other


def network(pair):
    node, images = ir.parameter(pair)
    return ir.model(pair, node, {pair.outputs[0].name: _padded(_rows(images), pair.outputs[0].shape)})


def _rows(images):
    frames = _bytes(images)
    motion = Motion(*frames)
    down, across = lines(frames[0], frames[2], motion.pixels)
    parts, there = components(motion, barriers(motion, down, across))
    inner, straight = cleared(parts, motion.cells)
    box = snapped(inner, straight, down, across)
    evidence = _Evidence(motion, *scrolled(frames, motion.noisy))
    plays, text = _judged(box, parts, there, evidence)
    return _told(_united(box, plays), there, plays, text, evidence)


def _bytes(images):
    """The three frames as whole numbers, the earliest first: half precision holds fractions inexactly."""
    whole = ops.round(scaled(images, 255), "half_to_even")
    return [shaped(plane, 1, 1, SIDE, SIDE) for plane in reversed(ops.split(whole, 1, 3).outputs())]


class _Evidence:
    """What moves inside boxes."""

    def __init__(self, motion, changed, explained):
        self.clean = inverse(motion.noisy)
        self._cells, self._share = Sums(motion.cells), Sums(motion.share)
        self._intervals = [Sums(m) for m in motion.intervals]
        self._changed, self._explained = Sums(changed), Sums(explained)

    def pixels(self, box):
        return scaled(self._share.over(*in_cells(box)), CELL * CELL)

    def fill(self, box):
        """Part of the cells that move."""
        left, top, right, bottom = cells = in_cells(box)
        count = ops.multiply(ops.subtract(right, left), ops.subtract(bottom, top))
        return ops.divide(self._cells.over(*cells), ops.maximum(count, number(1)))

    def explained(self, box):
        """Part of the changed rows that a scroll explains."""
        changed, explained = (c.over(*in_cells(box)) for c in (self._changed, self._explained))
        return ops.divide(explained, ops.maximum(changed, number(1)))

    def once(self, box):
        """1 where all but all motion falls into one interval."""
        first, second = (c.over(*in_cells(box)) for c in self._intervals)
        return positive(ops.subtract(scaled(ops.maximum(first, second), _ONE_INTERVAL), ops.minimum(first, second)))


def _judged(box, parts, there, evidence):
    """Flags: the box is a region that plays; it is text that scrolls.

    Parts that were put out to one box are judged together: small things that move in a picture are little each. A box
    whose motion is mostly that of other boxes is the page or the desktop that they lie on.
    """
    shared, areas = overlap(box), area(box)
    union = ops.subtract(ops.add(areas, as_row(areas)), shared)
    same = some(every(above(ops.subtract(shared, scaled(union, _SAME)), 0), as_row(there)),
                np.eye(CANDIDATES, dtype=np.float32))
    own = ops.reduce_sum(ops.multiply(same, as_row(evidence.pixels(parts))), [1], True)
    spread = [positive(ops.subtract(part, scaled(whole, _EXTENT))) for part, whole in
              zip(size(together(parts, same)), size(box))]
    fill, explained = evidence.fill(box), evidence.explained(box)
    large = every(there, *(above(side, _SMALLEST - 0.5) for side in size(box)))
    words = every(above(ops.reduce_sum(same, [1], True), _MANY - 0.5), above(explained, _MANY_EXPLAINED))
    sparse = every(below(fill, _FULL), some(words, above(explained, _EXPLAINED)))
    text = every(large, some(sparse, every(evidence.clean, above(explained, _CERTAIN))))
    inside = evidence.pixels(box)
    alone = some(positive(ops.subtract(own, scaled(inside, _OWN))), above(fill, _FULL),
                 every(below(explained, _LITTLE_TEXT), positive(ops.subtract(own, scaled(inside, _SOME_OWN)))))
    least = choose(_like_pointer(parts, same), number(_LEAST_LIKE_POINTER), number(_LEAST))
    moves = every(positive(ops.subtract(own, least)), positive(ops.subtract(own, scaled(areas, _MOVING))))
    return every(large, moves, alone, *spread, inverse(text)), text


def _like_pointer(parts, same):
    """1 where none of the parts that belong to a box is larger than a pointer."""
    return every(*(below(ops.reduce_max(ops.multiply(same, as_row(side)), [1], True), most + 0.5)
                   for side, most in zip(size(parts), _POINTER)))


def _united(box, plays):
    """Boxes of regions that lie in each other for the most part become one."""
    for _ in range(2):
        areas = area(box)
        smaller = ops.minimum(areas, as_row(areas))
        near = every(positive(ops.subtract(overlap(box), scaled(smaller, _INSIDE))), plays, as_row(plays))
        box = together(box, some(near, np.eye(CANDIDATES, dtype=np.float32)))
    return box


def _told(box, there, plays, text, evidence):
    """The rows, 32x9."""
    left, top, right, bottom = box
    fill = evidence.fill(box)
    region = ops.add(scaled(fill, _RANGE), number(REGION))
    objectness = choose(plays, region, choose(text, number(SCROLLS), number(LITTLE)))
    once = every(evidence.once(box), inverse(text))
    whole = every(above(fill, _WHOLE), inverse(text), inverse(once))
    part = every(*(inverse(flag) for flag in (whole, text, once)))
    classes = (whole, part, text, once)
    rows = ops.concat([scaled(ops.add(left, right), 0.5), scaled(ops.add(top, bottom), 0.5), *size(box), objectness,
                       *(scaled(c, _CLASS_SCORE) for c in classes)], 1)
    return ops.multiply(rows, there)


def _padded(rows, shape):
    return shaped(ops.pad(rows, [0, 0], [shape[1] - CANDIDATES, 0], "constant", number(0)), *shape)
