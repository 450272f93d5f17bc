"""Drawn screens to tune and to judge the content network on: three successive grey frames and the boxes that play.

Everything follows from the seed. Seeds below TUNING are for building the network; it is judged on others. A region is
what plays: pictures that move before a still page or desktop. Cursors, carets, clocks and text that scrolls are none.
The edge of a region shows: where its ground stands still it differs from what lies round it, or has a border.
"""

from typing import NamedTuple

import numpy as np
from PIL import Image, ImageDraw, ImageFont

from models import screen_parts as parts
from models.screen_parts import between, chance, pick

SIZES = ((512, 512), (512, 288), (400, 300))
TUNING = 10000
_APART = 14  # pixels between what is alive on one screen
_SHAPES = (16 / 9, 16 / 9, 4 / 3, 1.0, 3 / 4)


class Screen(NamedTuple):
    frames: np.ndarray  # 3 x height x width, bytes, the earliest first
    regions: tuple  # boxes: left, top, right, bottom in pixels, the last two exclusive


def mixed(seed):
    """One to three playing regions on a desktop with windows, cursor, caret, clock and, on some, scrolling text."""
    random = np.random.default_rng((seed, 1))
    base, theme = _desktop(random)
    places = _places(random, base.size, between(random, 1, 3))
    regions = [_region(random, base, box, theme) for box in places]
    scroll = _scrolling(random, base, places, theme) if chance(random, 0.4) else None
    ticker = _ticker(random, base, places) if chance(random, 0.1) else None
    small = _small_things(random, base, theme)
    layers = [*regions, *(layer for layer in (scroll, ticker) if layer), *small]
    return Screen(_frames(base, layers), tuple(r.box for r in regions))


def tiles(seed):
    """Four regions, two by two, two pixels apart: a meeting in a window of its own, or on the whole screen."""
    random = np.random.default_rng((seed, 2))
    base, theme = _desktop(random)
    width, height = base.size
    full = chance(random, 0.4)
    inset = 0 if full else between(random, 8, 40)
    outer = (inset, inset, width - inset, height - inset - between(random, 0, 20))
    ground = between(random, 5, 60) if chance(random, 0.7) else between(random, 200, 250)
    inner = outer if full else parts.window(random, base, outer, ground)
    ImageDraw.Draw(base).rectangle((inner[0], inner[1], inner[2] - 1, inner[3] - 1), fill=ground)
    margin = between(random, 0, 12)
    left, top = inner[0] + margin, inner[1] + margin
    w, h = (inner[2] - left - margin - 2) // 2, (inner[3] - top - margin - 2) // 2
    radius = pick(random, (0, 0, 0, 4))
    regions = []
    for x, y in ((left, top), (left + w + 2, top), (left, top + h + 2), (left + w + 2, top + h + 2)):
        content = pick(random, (parts.head, parts.head, parts.head, parts.pan, parts.film, parts.objects))
        regions.append(_layer(random, content, (x, y, x + w, y + h), ground, radius))
    return Screen(_frames(base, [*regions, *_small_things(random, base, theme)]), tuple(r.box for r in regions))


def frozen(seed):
    """A screen with windows that could play, on which nothing moves."""
    frames, _ = mixed(seed)
    return Screen(np.repeat(frames[:1], parts.FRAMES, 0), ())


def small(seed):
    """A screen on which only a cursor, a caret and a clock change, on top of windows and pictures that stand still."""
    random = np.random.default_rng((seed, 3))
    base, theme = _desktop(random)
    for box in _places(random, base.size, between(random, 0, 2)):
        still = _region(random, base, box, theme)
        parts.paste(base, still.pictures[0], still.box[:2], still.radius)
    return Screen(_frames(base, _small_things(random, base, theme, always=True)), ())


def repeated(screen, seed):
    """The same when one of the three frames is delivered twice, as a slow source does."""
    order = pick(np.random.default_rng((seed, 4)), ((0, 0, 1), (0, 1, 1), (0, 0, 2), (0, 2, 2)))
    return screen._replace(frames=screen.frames[list(order)])


