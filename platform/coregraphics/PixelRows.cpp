#include "platform/coregraphics/PixelRows.h"

#include <algorithm>

namespace ZELPlatform {

namespace {

constexpr uint8_t opaque = 255;

/// a * b / 255, rounded to the nearest.
uint8_t product(unsigned a, unsigned b) { return static_cast<uint8_t>((a * b + 127) / 255); }

void copyOpaqueRow(const uint8_t* source, uint8_t* target, size_t width) {
  for (size_t i = 0; i < width * 4; i += 4) {
    target[i] = source[i];
    target[i + 1] = source[i + 1];
    target[i + 2] = source[i + 2];
    target[i + 3] = opaque;
  }
}

}  // namespace

void premultiplyRow(const uint8_t* straight, uint8_t* premultiplied, size_t width) {
  for (size_t i = 0; i < width * 4; i += 4) {
    const uint8_t alpha = straight[i + 3];
    for (size_t c = 0; c < 3; ++c) premultiplied[i + c] = product(straight[i + c], alpha);
    premultiplied[i + 3] = alpha;
  }
}

void straightenRow(const uint8_t* pixels, CGImageAlphaInfo alphaInfo, uint8_t* straight, size_t width) {
  if (alphaInfo == CGImageAlphaInfo::NoneSkipLast) {
    copyOpaqueRow(pixels, straight, width);
    return;
  }
  for (size_t i = 0; i < width * 4; i += 4) {
    const unsigned alpha = pixels[i + 3];
    for (size_t c = 0; c < 3; ++c) {
      const unsigned colour = pixels[i + c];
      straight[i + c] = static_cast<uint8_t>(alpha == 0 ? 0 : std::min((colour * 255 + alpha / 2) / alpha, 255u));
    }
    straight[i + 3] = static_cast<uint8_t>(alpha);
  }
}

void drawRow(const uint8_t* source, CGImageAlphaInfo sourceInfo, uint8_t* target, CGImageAlphaInfo targetInfo,
             size_t width) {
  if (sourceInfo == CGImageAlphaInfo::NoneSkipLast) {
    copyOpaqueRow(source, target, width);
    return;
  }
  for (size_t i = 0; i < width * 4; i += 4) {
    const unsigned uncovered = 255u - source[i + 3];
    for (size_t c = 0; c < 4; ++c) {
      target[i + c] = static_cast<uint8_t>(std::min(source[i + c] + product(target[i + c], uncovered), 255));
    }
    if (targetInfo == CGImageAlphaInfo::NoneSkipLast) target[i + 3] = opaque;
  }
}

}  // namespace ZELPlatform
