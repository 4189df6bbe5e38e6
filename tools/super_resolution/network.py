"""The luma-doubling network in PyTorch, and the file that its weights are kept in (docs/super-resolution.md)."""

import struct
import zlib

import numpy as np
import torch
import torch.nn.functional as F

MAGIC = b"ZELLUMA\x1a"
VERSION = 1
RESCALE_FACTOR = 2
BASE_KERNEL = 5
FIRST_KERNEL = 5
KERNEL = 3


def _bicubic(t):
    t = np.abs(t)
    return np.where(t < 1, 1.5 * t**3 - 2.5 * t**2 + 1, np.where(t < 2, -0.5 * t**3 + 2.5 * t**2 - 4 * t + 2, 0.0))


def bicubic_base():
    """Bicubic doubling as one 5 x 5 filter for each of the four output pixels of an input pixel."""
    taps = np.arange(-2, 3)
    rows = np.stack([_bicubic(taps - offset) for offset in (-0.25, 0.25)])
    return np.einsum("ai,bj->abij", rows, rows).reshape(4, 1, BASE_KERNEL, BASE_KERNEL)


class DoubleLuma(torch.nn.Module):
    """A linear filter that doubles, plus what convolutions add to it; every fetch stops at the picture's edge."""

    def __init__(self, channels, hidden):
        super().__init__()
        self.base = torch.nn.Parameter(torch.tensor(bicubic_base(), dtype=torch.float32))
        widths = [1] + [channels] * (hidden + 1) + [RESCALE_FACTOR**2]
        kernels = [FIRST_KERNEL] + [KERNEL] * (hidden + 1)
        self.convolutions = torch.nn.ModuleList(
            torch.nn.Conv2d(a, b, k) for a, b, k in zip(widths, widths[1:], kernels)
        )
        self.slopes = torch.nn.ParameterList(
            torch.nn.Parameter(torch.full((channels,), 0.2)) for _ in range(hidden + 1)
        )
        for convolution in self.convolutions:
            torch.nn.init.kaiming_normal_(convolution.weight, a=0.2)
            torch.nn.init.zeros_(convolution.bias)
        # The network starts as plain bicubic doubling.
        torch.nn.init.normal_(self.convolutions[-1].weight, std=1e-3)

    @staticmethod
    def _padded(x, kernel):
        reach = kernel // 2
        return F.pad(x, (reach,) * 4, mode="replicate")

    def forward(self, luma):
        """Luma as N x 1 x H x W, in 0 to 1, to N x 1 x 2H x 2W; not clamped."""
        doubled = F.conv2d(self._padded(luma, BASE_KERNEL), self.base)
        x = luma
        for convolution, slope in zip(self.convolutions, self.slopes):
            x = F.prelu(convolution(self._padded(x, convolution.kernel_size[0])), slope)
        x = self.convolutions[-1](self._padded(x, KERNEL))
        return F.pixel_shuffle(doubled + x, RESCALE_FACTOR)

    def multiply_adds(self):
        """Multiplications with addition for one input pixel."""
        return self.base.numel() + sum(c.weight.numel() for c in self.convolutions)


def upscale(network, luma):
    """An 8-bit luma plane (H x W array) to the 8-bit plane of twice the size."""
    with torch.no_grad():
        x = torch.from_numpy(np.asarray(luma, np.float32) / 255.0)[None, None]
        y = network(x).clamp(0, 1)[0, 0].numpy()
    return np.floor(y * 255.0 + 0.5).astype(np.uint8)


def write_model(network, path):
    layers, weights = [], [network.base]
    slopes = list(network.slopes)
    for index, convolution in enumerate(network.convolutions):
        bent = index < len(slopes)
        layers.append((convolution.in_channels, convolution.out_channels, convolution.kernel_size[0], int(bent)))
        weights += [convolution.weight, convolution.bias] + ([slopes[index]] if bent else [])
    body = struct.pack("<3I", RESCALE_FACTOR, BASE_KERNEL, len(layers))
    body += b"".join(struct.pack("<4I", *layer) for layer in layers)
    body += b"".join(w.detach().cpu().numpy().astype("<f4").tobytes() for w in weights)
    size = len(MAGIC) + 12 + len(body)
    head = struct.pack("<3I", VERSION, size, zlib.crc32(body))
    with open(path, "wb") as file:
        file.write(MAGIC + head + body)


def read_model(path):
    with open(path, "rb") as file:
        data = file.read()
    version, size, checksum = struct.unpack_from("<3I", data, len(MAGIC))
    at = len(MAGIC) + 12
    if data[: len(MAGIC)] != MAGIC or version != VERSION or size != len(data) or checksum != zlib.crc32(data[at:]):
        raise SystemExit(f"{path} is no model of version {VERSION}, or it is damaged")
    _, _, count = struct.unpack_from("<3I", data, at)
    at += 12
    layers = [struct.unpack_from("<4I", data, at + 16 * i) for i in range(count)]
    at += 16 * count
    network = DoubleLuma(layers[0][1], count - 2)

    def fill(parameter):
        nonlocal at
        values = np.frombuffer(data, "<f4", parameter.numel(), at).reshape(tuple(parameter.shape))
        at += 4 * parameter.numel()
        parameter.data = torch.from_numpy(values.astype(np.float32))

    fill(network.base)
    for index, convolution in enumerate(network.convolutions):
        fill(convolution.weight)
        fill(convolution.bias)
        if layers[index][3]:
            fill(network.slopes[index])
    return network
