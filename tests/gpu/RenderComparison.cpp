#include "gpu/RenderComparison.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <optional>

namespace ZELTest {
namespace {

/// Wave `index` at a place of a picture. Its steepest slope is three waves across the picture.
double wave(size_t index, double u, double v) {
  constexpr double kTurn = 2 * std::numbers::pi;
  constexpr double kAmplitude = 0.42;
  switch (index) {
    case 0:
      return kAmplitude * std::sin(kTurn * 2 * u);
    case 1:
      return kAmplitude * std::sin(kTurn * 1.5 * v + 0.7);
    default:
      return kAmplitude * std::sin(kTurn * (u + 2 * v) + 2);
  }
}

/// Fills byte `offset` of every texel of a plane with a wave around the middle.
void fillWave(const CVPixelBuffer::Plane& plane, size_t channels, size_t offset, size_t index, double gain) {
  for (size_t row = 0; row < plane.height; ++row) {
    auto* bytes = static_cast<uint8_t*>(plane.baseAddress) + row * plane.bytesPerRow;
    for (size_t column = 0; column < plane.width; ++column) {
      const double u = (static_cast<double>(column) + 0.5) / static_cast<double>(plane.width);
      const double v = (static_cast<double>(row) + 0.5) / static_cast<double>(plane.height);
      bytes[column * channels + offset] = static_cast<uint8_t>(std::lround(255 * (0.5 + gain * wave(index, u, v))));
    }
  }
}

/// The largest difference of a pixel from its sample, or of a pixel outside the picture from the border, in 255ths.
double difference(const uint8_t* pixel, const std::optional<Sample>& sample, const Shot& shot,
                  const CVPixelBuffer& frame) {
  if (!sample) {
    return std::max<int>(*std::max_element(pixel, pixel + 3), std::abs(pixel[3] - shot.borderAlpha));
  }
  const std::array<double, 3> colour = colourAt(frame, sample->u, sample->v);
  double worst = 255.0 - pixel[3];
  for (size_t channel = 0; channel < 3; ++channel) {
    worst = std::max(worst, std::abs(255 * colour[channel] - pixel[channel]));
  }
  return worst;
}

std::string describe(int column, int row, const uint8_t* pixel, const std::optional<Sample>& sample,
                     const CVPixelBuffer& frame) {
  std::array<double, 3> colour{};
  if (sample) {
    colour = colourAt(frame, sample->u, sample->v);
  }
  char text[160];
  std::snprintf(text, sizeof text, "pixel (%d, %d) is %d %d %d %d, the reference %s %.2f %.2f %.2f", column, row,
                pixel[0], pixel[1], pixel[2], pixel[3], sample ? "inside" : "outside", 255 * colour[0], 255 * colour[1],
                255 * colour[2]);
  return text;
}

}  // namespace

void Comparison::add(const Comparison& other) {
  pixels += other.pixels;
  ambiguous += other.ambiguous;
  ambiguousOff += other.ambiguousOff;
  off += other.off;
  worst = std::max(worst, other.worst);
  if (firstOff.empty()) {
    firstOff = other.firstOff;
  }
}

std::string Comparison::summary() const {
  const double percent = 100.0 / static_cast<double>(std::max<size_t>(pixels, 1));
  char text[200];
  std::snprintf(text, sizeof text,
                "%zu pixels: worst %.2f/255; at discontinuities %zu (%.4f %%), of which off %zu (%.4f %%)", pixels,
                worst, ambiguous, static_cast<double>(ambiguous) * percent, ambiguousOff,
                static_cast<double>(ambiguousOff) * percent);
  return text;
}

Comparison compare(const Picture& picture, const Shot& shot, const CVPixelBuffer& frame, double tolerance) {
  Comparison result;
  for (int row = 0; row < picture.height; ++row) {
    for (int column = 0; column < picture.width; ++column) {
      const std::optional<Sample> sample = sampleAt(shot, column, row);
      const uint8_t* pixel = picture.pixel(column, row);
      const double distance = difference(pixel, sample, shot, frame);
      ++result.pixels;
      if (sample && sample->ambiguous) {
        ++result.ambiguous;
        result.ambiguousOff += distance > tolerance ? 1 : 0;
        continue;
      }
      result.worst = std::max(result.worst, distance);
      if (distance > tolerance && result.off++ == 0) {
        result.firstOff = describe(column, row, pixel, sample, frame);
      }
    }
  }
  return result;
}

CVPixelBufferRef smoothFrame(uint32_t format, size_t width, size_t height, WavingPlane waving) {
  CVPixelBufferRef frame = CVPixelBuffer::create(width, height, format);
  if (frame->planeCount() == 0) {
    for (size_t channel = 0; channel < 3; ++channel) {
      fillWave(frame->plane(0), 4, channel, channel, 1.0);
    }
    return frame;
  }
  // Luma waves both ways, each chroma channel one way: so the roundings of a bilinear sample stay below the tolerance.
  // Some colours lie outside of what can be shown.
  const bool luma = waving == WavingPlane::Luma;
  fillWave(frame->plane(0), 1, 0, 2, luma ? 0.6 : 0.0);
  fillWave(frame->plane(1), 2, 0, 0, luma ? 0.0 : 0.8);
  fillWave(frame->plane(1), 2, 1, 1, luma ? 0.0 : 0.8);
  return frame;
}

}  // namespace ZELTest
