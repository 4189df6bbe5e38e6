#include "bench/TestFrames.h"

#include <algorithm>

namespace ZELBench {

namespace {

/// Slow ramps along both axes with three bits of noise on top.
uint8_t sampleAt(size_t x, size_t y, uint32_t seed) {
  const uint32_t hash = (static_cast<uint32_t>(x) * 2654435761U) ^ (static_cast<uint32_t>(y) * 2246822519U) ^ seed;
  return static_cast<uint8_t>(16 + (x / 24 + y / 16 + size_t{seed} * 40) % 200 + ((hash >> 13) & 7U));
}

}  // namespace

CVPixelBufferRef makeTestFrame(uint32_t pixelFormat, size_t width, size_t height, uint32_t seed) {
  CVPixelBufferRef frame = CVPixelBuffer::create(width, height, pixelFormat);
  if (!frame) return nullptr;
  for (size_t index = 0; index < std::max<size_t>(frame->planeCount(), 1); ++index) {
    const CVPixelBuffer::Plane plane = frame->plane(index);
    const size_t bytesPerPixel = frame->planeCount() == 0 ? 4 : index + 1;
    for (size_t y = 0; y < plane.height; ++y) {
      auto* row = static_cast<uint8_t*>(plane.baseAddress) + y * plane.bytesPerRow;
      for (size_t byte = 0; byte < plane.width * bytesPerPixel; ++byte) row[byte] = sampleAt(byte, y, seed);
    }
  }
  return frame;
}

FrameRing::FrameRing(uint32_t pixelFormat, size_t width, size_t height, size_t count) {
  for (size_t index = 0; index < count; ++index) {
    frames_.push_back(makeTestFrame(pixelFormat, width, height, static_cast<uint32_t>(index)));
  }
}

}  // namespace ZELBench
