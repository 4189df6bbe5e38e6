#include "apps/zelview/render/PlaneConversion.h"

#include <vector>

// Plain loops over rows, which the compiler turns into vector instructions: this file is built with more optimisation
// than the others. Weights are in 256ths.

namespace zelview {
namespace {

/// A row with its colours apart.
struct SplitRow {
  explicit SplitRow(size_t width) : red(width), green(width), blue(width) {}
  std::vector<uint8_t> red;
  std::vector<uint8_t> green;
  std::vector<uint8_t> blue;
};

void split(const uint8_t* pixels, size_t width, SplitRow* row) {
  uint8_t* red = row->red.data();
  uint8_t* green = row->green.data();
  uint8_t* blue = row->blue.data();
  for (size_t x = 0; x < width; ++x) {
    red[x] = pixels[4 * x];
    green[x] = pixels[4 * x + 1];
    blue[x] = pixels[4 * x + 2];
  }
}

void writeLuma(const SplitRow& row, size_t width, uint8_t* luma) {
  const uint8_t* red = row.red.data();
  const uint8_t* green = row.green.data();
  const uint8_t* blue = row.blue.data();
  for (size_t x = 0; x < width; ++x) {
    luma[x] = static_cast<uint8_t>(((47 * red[x] + 157 * green[x] + 16 * blue[x] + 128) >> 8) + 16);
  }
}

/// The rounded mean of four pixels of two rows.
int16_t meanOfFour(const uint8_t* upper, const uint8_t* lower, size_t x) {
  return static_cast<int16_t>((upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1] + 2) >> 2);
}

/// `count` samples. Sixteen bits are enough: no sum of products is beyond 112 * 255.
void writeChroma(const SplitRow& upper, const SplitRow& lower, size_t count, uint8_t* pairs) {
  const uint8_t* rows[] = {upper.red.data(),   lower.red.data(),  upper.green.data(),
                           lower.green.data(), upper.blue.data(), lower.blue.data()};
  for (size_t x = 0; x < count; ++x) {
    const int16_t red = meanOfFour(rows[0], rows[1], x);
    const int16_t green = meanOfFour(rows[2], rows[3], x);
    const int16_t blue = meanOfFour(rows[4], rows[5], x);
    pairs[2 * x] = static_cast<uint8_t>((static_cast<int16_t>(-26 * red - 86 * green + 112 * blue + 128) >> 8) + 128);
    pairs[2 * x + 1] =
        static_cast<uint8_t>((static_cast<int16_t>(112 * red - 102 * green - 10 * blue + 128) >> 8) + 128);
  }
}

}  // namespace

void writePlanes(const CGImage& picture, const CVPixelBuffer& target) {
  const CVPixelBuffer::Plane luma = target.plane(0);
  const CVPixelBuffer::Plane chroma = target.plane(1);
  auto* lumaRows = static_cast<uint8_t*>(luma.baseAddress);
  auto* chromaRows = static_cast<uint8_t*>(chroma.baseAddress);
  if (!lumaRows || !chromaRows) return;
  const size_t width = picture.width();
  SplitRow upper(width);
  SplitRow lower(width);
  for (size_t y = 0; y + 1 < picture.height(); y += 2) {
    const uint8_t* pixels = picture.bytes() + y * picture.bytesPerRow();
    split(pixels, width, &upper);
    split(pixels + picture.bytesPerRow(), width, &lower);
    writeLuma(upper, width, lumaRows + y * luma.bytesPerRow);
    writeLuma(lower, width, lumaRows + (y + 1) * luma.bytesPerRow);
    writeChroma(upper, lower, width / 2, chromaRows + y / 2 * chroma.bytesPerRow);
  }
}

void interleaveChroma(const uint8_t* u, const uint8_t* v, uint8_t* pairs, size_t count) {
  for (size_t x = 0; x < count; ++x) {
    pairs[2 * x] = u[x];
    pairs[2 * x + 1] = v[x];
  }
}

}  // namespace zelview
