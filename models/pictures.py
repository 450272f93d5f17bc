"""Pictures to calibrate, to measure and to show with, made from the photographs that scikit-image carries.

The quantised builds are calibrated on photographs that no measurement uses: all measurements are made on the portrait,
and on backgrounds of their own.
"""

import io

import numpy as np
from PIL import Image
from skimage import data

_CALIBRATION = ("camera", "cat", "coffee", "rocket", "colorwheel", "retina")
_BACKGROUNDS = ("brick", "grass", "gravel", "moon")
_SAMPLE_BOX = (0, 8, 496, 287)
_HEAD = (165, 0, 295, 185)


def portrait():
    """The photograph of a person, 512x512."""
    return Image.fromarray(data.astronaut())


def sample():
    """The portrait as a camera would show it, 640x360."""
    return portrait().crop(_SAMPLE_BOX).resize((640, 360), Image.LANCZOS)


def in_sample(box):
    """A box of the portrait, left, top, right, bottom, in pixels of the sample photograph."""
    left, top, right, _ = _SAMPLE_BOX
    return (np.array(box) - (left, top, left, top)) * 640 / (right - left)


def calibration(width, height, views=8):
    """Pictures for calibration: `views` of each photograph, random cut, light, noise; the same in every run."""
    random = np.random.default_rng(7)
    for name in _CALIBRATION:
        photograph = Image.fromarray(getattr(data, name)()).convert("RGB")
        for _ in range(views):
            yield _altered(_cut(photograph, random, width, height), random)


def portraits(width, height, views):
    """Pictures of the person for measurements: other cuts that show the head, light, noise; the same in every run."""
    random = np.random.default_rng(11)
    for _ in range(views):
        yield _altered(_cut(portrait(), random, width, height, _HEAD), random)


def backgrounds(width, height):
    for name in _BACKGROUNDS:
        yield np.asarray(Image.fromarray(getattr(data, name)()).convert("RGB").resize((width, height), Image.LANCZOS))


def composite(picture, mask, background):
    """`picture` where `mask` (0..1) is 1, `background` where it is 0; bytes, height x width x 3."""
    weight = mask[..., None]
    return np.rint(picture * weight + background * (1 - weight)).astype(np.uint8)


def noisy(picture, random, deviation):
    """What a camera would deliver of a still picture: sensor noise, then a lossy compression."""
    with_noise = np.clip(np.rint(picture + random.normal(0, deviation, picture.shape)), 0, 255).astype(np.uint8)
    return compressed(with_noise, 80)


def compressed(picture, quality):
    buffer = io.BytesIO()
    Image.fromarray(picture).save(buffer, "JPEG", quality=quality)
    return np.asarray(Image.open(buffer))


def planes(picture, scale=1.0):
    """1x3xHxW FP32 of a picture, bytes times `scale`."""
    return np.ascontiguousarray(picture.transpose(2, 0, 1)[None] * np.float32(scale), dtype=np.float32)


def _cut(photograph, random, width, height, inside=None):
    """A random cut of the wanted proportions that holds the box `inside`, mirrored every other time."""
    left, top, right, bottom = inside or (photograph.width / 2, photograph.height / 2) * 2
    largest = min(photograph.width / width, photograph.height / height)
    smallest = max(largest / 2, (right - left) / width, (bottom - top) / height)
    scale = random.uniform(smallest, largest)
    x = random.uniform(max(0, right - width * scale), min(left, photograph.width - width * scale))
    y = random.uniform(max(0, bottom - height * scale), min(top, photograph.height - height * scale))
    cut = photograph.resize((width, height), Image.LANCZOS, (x, y, x + width * scale, y + height * scale))
    return cut.transpose(Image.FLIP_LEFT_RIGHT) if random.random() < 0.5 else cut


def _altered(picture, random):
    """Another light and another camera: gain, gamma, colour cast, noise, compression."""
    value = (np.asarray(picture) / 255.0) ** random.uniform(0.7, 1.4)
    value = value * random.uniform(0.6, 1.2) * random.uniform(0.9, 1.1, 3)
    value = np.clip(value * 255 + random.normal(0, random.uniform(0, 6), value.shape), 0, 255)
    return compressed(np.rint(value).astype(np.uint8), int(random.integers(60, 95)))
