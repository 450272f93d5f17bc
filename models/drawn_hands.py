"""Hands made of bones: 21 points in the order of the hand network, for hands whose gesture is known.

Units are the distance from the wrist to the base of the middle finger; x to the right, y down, z away from the camera. The
plain hand is a right one seen from its palm's side, fingers up, and so has its thumb at the left.
"""

from typing import NamedTuple

import numpy as np
from PIL import Image, ImageDraw

# Base, and the lengths of the three bones, of index, middle, ring finger and pinky; how far each leans outwards, in degrees.
_BASES = ((-0.27, -0.97), (-0.02, -1.0), (0.2, -0.93), (0.4, -0.8))
_BONES = ((0.46, 0.27, 0.22), (0.51, 0.31, 0.23), (0.47, 0.3, 0.23), (0.36, 0.21, 0.2))
_LEAN = (-9, -1, 6, 14)
_SPREAD = (-20, -1, 6, 14)
_THUMB_START = (-0.3, -0.22)
_THUMB_BONES = (0.42, 0.34, 0.28)
# How far each joint bends towards the palm.
_STRAIGHT, _CURLED, _LIFTED = (6, 8, 5), (78, 100, 55), (20, 18, 12)
# Direction of each bone of the thumb: degrees from the fingers' towards the thumb's side, then out of the palm's plane.
_THUMB_OUT = ((52, 15), (48, 8), (44, 5))
_THUMB_SIDEWAYS = ((62, 15), (78, 8), (84, 5))
_THUMB_ACROSS = ((40, 40), (-25, 35), (-75, 20))
_THUMB_TO_INDEX = ((25, 30), (-2, 39), (-15, 44))
_INDEX_TO_THUMB = (36, 73, 25)


class Pose(NamedTuple):
    """Bends of index, middle, ring finger and pinky, and directions of the thumb's bones."""

    fingers: tuple
    thumb: tuple
    # Turn in the picture, clockwise in degrees, for a gesture that is told by where its thumb points.
    turn: float | None = None
    lean: tuple = _LEAN
    yaw: float = 0.0  # how far it is turned about the upright for its shape to be seen, in degrees


def _pose(pattern, thumb, turn=None):
    """`pattern` has a letter per finger: | straight, c curled."""
    return Pose(tuple({"|": _STRAIGHT, "c": _CURLED}[letter] for letter in pattern), thumb, turn)


# In the order of the network's gestures.
POSES = (
    _pose("||||", _THUMB_OUT),
    _pose("cccc", _THUMB_ACROSS),
    _pose("cccc", _THUMB_SIDEWAYS, 84),
    _pose("cccc", _THUMB_SIDEWAYS, -96),
    _pose("|ccc", _THUMB_ACROSS),
    _pose("||cc", _THUMB_ACROSS),
    _pose("|||c", _THUMB_ACROSS),
    Pose((_INDEX_TO_THUMB, _LIFTED, _STRAIGHT, _STRAIGHT), _THUMB_TO_INDEX, lean=_SPREAD, yaw=20),
    _pose("|cc|", _THUMB_ACROSS),
)


def points(pose):
    """21x3 points of the right hand in that pose."""
    made = [np.zeros(3), *_chain(_THUMB_START, _THUMB_BONES, [_thumb_direction(*bone) for bone in pose.thumb])]
    for base, bones, lean, bends in zip(_BASES, _BONES, pose.lean, pose.fingers):
        made += _chain(base, bones, [_finger_direction(lean, bend) for bend in np.cumsum(bends)])
    return turned(np.array(made), yaw=pose.yaw)


def turned(hand, roll=0.0, pitch=0.0, yaw=0.0, left=False):
    """The hand as a left one if wanted, tilted by pitch and yaw, then turned by roll in the picture, in degrees."""
    a, b, c = np.radians([roll, pitch, yaw])
    tilt_x = np.array([[1, 0, 0], [0, np.cos(b), -np.sin(b)], [0, np.sin(b), np.cos(b)]])
    tilt_y = np.array([[np.cos(c), 0, np.sin(c)], [0, 1, 0], [-np.sin(c), 0, np.cos(c)]])
    turn = np.array([[np.cos(a), -np.sin(a), 0], [np.sin(a), np.cos(a), 0], [0, 0, 1]])
    return (hand * [-1 if left else 1, 1, 1]) @ (turn @ tilt_x @ tilt_y).T


def _chain(start, bones, directions):
    joints = [np.array([*start, 0.0])]
    for length, direction in zip(bones, directions):
        joints.append(joints[-1] + length * direction)
    return joints


def _finger_direction(lean, bend):
    """Bent towards the palm, that is to the camera."""
    a, b = np.radians([lean, bend])
    return np.array([np.sin(a) * np.cos(b), -np.cos(a) * np.cos(b), -np.sin(b)])


def _thumb_direction(aside, forward):
    a, b = np.radians([aside, forward])
    return np.array([-np.sin(a) * np.cos(b), -np.cos(a) * np.cos(b), -np.sin(b)])


# Thickness, as a radius, at the four joints of thumb, index, middle, ring finger and pinky, and of other parts.
_THICKNESS = ((0.15, 0.125, 0.115, 0.09), (0.13, 0.105, 0.1, 0.08), (0.13, 0.11, 0.1, 0.08), (0.125, 0.1, 0.095, 0.075),
              (0.11, 0.09, 0.08, 0.065))
_SKIN = np.array([214, 160, 130])
# A limb is painted from its dark outline to its bright middle: part of its thickness, and brightness.
_SHADES = ((1.0, 0.62), (0.92, 0.86), (0.75, 0.95), (0.5, 1.0), (0.25, 1.04))
_FINER = 3  # drawn larger and made small, for smooth edges


def picture(hand, at, unit, background):
    """Draws the hand with its forearm on a copy of the picture `background`, wrist at `at`, `unit` pixels long."""
    page = background.resize((background.width * _FINER, background.height * _FINER))
    draw = ImageDraw.Draw(page)
    for start, end, thick, thin in _limbs(hand):
        _paint(draw, *((p[:2] * unit + at) * _FINER for p in (start, end)), *np.array([thick, thin]) * unit * _FINER)
    return page.resize(background.size, Image.LANCZOS)


def _limbs(hand):
    """Start, end and thickness at both, in the order of painting: forearm, palm, then fingers from far to near."""
    wrist, middle = hand[0], hand[9]
    yield wrist - 1.6 * (middle - wrist), wrist, 0.36, 0.28
    for base in (5, 9, 13, 17):
        yield wrist + 0.15 * (hand[base] - wrist), hand[base], 0.24, 0.15
    yield (wrist + hand[1]) / 2, hand[2], 0.22, 0.17
    bones = [(hand[4 * f + j], hand[4 * f + j + 1], *_THICKNESS[f][j - 1:j + 1]) for f in range(5) for j in range(1, 4)]
    yield from sorted(bones, key=lambda bone: -bone[0][2] - bone[1][2])


def _paint(draw, start, end, thick, thin):
    for part, brightness in _SHADES:
        colour = tuple(int(c) for c in np.minimum(_SKIN * brightness, 255))
        for step in np.linspace(0, 1, 41):
            (x, y), radius = start + step * (end - start), (thick + step * (thin - thick)) * part
            draw.ellipse([x - radius, y - radius, x + radius, y + radius], fill=colour)
