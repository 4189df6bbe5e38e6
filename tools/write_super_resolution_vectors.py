#!/usr/bin/python3
"""Writes what the tests compare the networks with: small pictures, and what PyTorch makes of them.

    tools/write_super_resolution_vectors.py neural/models/*.zelluma

Beside the models given there is one of random numbers, which says more about every number's place. To be run again when
a model was trained anew.
"""

import os
import sys

import numpy as np
import torch

from super_resolution import pictures
from super_resolution.network import DoubleLuma, read_model, upscale, write_model

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "neural", "vectors")


def picture(width, height):
    """Letters, noise, and edges from black to white that reach the border."""
    rng = np.random.default_rng(3)
    luma = pictures.text(rng, 96)[10 : 10 + height, :width].copy()
    luma[:, width // 2 :] = rng.integers(0, 256, (height, width - width // 2))
    luma[:3, :5] = 255
    luma[-2:, :7] = 0
    return luma.astype(np.uint8)


def write_plane(path, luma):
    with open(path, "wb") as file:
        file.write(b"P5 %d %d 255\n" % luma.shape[::-1])
        file.write(luma.tobytes())


def random_network():
    torch.manual_seed(5)
    network = DoubleLuma(16, 2)
    for parameter in network.parameters():
        parameter.data += 0.05 * torch.randn_like(parameter)
    network.convolutions[-1].weight.data *= 0.3
    return network


def main():
    os.makedirs(FOLDER, exist_ok=True)
    torch.set_num_threads(1)
    write_model(random_network(), os.path.join(FOLDER, "random.zelluma"))
    for path in [os.path.join(FOLDER, "random.zelluma")] + sys.argv[1:]:
        name = os.path.splitext(os.path.basename(path))[0]
        luma = picture(45, 35)
        write_plane(os.path.join(FOLDER, name + "-input.pgm"), luma)
        write_plane(os.path.join(FOLDER, name + "-output.pgm"), upscale(read_model(path), luma))


if __name__ == "__main__":
    main()
