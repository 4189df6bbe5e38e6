#!/usr/bin/python3
"""Trains the luma-doubling network on pictures that it makes itself, and writes the model file.

    tools/train_super_resolution.py --model neural/models/general.zelluma --log neural/models/general.log

Needs Debian's python3-torch, python3-numpy, python3-pil, python3-scipy and fonts-dejavu. One thread is used, so that a
seed gives the same weights again with the same packages. A run that was stopped goes on from its checkpoint.
"""

import argparse
import copy
import math
import os
import time

import numpy as np
import torch

from super_resolution import pictures
from super_resolution.network import BASE_KERNEL, DoubleLuma, write_model

RECIPES = {"general": pictures.GENERAL, "screen": pictures.SCREEN}
BORDER = 2
EMA_DECAY = 0.999


def options():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--model", required=True, help="model file to write")
    parser.add_argument("--log", required=True, help="training log to append to")
    parser.add_argument("--recipe", choices=sorted(RECIPES), default="general")
    parser.add_argument("--channels", type=int, default=16)
    parser.add_argument("--hidden", type=int, default=3, help="layers between the first and the last")
    parser.add_argument("--pictures", type=int, default=2000)
    parser.add_argument("--steps", type=int, default=64000)
    parser.add_argument("--batch", type=int, default=8)
    parser.add_argument("--patch", type=int, default=40, help="side of a patch of the small picture")
    parser.add_argument("--rate", type=float, default=2e-3)
    parser.add_argument("--compressed", type=float, default=0.06, help="share of the pictures that went through JPEG")
    parser.add_argument("--lowest-quality", type=float, default=75, help="of JPEG")
    parser.add_argument("--seed", type=int, default=20)
    parser.add_argument("--pool", help=".npz file that keeps the pictures for a further run with the same options")
    parser.add_argument("--checkpoint", help="file that lets a stopped run go on")
    return parser.parse_args()


class Pool:
    """All the pictures, made once; patches of them in any of the eight orientations."""

    def __init__(self, o, side=256):
        if o.pool and os.path.exists(o.pool):
            kept = np.load(o.pool)
            self.small, self.large = kept["small"], kept["large"]
            return
        made = [
            pictures.pair([o.seed, i], side, RECIPES[o.recipe], o.compressed, o.lowest_quality)
            for i in range(o.pictures)
        ]
        self.small = np.stack([small for small, _ in made])
        self.large = np.stack([large for _, large in made])
        if o.pool:
            np.savez(o.pool, small=self.small, large=self.large)

    def batch(self, rng, count, patch):
        small = np.empty((count, 1, patch, patch), np.float32)
        large = np.empty((count, 1, 2 * patch, 2 * patch), np.float32)
        for i in range(count):
            n = rng.integers(len(self.small))
            y, x = rng.integers(0, self.small.shape[1] - patch + 1, 2)
            turns, flip = int(rng.integers(4)), rng.random() < 0.5
            s = self.small[n, y : y + patch, x : x + patch]
            l = self.large[n, 2 * y : 2 * (y + patch), 2 * x : 2 * (x + patch)]
            if flip:
                s, l = s[:, ::-1], l[:, ::-1]
            small[i, 0], large[i, 0] = np.rot90(s, turns), np.rot90(l, turns)
        if rng.random() < 0.3:
            small, large = 255 - small, 255 - large
        return torch.from_numpy(small / 255), torch.from_numpy(large / 255)


def rate_at(o, step):
    warm = min(1.0, (step + 1) / 200)
    return o.rate * warm * (0.5 + 0.5 * math.cos(math.pi * step / o.steps)) + 1e-6


def loss_of(output, wanted):
    """The mean over patches of the logarithm of the squared error: faint texture counts like hard edges, as in the mean
    of PSNRs. Patches above 47 dB, which nobody can tell from the truth, hardly count."""
    inner = slice(2 * BORDER, -2 * BORDER)
    difference = (output - wanted)[:, :, inner, inner]
    return torch.log(difference.square().mean(dim=(1, 2, 3)) + 2e-5).mean()