def noisy(screen, seed):
    """The same with noise of one grey level: every byte of every frame one lower, as it is, or one higher."""
    noise = np.random.default_rng((seed, 5)).integers(-1, 2, screen.frames.shape)
    return screen._replace(frames=np.clip(screen.frames + noise, 0, 255).astype(np.uint8))


class _Layer(NamedTuple):
    """What differs from frame to frame: pictures of one place, or of several places one after the other."""

    box: tuple
    pictures: list
    radius: int = 0
    masks: list | None = None
    places: list | None = None


def _frames(base, layers):
    made = []
    for number in range(parts.FRAMES):
        frame = base.copy()
        for layer in layers:
            if layer.masks:
                frame.paste(layer.pictures[number], layer.places[number], layer.masks[number])
            else:
                parts.paste(frame, layer.pictures[number], layer.box[:2], layer.radius)
        made.append(np.asarray(frame))
    return np.stack(made)


def _desktop(random):
    """What stands still on every screen: wallpaper, icons, windows with pages, a bar. And the theme, paper and ink."""
    size = pick(random, SIZES)
    width, height = size
    base = parts.grey(parts.wallpaper(random, width, height))
    theme = (between(random, 225, 255), between(random, 0, 70)) if chance(random, 0.6) else \
        (between(random, 10, 60), between(random, 170, 250))
    if chance(random, 0.6):
        _icons(random, base)
    for _ in range(between(random, 0, 3)):
        w, h = (round(v * random.uniform(0.3, 0.9)) for v in size)
        x, y = between(random, -20, max(0, width - w + 20)), between(random, -10, max(0, height - h + 10))
        inside = parts.window(random, base, (x, y, x + w, y + h), theme[0])
        _fill(random, base, inside, theme)
    if chance(random, 0.6):
        _bar(random, base)
    return base, theme


def _fill(random, base, box, theme):
    """A page inside a window."""
    left, top, right, bottom = box
    if right - left > 30 and bottom - top > 20:
        parts.paste(base, parts.page(random, right - left, bottom - top, *theme), (left, top))


def _icons(random, base):
    side, step = between(random, 16, 32), between(random, 44, 70)
    ink = 255 if base.resize((1, 1)).getpixel((0, 0)) < 128 else 0
    for x in range(8, 8 + step * between(random, 1, 4), step):
        for y in range(8, base.height - step, step):
            if chance(random, 0.7):
                parts.icon(random, base, (x, y), side)
                ImageDraw.Draw(base).text((x - 2, y + side + 1), parts.words(random, 1)[0], fill=ink,
                                          font=ImageFont.load_default(8))


