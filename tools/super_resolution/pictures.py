"""Made-up pictures for training: no photograph and no file but the system's DejaVu fonts goes in.

Every picture is a function of its seed alone. They are luma planes, 0 to 255, in float32.
"""

import glob
import io

import numpy as np
from PIL import Image, ImageDraw, ImageFont
from scipy.ndimage import gaussian_filter

FONT_FILES = "/usr/share/fonts/truetype/dejavu/*.ttf"
WORDS = (
    "the frame of a video shows more than its pixels say when every edge is drawn where it was seen first "
    "QUICK BROWN FOX 0123456789 12:45 98.6% (x+y)*z = a/b; for (int i = 0; i < n; ++i) {} settings file edit view "
    "Weather Today Monday 17 July Breaking News Score 3:2 https://example.org/?q=1 <title> & \"quoted\" mm kg"
).split()

_fonts = {}


def _font(rng, size):
    files = _fonts.setdefault("files", sorted(glob.glob(FONT_FILES)))
    if not files:
        raise SystemExit("training needs the DejaVu fonts, and none is in " + FONT_FILES)
    name = files[rng.integers(len(files))]
    return _fonts.setdefault((name, size), ImageFont.truetype(name, size))


def noise(rng, side, exponent):
    """Noise whose amplitude falls with the frequency to the power of the exponent, between 0 and 1."""
    fy = np.fft.fftfreq(side)[:, None]
    fx = np.fft.rfftfreq(side)[None, :]
    stretch = np.exp(rng.uniform(-0.7, 0.7))
    radius = np.hypot(fy * stretch, fx / stretch)
    radius[0, 0] = 1.0
    spectrum = (rng.standard_normal(radius.shape) + 1j * rng.standard_normal(radius.shape)) / radius**exponent
    spectrum[0, 0] = 0.0
    field = np.fft.irfft2(spectrum, s=(side, side))
    field = field / (field.std() + 1e-9)
    return np.clip(0.5 + field * 0.22, 0.0, 1.0)


def stripes(rng, side):
    """Waves, stripes or checkers at any angle, with periods down to three pixels."""
    y, x = np.mgrid[0:side, 0:side].astype(np.float32)
    angle = rng.uniform(0, np.pi)
    period = np.exp(rng.uniform(np.log(3.0), np.log(60.0)))
    bend = rng.uniform(0, 0.3) * side * np.sin(y * rng.uniform(0, 0.05))
    u = ((x + bend) * np.cos(angle) + y * np.sin(angle)) * (2 * np.pi / period)
    v = (y * np.cos(angle) - x * np.sin(angle)) * (2 * np.pi / period)
    kind = rng.integers(3)
    if kind == 0:
        return 0.5 + 0.5 * np.sin(u)
    sharpness = period / np.pi
    wave = np.clip(np.sin(u) * sharpness, -1, 1)
    if kind == 2:
        wave = wave * np.clip(np.sin(v) * sharpness, -1, 1)
    return 0.5 + 0.5 * wave


def gradient(rng, side):
    y, x = np.mgrid[0:side, 0:side].astype(np.float32) / side
    a, b = rng.uniform(-1, 1, 2)
    field = a * x + b * y
    if rng.random() < 0.4:
        cx, cy = rng.uniform(0, 1, 2)
        field = field + rng.uniform(-2, 2) * np.hypot(x - cx, y - cy)
    return (field - field.min()) / (np.ptp(field) + 1e-6)


def texture(rng, side):
    kind = rng.random()
    if kind < 0.6:
        field = noise(rng, side, rng.uniform(0.6, 2.2))
    elif kind < 0.8:
        field = stripes(rng, side)
    else:
        field = gradient(rng, side)
    return field


def _as_image(field):
    return Image.fromarray(np.clip(field, 0, 255).astype(np.uint8), "L")


def _polygon(rng, cx, cy, radius):
    count = int(rng.integers(3, 9))
    angles = np.sort(rng.uniform(0, 2 * np.pi, count))
    radii = radius * rng.uniform(0.4, 1.2, count)
    return [(cx + r * np.cos(a), cy + r * np.sin(a)) for a, r in zip(angles, radii)]


def _shape(draw, rng, cx, cy, radius, fill):
    kind = rng.random()
    if kind < 0.4:
        squash = rng.uniform(0.35, 1.0)
        draw.ellipse([cx - radius, cy - radius * squash, cx + radius, cy + radius * squash], fill=fill)
    elif kind < 0.8:
        draw.polygon(_polygon(rng, cx, cy, radius), fill=fill)
    else:
        angle = rng.uniform(0, np.pi)
        dx, dy = 2 * radius * np.cos(angle), 2 * radius * np.sin(angle)
        draw.line([cx - dx, cy - dy, cx + dx, cy + dy], fill=fill, width=int(max(1, radius * rng.uniform(0.1, 0.7))))


