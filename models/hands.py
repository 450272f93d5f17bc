"""The likeliest hand of a picture: its palm, its 21 points, and which of nine gestures they make."""

from typing import NamedTuple

import numpy as np
import openvino as ov
import openvino.opset7 as ops

from models import crop, tflite
from models.arithmetic import ramp
from models.letterbox import SIDE

PALM_PATH = "mediapipe/modules/palm_detection/palm_detection_full.tflite"
HAND_PATH = "mediapipe/modules/hand_landmark/hand_landmark_full.tflite"
POINTS = 21
GESTURES = ("open palm", "fist", "thumb up", "thumb down", "pointing", "victory", "three", "OK", "horns")

# The palm network answers twice for each cell of the first grid and six times for each of the second.
_GRIDS = ((24, 2), (12, 6))
# The square that the hand network was trained on, in sides of the palm's box: its side, and how far it is moved towards the
# fingers.
_HAND_SIDE, _SHIFT = 2.6, 0.5
_HAND_PIXELS = 224
# Palm and hand probability below which there is no hand.
_PRESENT = 0.5

_WRIST, _INDEX_TIP, _PINKY_BASE, _MIDDLE_BASE = 0, 8, 17, 9
_THUMB = (2, 3, 4)  # base, joint, tip
_FINGERS = ((5, 6, 8), (9, 10, 12), (13, 14, 16), (17, 18, 20))  # base, joint, tip


class Hand(NamedTuple):
    """The likeliest hand; it is one only if `present`."""

    points: ov.Node  # 1x21x3, pixels of the picture
    score: ov.Node  # 1x1, probability
    present: ov.Node  # 1x1, boolean


def load_palm(sources):
    """The network as a model: 1x3x192x192 FP32, RGB, 0..1, to 1x2016x18 box and point values and 1x2016x1 logits."""
    return tflite.load(sources, PALM_PATH)


def load_hand(sources):
    """The network as a model: 1x3x224x224 FP32, RGB, 0..1, to 21 points x, y, z in its pixels, the probabilities of a hand
    and of a right one, and the points in metres.
    """
    return tflite.load(sources, HAND_PATH)


def best(palms, hands, picture, boxed, letterbox):
    """The likeliest hand of `picture`; `boxed` is the same picture, letterboxed, 0..1."""
    palm, palm_score = _palm(palms, boxed, letterbox, picture.get_output_shape(0)[2:])
    square = _hand_square(palm)
    points, score, *_ = tflite.embed(hands, crop.cut(picture, square, _HAND_PIXELS))
    points = ops.multiply(ops.reshape(points, np.array([1, POINTS, 3]), False), np.float32(1 / _HAND_PIXELS))
    present = ops.greater_equal(ops.minimum(score, palm_score), np.float32(_PRESENT))
    return Hand(crop.points_to_picture(points, square), score, present)


def gestures(hand):
    """1x9 scores, 0..1, in the order of GESTURES; all 0 without a hand."""
    scores = ops.multiply(gesture_rule(hand.points), hand.score)
    return ops.select(hand.present, scores, np.float32(0))


def gesture_rule(points):
    """How well 1x21x3 points, in any unit and with y down, fit each gesture: 1x9, 0..1.

    A gesture fits as well as the one of its conditions that holds least.
    """
    joints = [ops.gather(points, np.array([n]), np.int64(1)) for n in range(POINTS)]
    index, middle, ring, pinky = (_stretched(joints, *finger) for finger in _FINGERS)
    thumb = _thumb_away(joints)
    up, down = (_thumb_points(joints, sign) for sign in (-1, 1))
    pinch = _pinched(joints)
    curled = [_not(finger) for finger in (index, middle, ring, pinky)]
    fits = (
        (index, middle, ring, pinky, _not(pinch)),
        (*curled, _not(thumb)),
        (*curled, thumb, up),
        (*curled, thumb, down),
        (index, *curled[1:], _not(pinch)),
        (index, middle, *curled[2:], _not(pinch)),
        (index, middle, ring, curled[3], _not(pinch)),
        (pinch, middle, ring, pinky),
        (index, curled[1], curled[2], pinky, _not(pinch)),
    )
    return ops.reshape(ops.concat([_all(*conditions) for conditions in fits], 2), np.array([1, len(GESTURES)]), False)


