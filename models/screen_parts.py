"""What screens are drawn from: pictures, text, windows, icons, and contents that play. All grey, by a random generator.

Pictures are float arrays, height x width, 0..255. Boxes are left, top, right, bottom in pixels, the last two exclusive.
"""

import math
import string

import numpy as np
from PIL import Image, ImageDraw, ImageFilter, ImageFont

FRAMES = 3
_WORDS_PER_PAGE = 400


def chance(random, probability):
    return random.random() < probability


def pick(random, options):
    return options[int(random.integers(len(options)))]


def between(random, low, high):
    """A whole number, both ends included."""
    return int(random.integers(low, high + 1))


def away_from(random, grey, distance):
    """A grey of 10..245 that differs from `grey` by at least `distance`, at most 110."""
    options = [v for v in range(10, 246) if abs(v - grey) >= distance]
    return float(pick(random, options))


# Pictures.


def clouds(random, width, height, finest=4, deviation=40.0, mean=None):
    """Smooth random texture: octaves of noise down to `finest` pixels."""
    total = np.zeros((height, width), np.float32)
    step = max(width, height) / 2
    while step >= finest:
        grid = random.normal(0, 1, (math.ceil(height / step) + 3, math.ceil(width / step) + 3)).astype(np.float32)
        octave = Image.fromarray(grid).resize((width, height), Image.BICUBIC)
        total += np.asarray(octave) * step ** 0.7
        step /= 2
    total = (total - total.mean()) / max(float(total.std()), 1e-6)
    return total * deviation + (between(random, 60, 200) if mean is None else mean)


def photograph(random, width, height, mean=None, deviation=40.0):
    """Like a photograph: texture, things with edges of their own, some grain that does not move with time."""
    picture = clouds(random, width, height, pick(random, (2, 4, 8)), deviation, mean)
    drawn = Image.fromarray(picture)
    draw = ImageDraw.Draw(drawn)
    for _ in range(between(random, 2, 10)):
        x, y = random.uniform(0, width), random.uniform(0, height)
        w, h = random.uniform(0.03, 0.4, 2) * (width, height)
        grey = float(picture.mean() + random.normal(0, deviation))
        shape = pick(random, (draw.ellipse, draw.rectangle, draw.line))
        shape((x, y, x + w, y + h), fill=grey)
    return np.asarray(drawn) + random.normal(0, random.uniform(0, 3), (height, width))


def wallpaper(random, width, height):
    kind = pick(random, ("flat", "gradient", "clouds", "photograph", "pattern"))
    if kind == "flat":
        return np.full((height, width), float(between(random, 5, 250)), np.float32)
    if kind == "gradient":
        x, y = np.meshgrid(np.linspace(0, 1, width), np.linspace(0, 1, height))
        angle = random.uniform(0, 2 * math.pi)
        slope = x * math.cos(angle) + y * math.sin(angle)
        return (between(random, 60, 190) + random.uniform(20, 60) * slope).astype(np.float32)
    if kind == "clouds":
        return clouds(random, width, height, 16, random.uniform(5, 40))
    if kind == "photograph":
        return photograph(random, width, height)
    return _pattern(random, width, height)