def dead_leaves(rng, side):
    """Shapes that cover each other, with sizes by a power law, drawn at twice the size and averaged down."""
    over = 2
    large = side * over
    textures = [texture(rng, large) for _ in range(3)]
    canvas = _as_image(60 + 140 * textures[0])
    exponent = rng.uniform(1.6, 3.4)
    smallest = rng.uniform(1.0, 5.0) * over
    largest = rng.uniform(0.1, 0.4) * large
    count = int(np.exp(rng.uniform(np.log(150), np.log(2500))))
    flat_share = rng.uniform(0.2, 1.0)
    # The inverse of the distribution function of r^-exponent between the two radii.
    low, high = smallest ** (1 - exponent), largest ** (1 - exponent)
    radii = (low + rng.random(count) * (high - low)) ** (1 / (1 - exponent))
    if rng.random() < 0.5:
        radii = np.sort(radii)[::-1]
    for radius in radii:
        cx, cy = rng.uniform(-0.05, 1.05, 2) * large
        if rng.random() < flat_share or radius < 6 * over:
            _shape(ImageDraw.Draw(canvas), rng, cx, cy, radius, int(rng.integers(0, 256)))
            continue
        left, top = int(max(0, cx - 2 * radius)), int(max(0, cy - 2 * radius))
        right, bottom = int(min(large, cx + 2 * radius + 1)), int(min(large, cy + 2 * radius + 1))
        if right <= left or bottom <= top:
            continue
        mask = Image.new("L", (right - left, bottom - top), 0)
        _shape(ImageDraw.Draw(mask), rng, cx - left, cy - top, radius, 255)
        base, swing = rng.uniform(0, 255), rng.uniform(-160, 160)
        patch = textures[rng.integers(3)][top:bottom, left:right]
        canvas.paste(_as_image(base + swing * (patch - 0.5)), (left, top), mask)
    return np.asarray(canvas.resize((side, side), Image.BOX), np.float32)


def text(rng, side):
    """Lines of words in the DejaVu fonts, dark on light, light on dark, or over a texture."""
    paper, ink = (rng.uniform(170, 256), rng.uniform(0, 90))
    if rng.random() < 0.4:
        paper, ink = ink, paper
    if rng.random() < 0.3:
        canvas = _as_image(paper + rng.uniform(-60, 60) * (texture(rng, side) - 0.5))
    else:
        canvas = Image.new("L", (side, side), int(min(255, paper)))
    draw = ImageDraw.Draw(canvas)
    y = float(rng.uniform(-6, 6))
    while y < side:
        size = int(np.exp(rng.uniform(np.log(10), np.log(44))))
        line = " ".join(WORDS[rng.integers(len(WORDS))] for _ in range(12))
        tone = ink if rng.random() < 0.85 else rng.uniform(0, 255)
        draw.text((float(rng.uniform(-30, 20)), y), line, font=_font(rng, size), fill=int(min(255, tone)))
        y += size * rng.uniform(1.1, 1.7)
        if rng.random() < 0.15:
            draw.line([0, y, side, y], fill=int(min(255, ink)), width=int(rng.integers(1, 4)))
    return np.asarray(canvas, np.float32)


def line_art(rng, side):
    """Outlines, curves and flat fills, as in a cartoon, a diagram or the controls of a program."""
    over = 3
    large = side * over
    canvas = Image.new("L", (large, large), int(rng.integers(120, 256)))
    draw = ImageDraw.Draw(canvas)
    for _ in range(int(rng.integers(10, 70))):
        cx, cy = rng.uniform(0, large, 2)
        radius = np.exp(rng.uniform(np.log(4), np.log(90))) * over
        tone = int(rng.integers(0, 256)) if rng.random() < 0.5 else int(rng.integers(0, 50))
        width = int(rng.uniform(0.7, 4.0) * over)
        kind = rng.random()
        box = [cx - radius, cy - radius * 0.7, cx + radius, cy + radius * 0.7]
        if kind < 0.2:
            draw.ellipse(box, fill=int(rng.integers(0, 256)), outline=tone, width=width)
        elif kind < 0.4:
            draw.rounded_rectangle(box, radius=radius * 0.2, fill=int(rng.integers(0, 256)), outline=tone, width=width)
        elif kind < 0.6:
            points = _polygon(rng, cx, cy, radius)
            draw.polygon(points, fill=int(rng.integers(0, 256)))
            draw.line(points + points[:1], fill=tone, width=width, joint="curve")
        else:
            t = np.linspace(0, 1, 24)[:, None]
            p = rng.uniform(-1.5, 1.5, (4, 2)) * radius + (cx, cy)
            curve = (1 - t) ** 3 * p[0] + 3 * t * (1 - t) ** 2 * p[1] + 3 * t**2 * (1 - t) * p[2] + t**3 * p[3]
            draw.line([tuple(q) for q in curve], fill=tone, width=width, joint="curve")
    return np.asarray(canvas.resize((side, side), Image.BOX), np.float32)