def _bar(random, base):
    height = between(random, 14, 26)
    top = base.height - height if chance(random, 0.7) else 0
    shade = between(random, 10, 245)
    ImageDraw.Draw(base).rectangle((0, top, base.width, top + height - 1), fill=shade)
    for x in range(4, base.width // 2, height + between(random, 2, 10)):
        parts.icon(random, base, (x, top + 2), height - 4)


def _places(random, size, count):
    """Boxes apart from each other, of the shapes that pictures have."""
    width, height = size
    boxes = []
    for attempt in range(400):
        if len(boxes) == count:
            break
        largest = 0.95 if count == 1 else (0.65 if count == 2 else 0.5)
        shape = pick(random, _SHAPES)
        w = random.uniform(0.2, largest) * width * (1 - attempt / 800)
        h = w / shape
        if min(w, h) < 56 or h > height * 0.85 or w > width * 0.95:
            continue
        x, y = random.uniform(4, width - 4 - w), random.uniform(6, height - 6 - h)
        box = tuple(round(v) for v in (x, y, x + w, y + h))
        if not any(_near(box, other) for other in boxes):
            boxes.append(box)
    return boxes


def _near(a, b, apart=2 * _APART):
    return a[0] < b[2] + apart and b[0] < a[2] + apart and a[1] < b[3] + apart and b[1] < a[3] + apart


def _region(random, base, box, theme):
    """Draws what lies round a playing region into the desktop and returns the region."""
    left, top, right, bottom = box
    style = pick(random, ("player", "page", "bare", "framed"))
    radius = 0
    if style == "player":
        _player(random, base, box)
    elif style == "page":
        _page_round(random, base, box, theme)
    elif style == "framed":
        line = between(random, 1, 3)
        frame = (left - line, top - line, right + line - 1, bottom + line - 1)
        shade = int(parts.away_from(random, _around(base, box, line), 40))
        ImageDraw.Draw(base).rectangle(frame, fill=shade)
    else:
        radius = pick(random, (0, 0, 6, 12))
        if chance(random, 0.4):
            parts.shadow(base, box, between(random, 4, 10))
    content = pick(random, parts.CONTENTS)
    return _layer(random, content, box, _around(base, box, 2), radius)


def _layer(random, content, box, near, radius):
    left, top, right, bottom = box
    pictures = parts.playing(random, content, right - left, bottom - top, near)
    return _Layer(box, [parts.grey(p) for p in pictures], radius)


def _around(base, box, distance):
    """The mean grey of a ring round a box."""
    left, top, right, bottom = box
    pixels = np.asarray(base, np.float32)
    outer = pixels[max(0, top - distance):bottom + distance, max(0, left - distance):right + distance]
    inner = pixels[max(0, top):bottom, max(0, left):right]
    return float((outer.sum() - inner.sum()) / max(1, outer.size - inner.size))


def _player(random, base, box):
    """A window that the region fills: a title bar above, perhaps a bar of controls below."""
    left, top, right, bottom = box
    shade = between(random, 10, 245)
    below = between(random, 10, 13) if chance(random, 0.4) else between(random, 0, 2)
    above, border = between(random, 10, 13), between(random, 0, 2)
    outer = (left - border, top - above, right + border, bottom + below)
    if chance(random, 0.5):
        parts.shadow(base, outer, between(random, 4, 14))
    piece = Image.new("L", (outer[2] - outer[0], outer[3] - outer[1]), shade)
    ink = int(parts.away_from(random, shade, 60))
    draw = ImageDraw.Draw(piece)
    draw.text((6, 0), " ".join(parts.words(random, 2))[:8], fill=ink, font=ImageFont.load_default(9))
    if below > 5:
        y = piece.height - below // 2
        draw.line((20, y, piece.width - 8, y), fill=ink, width=2)
        draw.polygon(((5, y - 4), (5, y + 4), (12, y)), fill=ink)
    parts.paste(base, piece, outer[:2], pick(random, (0, 4, 6)))


def _page_round(random, base, box, theme):
    """A page with text round the region, in a window or without."""
    left, top, right, bottom = box
    paper, ink = theme
    room = _APART - 2
    outer = (left - room, top - room, right + room, bottom + room)
    ImageDraw.Draw(base).rectangle((outer[0], outer[1], outer[2] - 1, outer[3] - 1), fill=paper)
    if chance(random, 0.5):
        line = int(parts.away_from(random, paper, 25))
        ImageDraw.Draw(base).rectangle((outer[0], outer[1], outer[2] - 1, outer[3] - 1), outline=line)
    used = ImageFont.load_default(8)
    for y in (top - room + 1, bottom + 1):
        line = " ".join(parts.words(random, 30))
        while used.getlength(line) > right - left:
            line = line[:-1]
        ImageDraw.Draw(base).text((left, y), line, fill=ink, font=used)


def _scrolling(random, base, places, theme):
    """A window of text that scrolls, apart from the regions; nothing where there is no room."""
    box = _free(random, base.size, places, (110, 260), (70, 220))
    if not box:
        return None
    left, top, right, bottom = parts.window(random, base, box, theme[0])
    if right - left < 60 or bottom - top < 40:
        return None
    steps = [0, *np.cumsum([between(random, 1, 28)] * 2 if chance(random, 0.6) else random.integers(1, 29, 2))]
    steps = steps if chance(random, 0.5) else steps[::-1]
    thumb = between(random, 15, 30)
    sheet = Image.new("L", (right - left, bottom - top + 60), theme[0])
    parts.text(random, ImageDraw.Draw(sheet), (6, 2, sheet.width - 12, sheet.height), theme[1])
    return _Layer((left, top, right, bottom), [_scrolled(sheet, int(s), bottom - top, thumb, theme) for s in steps])


def _scrolled(sheet, step, height, thumb, theme):
    view = sheet.crop((0, step, sheet.width, step + height))
    top = 4 + step // 8
    ImageDraw.Draw(view).rectangle((sheet.width - 6, top, sheet.width - 3, top + thumb), fill=sum(theme) // 2)
    return view


def _ticker(random, base, places):
    """One line of text that runs sideways."""
    box = _free(random, base.size, places, (120, 300), (14, 20))
    if not box:
        return None
    shade = between(random, 10, 245)
    used, step = parts.font(random, 8, 11), between(random, 1, 6)
    line, ink = " ".join(parts.words(random, 60)), int(parts.away_from(random, shade, 80))
    pictures = []
    for number in range(parts.FRAMES):
        strip = Image.new("L", (box[2] - box[0], box[3] - box[1]), shade)
        ImageDraw.Draw(strip).text((-step * number, 1), line, fill=ink, font=used)
        pictures.append(strip)
    return _Layer(box, pictures)


def _free(random, size, places, widths, heights):
    for _ in range(100):
        w, h = between(random, *widths), between(random, *heights)
        if w > size[0] - 8 or h > size[1] - 8:
            continue
        x, y = between(random, 2, size[0] - w - 2), between(random, 2, size[1] - h - 2)
        box = (x, y, x + w, y + h)
        if not any(_near(box, other, _APART + 4) for other in places):
            return box
    return None


def _small_things(random, base, theme, always=False):
    """Cursor, caret and clock, most of the time all of them."""
    makers = [(_caret, 0.6), (_clock, 0.6), (_cursor, 0.8)]
    return [maker(random, base, theme) for maker, share in makers if always or chance(random, share)]


def _cursor(random, base, theme):
    picture, mask = parts.cursor(random)
    step = parts.direction(random) * random.uniform(0, 35)
    start = random.uniform(0.05, 0.9, 2) * base.size
    places = [tuple(int(v) for v in start + step * n) for n in range(parts.FRAMES)]
    return _Layer((), [picture] * parts.FRAMES, 0, [mask] * parts.FRAMES, places)


def _caret(random, base, theme):
    size = between(random, 1, 2), between(random, 10, 18)
    at = between(random, 4, base.width - 8), between(random, 4, base.height - 24)
    bar, shown = Image.new("L", size, theme[1]), Image.new("L", size, 255)
    hidden = Image.new("L", size, 0)
    change, first = between(random, 1, 2), chance(random, 0.5)
    masks = [shown if (n < change) == first else hidden for n in range(parts.FRAMES)]
    return _Layer((), [bar] * parts.FRAMES, 0, masks, [at] * parts.FRAMES)


def _clock(random, base, theme):
    used = ImageFont.load_default(between(random, 8, 13))
    hour, minute, second = between(random, 0, 23), between(random, 0, 59), between(random, 0, 59)
    change, shade = between(random, 0, 2), between(random, 10, 245)
    ink = int(parts.away_from(random, shade, 60))
    size = round(used.getlength("00:00:00")) + 6, used.size + 5
    at = base.width - size[0] - between(random, 0, 20), pick(random, (0, base.height - size[1]))
    pictures = []
    for number in range(parts.FRAMES):
        face = Image.new("L", size, shade)
        now = (second + (number >= change)) % 60
        ImageDraw.Draw(face).text((3, 1), f"{hour:02}:{minute:02}:{now:02}", fill=ink, font=used)
        pictures.append(face)
    return _Layer((*at, at[0] + size[0], at[1] + size[1]), pictures)