def _pattern(random, width, height):
    x, y = np.meshgrid(np.arange(width), np.arange(height))
    period = between(random, 4, 40)
    base, step = between(random, 40, 200), between(random, 3, 30)
    return pick(random, (
        lambda: base + step * ((x // period + y // period) % 2),
        lambda: base + step * ((x + y) // period % 2),
        lambda: base + step * ((x % period == 0) | (y % period == 0))))().astype(np.float32)


# Text.


def font(random, low=7, high=15):
    return ImageFont.load_default(between(random, low, high))


def words(random, count):
    letters = np.array(list(string.ascii_lowercase + "eeeaaiontrs"))
    made = ["".join(random.choice(letters, between(random, 1, 10))) for _ in range(count)]
    return [w.capitalize() if chance(random, 0.15) else w for w in made]


def text(random, draw, box, ink, first_font=None):
    """Fills a box with lines of words, in paragraphs of one font, headings in a larger one."""
    left, top, right, bottom = box
    body = first_font or font(random)
    y = top
    supply = iter(words(random, _WORDS_PER_PAGE))
    while y + body.size + 2 < bottom:
        heading = chance(random, 0.08)
        used = ImageFont.load_default(body.size + 4) if heading else body
        share = random.uniform(0.3, 0.6) if heading or chance(random, 0.15) else 1
        line = _line(supply, used, (right - left) * share)
        if not line:
            supply = iter(words(random, _WORDS_PER_PAGE))
            continue
        if y + used.size + 2 < bottom:
            draw.text((left, y), line, fill=ink, font=used)
        y += round(used.size * 1.35) + (used.size if chance(random, 0.12) else 0)


def _line(supply, used, width):
    line = ""
    for word in supply:
        if line and used.getlength(f"{line} {word}") > width:
            break
        line = f"{line} {word}".strip()
    while line and used.getlength(line) > width:
        line = line[:-1]
    return line


def page(random, width, height, paper, ink):
    """A page of text with what stands beside text: lists, tables, code, thumbnails. As an image."""
    image = Image.new("L", (width, height), int(paper))
    draw = ImageDraw.Draw(image)
    used, margin = font(random), between(random, 3, 12)
    y = margin
    while y < height - 12:
        tall = between(random, 30, 120)
        block = (margin, y, width - margin, min(y + tall, height - 2))
        pick(random, (_paragraph, _paragraph, _list, _table, _code, _thumbnails))(random, image, draw, block, ink, used)
        y += tall + between(random, 4, 14)
    return image


def _paragraph(random, image, draw, box, ink, used):
    text(random, draw, box, ink, used)


def _code(random, image, draw, box, ink, used):
    left, top, right, bottom = box
    for y in range(top, bottom - used.size - 1, used.size + 3):
        indent = between(random, 0, 4) * 8
        line = " ".join(words(random, between(random, 1, 5)))
        while line and used.getlength(line) > right - left - indent:
            line = line[:-1]
        draw.text((left + indent, y), line, fill=ink, font=used)


def _list(random, image, draw, box, ink, used):
    left, top, right, bottom = box
    for y in range(top, bottom - used.size - 3, used.size + 7):
        draw.ellipse((left, y + 2, left + 6, y + 8), fill=ink)
        text(random, draw, (left + 12, y, right, min(y + used.size + 4, bottom)), ink, used)


def _table(random, image, draw, box, ink, used):
    left, top, right, bottom = box
    line = int((int(ink) + image.getpixel((left, top))) / 2)
    columns, step = between(random, 2, 5), used.size + 6
    last = top + (bottom - top) // step * step
    for y in range(top, last + 1, step):
        draw.line((left, y, right - 1, y), fill=line)
    for column in range(columns + 1):
        x = left + (right - 1 - left) * column // columns
        draw.line((x, top, x, last), fill=line)
        for y in range(top, last, step):
            if column < columns:
                draw.text((x + 3, y + 2), str(between(random, 0, 999)), fill=ink, font=used)


def _thumbnails(random, image, draw, box, ink, used):
    left, top, right, bottom = box
    side = max(10, min(bottom - top, between(random, 20, 70)))
    for x in range(left, right - side, side + 8):
        paste(image, photograph(random, side, min(side, bottom - top)), (x, top))
        if chance(random, 0.3):
            draw.rectangle((x, top, x + side - 1, top + min(side, bottom - top) - 1), outline=ink)


# Windows and what lies on a desktop.


def paste(image, picture, at, radius=0, corners="all"):
    """Puts an array or image at a place, with rounded corners where a radius is given."""
    piece = picture if isinstance(picture, Image.Image) else grey(picture)
    image.paste(piece, at, rounded(piece.size, radius, corners) if radius else None)


def grey(picture):
    return Image.fromarray(np.clip(np.rint(picture), 0, 255).astype(np.uint8))


def rounded(size, radius, corners="all"):
    mask = Image.new("L", (size[0] * 4, size[1] * 4), 0)
    which = (corners == "all",) * 2 + (True,) * 2
    ImageDraw.Draw(mask).rounded_rectangle((0, 0, size[0] * 4 - 1, size[1] * 4 - 1), radius * 4, 255, corners=which)
    return mask.resize(size, Image.BOX)


def shadow(image, box, depth):
    """Darkens what lies round a box, stronger below."""
    left, top, right, bottom = box
    mask = Image.new("L", image.size, 0)
    ImageDraw.Draw(mask).rectangle((left, top + depth // 2, right, bottom + depth // 2), fill=110)
    mask = mask.filter(ImageFilter.GaussianBlur(depth / 2))
    image.paste(0, (0, 0), mask)


def window(random, image, box, body):
    """A window whose body has the grey `body`: shadow, border, title bar, corners. Returns the box inside."""
    left, top, right, bottom = box
    if chance(random, 0.5):
        shadow(image, box, between(random, 4, 14))
    border = between(random, 0, 2)
    bar = between(random, 12, 24) if chance(random, 0.8) else 0
    radius = pick(random, (0, 0, 4, 6, 8))
    piece = Image.new("L", (right - left, bottom - top), int(body))
    draw = ImageDraw.Draw(piece)
    if bar:
        _title_bar(random, draw, right - left, bar, body)
    if border:
        line = int(away_from(random, body, 25))
        draw.rounded_rectangle((0, 0, right - left - 1, bottom - top - 1), radius, outline=line, width=border)
    paste(image, piece, (left, top), radius)
    return left + max(border, 1), top + max(bar, border, 1), right - max(border, 1), bottom - max(border, 1)


def _title_bar(random, draw, width, height, body):
    shade = int(np.clip(body + pick(random, (-60, -25, -10, 0, 20, 50)), 0, 255))
    draw.rectangle((0, 0, width - 1, height - 1), fill=shade)
    ink = int(away_from(random, shade, 60))
    draw.text((between(random, 4, 40), 2), " ".join(words(random, 3))[:max(1, width // 9)], fill=ink,
              font=ImageFont.load_default(min(11, height - 4)))
    side = pick(random, ("left", "right"))
    for number in range(3):
        x = 6 + number * 12 if side == "left" else width - 14 - number * 12
        box = (x, height // 2 - 3, x + 6, height // 2 + 3)
        pick(random, (draw.ellipse, draw.rectangle))(box, outline=ink)


def icon(random, image, at, side):
    draw = ImageDraw.Draw(image)
    x, y = at
    if chance(random, 0.5):
        paste(image, photograph(random, side, side), at, between(random, 0, side // 3))
    else:
        shape = pick(random, (draw.ellipse, draw.rectangle))
        shape((x, y, x + side - 1, y + side - 1), fill=between(random, 0, 255), outline=between(random, 0, 255))
        draw.text((x + side // 3, y + side // 5), pick(random, string.ascii_uppercase), fill=between(random, 0, 255),
                  font=ImageFont.load_default(side // 2))


def cursor(random):
    """An arrow, a bar or a hand: its picture and its mask."""
    shape = pick(random, (
        ((0, 0), (0, 16), (4, 12), (7, 18), (9, 17), (6, 11), (11, 11)),
        ((0, 0), (6, 0), (3, 1), (3, 15), (6, 16), (0, 16), (2, 15), (2, 1)),
        ((4, 0), (6, 0), (6, 7), (11, 8), (11, 13), (9, 17), (4, 17), (0, 10), (4, 11))))
    times = pick(random, (1, 1, 1.4))
    points = [(x * times, y * times) for x, y in shape]
    size = math.ceil(12 * times) + 1, math.ceil(19 * times) + 1
    mask, picture = Image.new("L", size, 0), Image.new("L", size, 0)
    light = chance(random, 0.6)
    ImageDraw.Draw(mask).polygon(points, fill=255, outline=255)
    ImageDraw.Draw(picture).polygon(points, fill=255 if light else 0, outline=0 if light else 255)
    return picture, mask


# Contents that play: three pictures of one size. `near` is the grey of what lies round them.


def pan(random, width, height, near):
    """The whole picture moves: a camera that pans, perhaps closing in."""
    return _panned(random, width, height, photograph(random, width + 80, height + 80, deviation=random.uniform(25, 55)))


def low_contrast(random, width, height, near):
    """A pan over a picture of few greys."""
    finest, deviation, mean = pick(random, (3, 6)), random.uniform(3, 8), between(random, 40, 215)
    return _panned(random, width, height, clouds(random, width + 80, height + 80, finest, deviation, mean))


def head(random, width, height, near):
    """Somebody before a still ground, who moves a little and speaks. Nothing else moves."""
    ground = _ground(random, width, height, near)
    size = height * random.uniform(0.3, 0.55)
    x, y = width * random.uniform(0.35, 0.65), height * random.uniform(0.35, 0.55)
    texture = clouds(random, 2 * width, 2 * height, 4, random.uniform(4, 14), 0)
    skin, coat = away_from(random, ground.mean(), 25), away_from(random, ground.mean(), 25)
    step = random.uniform(0.8, 4) * direction(random)
    mouths = random.uniform(0.02, 0.14, FRAMES)
    return [_person(ground, texture, (x + step[0] * n, y + step[1] * n * 0.5), size, skin, coat, mouths[n])
            for n in range(FRAMES)]


def objects(random, width, height, near):
    """Small things that move before a still ground."""
    ground = _ground(random, width, height, near)
    things = [_thing(random, width, height, ground.mean()) for _ in range(between(random, 2, 6))]
    return [_with_things(ground, things, n) for n in range(FRAMES)]


def film(random, width, height, near):
    """Layers that move at their own speeds, in a light that changes."""
    back = _panned(random, width, height, photograph(random, width + 80, height + 80))
    light = 1 + np.arange(FRAMES) * random.uniform(-0.04, 0.04)
    things = [_thing(random, width, height, 128) for _ in range(between(random, 1, 4))]
    return [_with_things(picture * light[n], things, n) for n, picture in enumerate(back)]


CONTENTS = (pan, low_contrast, head, objects, film)


def playing(random, content, width, height, near):
    """FRAMES arrays of a content, some with the grain of a camera."""
    made = content(random, width, height, near)
    if content not in (low_contrast, objects) and chance(random, 0.3):
        grain = random.uniform(0.8, 3)
        made = [picture + random.normal(0, grain, picture.shape) for picture in made]
    return made


def direction(random):
    angle = random.uniform(0, 2 * math.pi)
    return np.array([math.cos(angle), math.sin(angle)])


def _panned(random, width, height, scene):
    step = direction(random) * random.uniform(0.7, 7)
    closer = random.uniform(-0.02, 0.02) if chance(random, 0.3) else 0.0
    image = Image.fromarray(np.float32(scene))
    made = []
    for n in range(FRAMES):
        zoom = 1 + closer * n
        x, y = 40 + step * n - np.array([width, height]) * (zoom - 1) / 2
        made.append(np.asarray(image.transform((width, height), Image.AFFINE, (zoom, 0, x, 0, zoom, y), Image.BICUBIC)))
    return made


def _ground(random, width, height, near):
    """A still ground that can be told from what lies round it."""
    mean = away_from(random, near, 50)
    room = clouds(random, width, height, pick(random, (4, 16, 64)), random.uniform(1, 14), mean)
    if chance(random, 0.4):
        draw = ImageDraw.Draw(drawn := Image.fromarray(np.float32(room)))
        for _ in range(between(random, 1, 4)):
            x, y, w, h = random.uniform(0, 1, 4) * (width, height, width / 2, height / 2)
            draw.rectangle((x, y, x + w, y + h), fill=float(mean + random.uniform(-20, 20)))
        room = np.asarray(drawn)
    return np.clip(room, mean - 25, mean + 25)


def _person(ground, texture, place, size, skin, coat, mouth):
    height, width = ground.shape
    x, y = place
    layer = Image.new("L", (width * 3, height * 3), 0)
    picture = Image.new("F", layer.size)
    picture.paste(skin, (0, 0, *layer.size))
    mask, draw = ImageDraw.Draw(layer), ImageDraw.Draw(picture)

    def ellipse(target, cx, cy, w, h, fill):
        target.ellipse([3 * v for v in (cx - w / 2, cy - h / 2, cx + w / 2, cy + h / 2)], fill=fill)

    for target, fill in ((mask, 255), (draw, coat)):
        ellipse(target, x, y + size * 1.25, size * 1.7, size * 1.5, fill)
    for target, fill in ((mask, 255), (draw, skin)):
        ellipse(target, x, y, size * 0.75, size, fill)
    for side in (-1, 1):
        ellipse(draw, x + side * size * 0.17, y - size * 0.08, size * 0.1, size * 0.06, skin - 50)
    ellipse(draw, x, y + size * 0.25, size * 0.25, size * mouth, skin - 60)
    weight = np.asarray(layer.resize((width, height), Image.BOX), np.float32) / 255
    moved = texture[height - round(y):, width - round(x):][:height, :width]
    person = np.asarray(picture.resize((width, height), Image.BOX)) + moved
    return ground * (1 - weight) + person * weight


def _thing(random, width, height, near):
    side = random.uniform(8, 26)
    return {"shape": pick(random, ("ellipse", "rectangle")), "size": side * random.uniform(0.7, 1.4, 2),
            "at": random.uniform(0.1, 0.9, 2) * (width, height), "step": direction(random) * random.uniform(2, 9),
            "grey": away_from(random, near, 40)}


def _with_things(ground, things, number):
    height, width = ground.shape
    layer = Image.fromarray(np.float32(ground)).resize((width * 2, height * 2), Image.NEAREST)
    draw = ImageDraw.Draw(layer)
    for thing in things:
        left, top = thing["at"] + thing["step"] * number - thing["size"] / 2
        right, bottom = (left, top) + thing["size"]
        getattr(draw, thing["shape"])((left * 2, top * 2, right * 2, bottom * 2), fill=thing["grey"])
    return np.asarray(layer.resize((width, height), Image.BOX))