def _palm(palms, boxed, letterbox, size):
    """The likeliest palm: 1x4x2, centre and size of its box, wrist and base of the middle finger, in pixels; its score."""
    raw, logits = tflite.embed(palms, boxed)
    likeliest = ops.topk(ops.reshape(logits, np.array([-1]), False), np.int64(1), 0, "max", "value")
    values = ops.reshape(ops.gather(raw, likeliest.output(1), np.int64(1)), np.array([1, 9, 2]), False)
    anchor = ops.gather(_anchors() - letterbox.origin.astype(np.float32), likeliest.output(1), np.int64(1))
    from_anchor = np.array([1, 0, 1, 1], np.float32).reshape(1, 4, 1)
    chosen = ops.gather(values, np.array([0, 1, 2, 4]), np.int64(1))
    in_box = ops.add(chosen, ops.multiply(anchor, from_anchor))
    pixels = ops.multiply(in_box, np.float32(np.array(size[::-1]) / letterbox.scale))
    return pixels, ops.reshape(ops.sigmoid(likeliest.output(0)), np.array([1, 1]), False)


def _anchors():
    """1x2016x2: the centres of the cells that the palm network's answers belong to, in pixels of the square."""
    made = []
    for cells, answers in _GRIDS:
        centres = (np.arange(cells, dtype=np.float32) + 0.5) / cells * SIDE
        y, x = np.meshgrid(centres, centres, indexing="ij")
        made.append(np.repeat(np.stack([x, y], 2).reshape(-1, 2), answers, axis=0))
    return np.concatenate(made)[None]


def _hand_square(palm):
    """Fingers up: the y axis points from the middle finger's base to the wrist."""
    centre, size, wrist, finger = ops.split(palm, 1, 4).outputs()
    side = ops.reduce_max(size, [2], True)
    up = ops.subtract(finger, wrist)
    x, y = ops.split(up, 2, 2).outputs()
    turned = crop.squares(centre, ops.concat([ops.negative(y), x], 2), ops.multiply(side, np.float32(_HAND_SIDE)))
    towards_fingers = ops.constant(np.array([[[0.5, 0.5 - _SHIFT / _HAND_SIDE]]], np.float32))
    return turned._replace(centre=crop.to_picture(towards_fingers, turned))


def _stretched(joints, base, joint, tip):
    """1 for a straight finger, 0 for a curled one: by the angle at its middle joint and how far from the wrist it ends."""
    straight = ramp(_cosine(_vector(joints, base, joint), _vector(joints, joint, tip)), 0.1, 0.7)
    reach = _ratio(_distance(joints, _WRIST, tip), _distance(joints, _WRIST, joint))
    return _all(straight, ramp(reach, 1.0, 1.2))


def _thumb_away(joints):
    """1 for a thumb that leads away from the palm, 0 for one that lies across it."""
    _, joint, tip = _THUMB
    reach = _ratio(_distance(joints, _PINKY_BASE, tip), _distance(joints, _PINKY_BASE, joint))
    return ramp(reach, 0.95, 1.15)


def _thumb_points(joints, sign):
    """1 for a thumb that points up (`sign` -1) or down (1) in the picture, 0 from 60 degrees beside it on."""
    base, _, tip = _THUMB
    vertical = np.array([[[0, sign, 0]]], np.float32)
    return ramp(_cosine(_vector(joints, base, tip), ops.constant(vertical)), 0.5, 0.8)


def _pinched(joints):
    """1 where the tips of thumb and index finger meet, measured by the palm's length."""
    gap = _ratio(_distance(joints, _THUMB[2], _INDEX_TIP), _distance(joints, _WRIST, _MIDDLE_BASE))
    return ramp(gap, 0.45, 0.25)


def _vector(joints, start, end):
    return ops.subtract(joints[end], joints[start])


def _distance(joints, start, end):
    return crop.length(_vector(joints, start, end))


def _cosine(first, second):
    product = ops.reduce_sum(ops.multiply(first, second), [2], True)
    return _ratio(product, ops.multiply(crop.length(first), crop.length(second)))


def _ratio(above, below):
    return ops.divide(above, ops.maximum(below, np.float32(1e-6)))


def _not(value):
    return ops.subtract(np.float32(1), value)


def _all(*conditions):
    return ops.reduce_min(ops.concat(list(conditions), 2), [2], True)