def fitted_base(pool):
    """The linear filter that doubles the made-up pictures with the least squared error."""
    reach = BASE_KERNEL // 2
    left, right = 0.0, 0.0
    for small, large in zip(pool.small[:400], pool.large[:400]):
        mean = small.mean()
        padded = np.pad(small - mean, reach, mode="edge")
        height, width = small.shape
        taps = np.stack([padded[i : i + height, j : j + width].ravel()
                         for i in range(BASE_KERNEL) for j in range(BASE_KERNEL)])
        phases = np.stack([(large[a::2, b::2] - mean).ravel() for a in (0, 1) for b in (0, 1)])
        # Divided by its contrast, so that no picture outweighs the others.
        weight = 1.0 / (small.var() + 4.0)
        left, right = left + weight * taps @ taps.T, right + weight * taps @ phases.T
    filters = np.linalg.solve(left, right).T
    filters /= filters.sum(axis=1, keepdims=True)
    return torch.tensor(filters.reshape(-1, 1, BASE_KERNEL, BASE_KERNEL), dtype=torch.float32)


def average(kept, network, step):
    decay = min(EMA_DECAY, (1 + step) / (10 + step))
    for a, b in zip(kept.parameters(), network.parameters()):
        a.data.mul_(decay).add_(b.data, alpha=1 - decay)


def main():
    o = options()
    began = time.monotonic()
    torch.set_num_threads(1)
    torch.manual_seed(o.seed)
    pool = Pool(o)
    network = DoubleLuma(o.channels, o.hidden)
    network.base.data = fitted_base(pool)
    kept = copy.deepcopy(network)
    optimiser = torch.optim.Adam(network.parameters(), lr=o.rate)
    first = 0
    if o.checkpoint and os.path.exists(o.checkpoint):
        state = torch.load(o.checkpoint)
        network.load_state_dict(state["network"])
        kept.load_state_dict(state["kept"])
        optimiser.load_state_dict(state["optimiser"])
        first = state["step"]

    log = open(o.log, "a" if first else "w", encoding="utf-8")

    def say(line):
        print(line, file=log, flush=True)

    if not first:
        given = " ".join(f"{k}={v}" for k, v in vars(o).items() if k not in ("model", "log", "pool", "checkpoint"))
        say(f"{given}; torch {torch.__version__}; {network.multiply_adds()} multiply-adds per input pixel")
    say(f"step {first}: {o.pictures} pictures made in {time.monotonic() - began:.0f} s")

    total, counted = 0.0, 0
    for step in range(first, o.steps):
        # Its own generator for each step: a run that goes on draws what an unbroken one would have drawn.
        rng = np.random.default_rng([o.seed, 1, step])
        small, large = pool.batch(rng, o.batch, o.patch)
        for group in optimiser.param_groups:
            group["lr"] = rate_at(o, step)
        output = network(small)
        loss = loss_of(output, large)
        optimiser.zero_grad()
        loss.backward()
        torch.nn.utils.clip_grad_norm_(network.parameters(), 1.0)
        optimiser.step()
        average(kept, network, step)
        total += float(loss.detach())
        counted += 1
        if (step + 1) % 1000 == 0 or step + 1 == o.steps:
            say(f"step {step + 1}: {-10 / math.log(10) * total / counted:.3f} dB on the patches trained on, "
                f"{time.monotonic() - began:.0f} s")
            total, counted = 0.0, 0
            write_model(kept, o.model)
            if o.checkpoint:
                state = {"network": network.state_dict(), "kept": kept.state_dict(),
                         "optimiser": optimiser.state_dict(), "step": step + 1}
                torch.save(state, o.checkpoint + ".new")
                os.replace(o.checkpoint + ".new", o.checkpoint)


if __name__ == "__main__":
    main()
