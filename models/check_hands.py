"""Measures the gesture rule on hands made of bones, and the whole chain from picture to gesture on drawings of them.

There is no photograph of a hand here: what cameras see may be told less well.
"""

import itertools

import numpy as np
import openvino as ov
import openvino.opset7 as ops
from PIL import Image

from models import drawn_hands, hands, pictures

_DEGREES_OF_THUMBS = 25  # how far a thumb up or down may lean
_CLEAR = 0.3  # how far the right gesture leads where it is told clearly


def rows(networks):
    """(what, value, sign, limit) of each measurement; `networks` are by size, as check_ladon reads them."""
    leads = _leads_of_the_rule()
    yield "gesture rule, drawn points tilted and turned, share told", np.mean(leads > 0), ">=", 0.98
    yield "gesture rule, the same told clearly", np.mean(leads > _CLEAR), ">=", 0.95
    for size, network in networks.items():
        told, distances = [], []
        for gesture, scene, points in scenes(network.width, network.height):
            made = network.run(scene)
            told.append(made["gesture"].max() > 0 and made["gesture"].argmax() == gesture)
            length = np.linalg.norm(points[9] - points[0])
            distances.append(np.linalg.norm(made["hand"][0, :, :2] - points, axis=1).mean() / length)
        yield f"Ladon {size} drawn pictures of hands, share told", np.mean(told), ">=", 0.9
        yield f"Ladon {size} points to those drawn, median, palm lengths", np.median(distances), "<=", 0.15


def scenes(width, height):
    """Gesture, picture and drawn points, 21x2, of both hands before a plain and a textured ground, turned a little."""
    random = np.random.default_rng(23)
    texture = next(pictures.backgrounds(width, height))
    grounds = (Image.new("RGB", (width, height), (90, 110, 120)), Image.fromarray(texture))
    for gesture, left, ground in itertools.product(range(len(hands.GESTURES)), (False, True), grounds):
        hand = _view(gesture, left, random, roll=random.uniform(-20, 20), tilt=15)
        at = np.array([width, height]) / 2 - (hand[:, :2].min(0) + hand[:, :2].max(0)) / 2 * height * 0.32
        picture = drawn_hands.picture(hand, at, height * 0.32, ground)
        yield gesture, np.asarray(picture), hand[:, :2] * height * 0.32 + at


def _view(gesture, left, random, roll, tilt):
    pose = drawn_hands.POSES[gesture]
    upright = 0 if pose.turn is None else pose.turn * (-1 if left else 1)
    hand = drawn_hands.turned(drawn_hands.points(pose), 0, *random.uniform(-tilt, tilt, 2), left)
    return drawn_hands.turned(hand, roll + upright)


def _leads_of_the_rule():
    """By how much the right gesture's score is above all others, for hands of every turn and of some tilt, with noise."""
    points = ops.parameter([1, hands.POINTS, 3], ov.Type.f32)
    rule = ov.Core().compile_model(ov.Model([ops.result(hands.gesture_rule(points))], [points], "rule"), "CPU",
                                   {"INFERENCE_PRECISION_HINT": "f32"})
    random = np.random.default_rng(29)
    leads = []
    for gesture, left, number in itertools.product(range(len(hands.GESTURES)), (False, True), range(48)):
        told_by_thumb = drawn_hands.POSES[gesture].turn is not None
        roll = random.uniform(-_DEGREES_OF_THUMBS, _DEGREES_OF_THUMBS) if told_by_thumb else number * 7.5
        hand = _view(gesture, left, random, roll, tilt=30) * random.uniform(5, 400)
        hand += random.normal(0, 0.02, hand.shape) * np.linalg.norm(hand[9] - hand[0])
        scores = rule([hand[None].astype(np.float32)])[0][0]
        leads.append(scores[gesture] - np.delete(scores, gesture).max())
    return np.array(leads)
