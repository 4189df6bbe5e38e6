#pragma once

#include <ZELPlatform/CoreGraphics.h>

#include <cstddef>
#include <cstdint>

/// Work on rows of pixels of four bytes: red, green, blue and alpha, which is either multiplied into the colours or, as
/// files and scalers have it, straight.
namespace ZELPlatform {

/// Rows of pixels in somebody's memory.
struct PixelRows {
  const uint8_t* bytes;
  size_t width;
  size_t height;
  size_t bytesPerRow;

  const uint8_t* row(size_t y) const { return bytes + y * bytesPerRow; }
};

inline PixelRows rowsOf(const CGImage& image) {
  return {image.bytes(), image.width(), image.height(), image.bytesPerRow()};
}

/// Multiplies straight alpha into the colours, rounding to the nearest.
void premultiplyRow(const uint8_t* straight, uint8_t* premultiplied, size_t width);

/// Divides alpha out of the colours; of an image without alpha it makes opaque pixels. May work in place.
void straightenRow(const uint8_t* pixels, CGImageAlphaInfo alphaInfo, uint8_t* straight, size_t width);

/// Puts a row over another. Of an image without alpha, and onto one, the fourth byte becomes 255.
void drawRow(const uint8_t* source, CGImageAlphaInfo sourceInfo, uint8_t* target, CGImageAlphaInfo targetInfo,
             size_t width);

}  // namespace ZELPlatform