def _light(rng, picture, side):
    """A slow change of brightness and fine natural-looking grain, which flat shapes lack."""
    if rng.random() < 0.5:
        picture = picture * (rng.uniform(0.5, 1.0) + 0.5 * gradient(rng, side))
    if rng.random() < 0.5:
        picture = picture + rng.uniform(5, 70) * (noise(rng, side, rng.uniform(0.7, 1.6)) - 0.5)
    return picture


def _photographed(rng, maker, side):
    """The maker's picture as a camera would give it: light and grain, then what a lens, a sensor's mosaic and an earlier
    change of size leave of the edges, then noise, which none of them softens."""
    softness = rng.random()
    was_enlarged = softness < 0.25
    made = round(side / rng.uniform(1.15, 2.2)) if was_enlarged else side
    picture = maker(rng, made)
    if maker is texture:
        picture = rng.uniform(0, 120) + rng.uniform(60, 180) * picture
    picture = _light(rng, picture, made)
    if was_enlarged:
        way = (Image.BICUBIC, Image.LANCZOS, Image.BILINEAR)[rng.integers(3)]
        picture = np.asarray(Image.fromarray(picture.astype(np.float32), "F").resize((side, side), way))
    elif softness < 0.75:
        picture = gaussian_filter(picture, rng.uniform(0.3, 0.8) if softness < 0.55 else rng.uniform(0.8, 1.8))
    if rng.random() < 0.4:
        noise_here = rng.standard_normal((side, side)) * np.exp(rng.uniform(np.log(0.3), np.log(5)))
        picture = picture + gaussian_filter(noise_here, rng.uniform(0.0, 0.7))
    return picture


GENERAL = ((dead_leaves, 0.66), (text, 0.12), (line_art, 0.12), (texture, 0.10))
SCREEN = ((text, 0.50), (line_art, 0.38), (dead_leaves, 0.12))


def sharp(rng, side, recipe):
    """One picture of the recipe, between 0 and 255, rounded as a camera's or a renderer's would be."""
    makers, shares = zip(*recipe)
    maker = makers[rng.choice(len(makers), p=shares)]
    picture = _photographed(rng, maker, side) if maker in (dead_leaves, texture) else maker(rng, side)
    if rng.random() < 0.6:
        middle, gain = picture.mean(), np.exp(rng.uniform(np.log(0.15), 0))
        picture = middle + gain * (picture - middle)
    return np.clip(np.rint(picture), 0, 255).astype(np.float32)


def halve(picture, way):
    """The picture at half the size, rounded to whole numbers; `way` is box, bicubic, lanczos or a blur's sigma."""
    if way == "box":
        small = 0.25 * (picture[0::2, 0::2] + picture[0::2, 1::2] + picture[1::2, 0::2] + picture[1::2, 1::2])
    elif way in ("bicubic", "lanczos"):
        resample = Image.BICUBIC if way == "bicubic" else Image.LANCZOS
        size = (picture.shape[1] // 2, picture.shape[0] // 2)
        small = np.asarray(Image.fromarray(picture, "F").resize(size, resample), np.float32)
    else:
        soft = gaussian_filter(picture, float(way))
        small = 0.25 * (soft[0::2, 0::2] + soft[0::2, 1::2] + soft[1::2, 0::2] + soft[1::2, 1::2])
    return np.clip(np.rint(small), 0, 255).astype(np.float32)


def compress(picture, quality):
    """The picture after JPEG of that quality: blocks and ringing like those of a stream's single pictures."""
    held = io.BytesIO()
    _as_image(picture).save(held, "JPEG", quality=int(quality))
    return np.asarray(Image.open(held), np.float32)


def pair(seed, side, recipe, compressed_share, lowest_quality):
    """A small picture and the large one that it was made from, both in 0 to 255 as 8-bit."""
    rng = np.random.default_rng(seed)
    large = sharp(rng, side, recipe)
    way = rng.choice(["box", "bicubic", "lanczos", str(rng.uniform(0.3, 0.7))], p=[0.70, 0.22, 0.05, 0.03])
    small = halve(large, way)
    if rng.random() < compressed_share:
        small = compress(small, rng.uniform(lowest_quality, 97))
    return small.astype(np.uint8), large.astype(np.uint8)
