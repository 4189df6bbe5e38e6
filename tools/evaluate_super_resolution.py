#!/usr/bin/python3
"""Compares a model with bicubic and Lanczos doubling on pictures that the training never saw.

    tools/evaluate_super_resolution.py neural/models/general.zelluma

The pictures are the photographs and scans that come with Debian's python3-skimage, python3-scipy and
python3-matplotlib, and pages of text and a made-up program window in the Liberation fonts (fonts-liberation2), with
which nothing was trained. The recipe of the made-up pictures was chosen by the results on some of the photographs
("tuned"); the others had no say in anything. Each is turned into 8-bit luma (BT.601 weights); the small picture is the
rounded mean of its 2 x 2 blocks, or what --way says. PSNR and SSIM are of the 8-bit results without a border of 4
pixels; SSIM has a Gaussian window of sigma 1.5.
"""

import argparse
import os

import numpy as np
import torch
from PIL import Image, ImageDraw, ImageFont
from matplotlib import cbook
from scipy import misc
import skimage
from skimage.metrics import structural_similarity

from super_resolution import pictures
from super_resolution.network import read_model, upscale

TUNED = "brick.png chelsea.png coffee.png gravel.png ihc.png moon.png page.png".split()
UNSEEN = (
    "astronaut.png camera.png rocket.jpg motorcycle_left.png coins.png grass.png hubble_deep_field.jpg retina.jpg "
    "text.png"
).split()
LIBERATION = "/usr/share/fonts/truetype/liberation2/Liberation"
BORDER = 4
LARGEST = 1024
PASSAGE = (
    "Every edge that the eye looks for lies between two pixels of the stream. A filter of fixed shape spreads it over "
    "both; a network that has seen enough of edges puts it back where it was. 1234567890 (a + b) * c = 42.5 %"
).split()


def _luma(image):
    if image.mode != "L":
        image = image.convert("RGB").convert("L")
    luma = np.asarray(image)
    height, width = (min(LARGEST, n) // 2 * 2 for n in luma.shape)
    top, left = (luma.shape[0] - height) // 2, (luma.shape[1] - width) // 2
    return luma[top : top + height, left : left + width]


def _page(face, size, paper, ink):
    canvas = Image.new("L", (640, 400), paper)
    draw = ImageDraw.Draw(canvas)
    font = ImageFont.truetype(f"{LIBERATION}{face}.ttf", size)
    y, word = 6, 0
    while y < 400:
        line = " ".join(PASSAGE[(word + i) % len(PASSAGE)] for i in range(14))
        draw.text((7, y), line, font=font, fill=ink)
        y += round(size * 1.35)
        word += 5
    return np.asarray(canvas)


def _window():
    """A program's window: bars, buttons, a table and thin lines."""
    canvas = Image.new("L", (640, 400), 236)
    draw = ImageDraw.Draw(canvas)
    font = ImageFont.truetype(LIBERATION + "Sans-Regular.ttf", 15)
    draw.rectangle([0, 0, 640, 28], fill=52)
    draw.text((10, 5), "Recording 7 - Panorama viewer", font=font, fill=240)
    for i, name in enumerate(("Open", "Play", "Pause", "Settings", "Help")):
        draw.rounded_rectangle([10 + 84 * i, 38, 84 + 84 * i, 64], radius=5, fill=250, outline=150)
        draw.text((20 + 84 * i, 42), name, font=font, fill=30)
    for row in range(12):
        y = 76 + 26 * row
        draw.line([10, y, 630, y], fill=180)
        for column in range(5):
            draw.text((14 + 124 * column, y + 4), f"{(row * 37 + column * 911) % 4096} px", font=font, fill=60)
    for column in range(6):
        draw.line([10 + 124 * column, 76, 10 + 124 * column, 400], fill=180)
    return np.asarray(canvas)


def _other_photographs():
    yield "face", Image.fromarray(misc.face())
    yield "ascent", Image.fromarray(misc.ascent().astype(np.uint8))
    yield "hopper", Image.open(cbook.get_sample_data("grace_hopper.jpg", asfileobj=False))


def test_pictures():
    folder = os.path.join(os.path.dirname(skimage.__file__), "data")
    for group, names in (("photographs, tuned", TUNED), ("photographs", UNSEEN)):
        for name in names:
            yield group, name.split(".")[0], _luma(Image.open(os.path.join(folder, name)))
    for name, image in _other_photographs():
        yield "photographs, tuned", name, _luma(image)
    yield "text", "serif 24", _page("Serif-Regular", 24, 255, 0)
    yield "text", "sans 18", _page("Sans-Regular", 18, 245, 30)
    yield "text", "mono on dark", _page("Mono-Regular", 20, 24, 220)
    yield "text", "bold 36", _page("Sans-Bold", 36, 200, 60)
    yield "text", "window", _window()


def psnr(a, b):
    inner = slice(BORDER, -BORDER)
    error = np.mean((a[inner, inner].astype(np.float64) - b[inner, inner]) ** 2)
    return 10 * np.log10(255.0**2 / error)


def ssim(a, b):
    inner = slice(BORDER, -BORDER)
    return structural_similarity(
        a[inner, inner], b[inner, inner], gaussian_weights=True, sigma=1.5, use_sample_covariance=False, data_range=255
    )


def row(name, cells):
    return f"| {name} | " + " | ".join(cells) + " |"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("model")
    parser.add_argument("--way", default="box", help="how the small picture is made: box, bicubic, lanczos or a sigma")
    parser.add_argument("--quality", type=int, help="JPEG quality that the small picture goes through")
    parser.add_argument("--only", choices=["tuned"], help="just the pictures that the recipe may be tuned on")
    parser.add_argument("--save", help="folder for the pictures: truth, bicubic and network side by side")
    o = parser.parse_args()
    torch.set_num_threads(1)
    network = read_model(o.model)
    print(row("picture", ["bicubic dB", "Lanczos dB", "network dB", "over bicubic", "over Lanczos",
                          "SSIM bicubic", "SSIM Lanczos", "SSIM network"]))
    print("|---" * 9 + "|")
    groups = {}
    for group, name, large in test_pictures():
        if o.only and o.only not in group:
            continue
        small = pictures.halve(large.astype(np.float32), o.way)
        if o.quality:
            small = pictures.compress(small, o.quality)
        small = small.astype(np.uint8)
        size = large.shape[::-1]
        results = [np.asarray(Image.fromarray(small).resize(size, way)) for way in (Image.BICUBIC, Image.LANCZOS)]
        results.append(upscale(network, small))
        p = [psnr(r, large) for r in results]
        s = [ssim(r, large) for r in results]
        figures = p + [p[2] - p[0], p[2] - p[1]] + s
        groups.setdefault(group, []).append(figures)
        groups.setdefault("all", []).append(figures)
        print(row(name, [f"{v:.2f}" for v in figures[:5]] + [f"{v:.4f}" for v in s]), flush=True)
        if o.save:
            os.makedirs(o.save, exist_ok=True)
            both = np.hstack([large, results[0], results[2]])
            Image.fromarray(both).save(os.path.join(o.save, name.replace(" ", "-") + ".png"))
    for group, figures in groups.items():
        mean = np.mean(figures, axis=0)
        print(row(f"**mean, {group}**", [f"{v:.2f}" for v in mean[:5]] + [f"{v:.4f}" for v in mean[5:]]))


if __name__ == "__main__":
    main()
