#include "apps/zelview/TwoPlanePicture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace zelview {
namespace {

// The weights of BT.709, and what of 255 levels a plane in video range has.
constexpr double kRed = 0.2126;
constexpr double kBlue = 0.0722;
constexpr double kGreen = 1.0 - kRed - kBlue;
constexpr double kLumaLevels = 219.0 / 255.0;
constexpr double kColourLevels = 224.0 / 255.0;
constexpr double kBlack = 16.0;
constexpr double kNoColour = 128.0;

struct Colour {
  double red = 0.0;
  double green = 0.0;
  double blue = 0.0;
};

Colour at(const CGImage& image, size_t x, size_t y) {
  const uint8_t* pixel = image.bytes() + y * image.bytesPerRow() + 4 * x;
  return {static_cast<double>(pixel[0]), static_cast<double>(pixel[1]), static_cast<double>(pixel[2])};
}

double lumaOf(const Colour& colour) { return kRed * colour.red + kGreen * colour.green + kBlue * colour.blue; }

uint8_t level(double value) { return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L)); }

uint8_t* rowOf(const CVPixelBuffer::Plane& plane, size_t row) {
  return static_cast<uint8_t*>(plane.baseAddress) + row * plane.bytesPerRow;
}

/// The mean of the pixels that a pixel of the half-size plane stands for.
Colour meanAt(const CGImage& image, size_t x, size_t y) {
  Colour sum;
  double count = 0.0;
  for (size_t row = 2 * y; row < std::min(2 * y + 2, image.height()); ++row) {
    for (size_t column = 2 * x; column < std::min(2 * x + 2, image.width()); ++column) {
      const Colour colour = at(image, column, row);
      sum = {sum.red + colour.red, sum.green + colour.green, sum.blue + colour.blue};
      count += 1.0;
    }
  }
  return {sum.red / count, sum.green / count, sum.blue / count};
}

}  // namespace

CVPixelBufferRef makeTwoPlaneFrame(const CGImage& image) {
  CVPixelBufferRef frame =
      CVPixelBuffer::create(image.width(), image.height(), kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
  if (!frame) return nullptr;
  const CVPixelBuffer::Plane luma = frame->plane(0);
  for (size_t y = 0; y < luma.height; ++y) {
    uint8_t* row = rowOf(luma, y);
    for (size_t x = 0; x < luma.width; ++x) row[x] = level(kBlack + kLumaLevels * lumaOf(at(image, x, y)));
  }
  const CVPixelBuffer::Plane chroma = frame->plane(1);
  for (size_t y = 0; y < chroma.height; ++y) {
    uint8_t* row = rowOf(chroma, y);
    for (size_t x = 0; x < chroma.width; ++x) {
      const Colour colour = meanAt(image, x, y);
      const double luminance = lumaOf(colour);
      row[2 * x] = level(kNoColour + kColourLevels * (colour.blue - luminance) / (2.0 * (1.0 - kBlue)));
      row[2 * x + 1] = level(kNoColour + kColourLevels * (colour.red - luminance) / (2.0 * (1.0 - kRed)));
    }
  }
  return frame;
}

}  // namespace zelview
