#pragma once

/// Pictures as they were read back, compared with the reference, and the frames that are shown for it.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "gpu/Reference.h"

namespace ZELTest {

/// Rows from the top, four bytes a pixel: red, green, blue, alpha.
struct Picture {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> bytes;

  const uint8_t* pixel(int column, int row) const { return &bytes[(static_cast<size_t>(row) * width + column) * 4]; }
  bool operator==(const Picture&) const = default;
};

/// What a picture has in common with the reference.
struct Comparison {
  size_t pixels = 0;
  /// Pixels at discontinuities, which may show either side, and how many of those differ from the reference's side.
  size_t ambiguous = 0;
  size_t ambiguousOff = 0;
  /// Pixels elsewhere that are further off than allowed, and the first of them in words.
  size_t off = 0;
  std::string firstOff;
  /// The largest difference elsewhere, in 255ths.
  double worst = 0.0;

  void add(const Comparison& other);
  /// One line for a test's output.
  std::string summary() const;
};

/// Compares every pixel of a picture: colours within `tolerance` 255ths, opaque inside the picture, black
/// outside it.
Comparison compare(const Picture& picture, const Shot& shot, const CVPixelBuffer& frame, double tolerance);

/// Which plane of a two-plane frame has waves; the other one is even.
enum class WavingPlane { Luma, Chroma };

/// A frame of smooth waves, different in each channel and at each place.
///
/// Only one of two planes waves, since software drivers round what they sample to eight bits, after each of the two
/// steps of a bilinear sample; the colour matrix multiplies that by up to 1.164 for luma and 2.112 for chroma, and the
/// sum of both would hide errors that either shows.
CVPixelBufferRef smoothFrame(uint32_t format, size_t width, size_t height, WavingPlane waving = WavingPlane::Luma);

}  // namespace ZELTest
