#pragma once

#include "platform/quartzcore/Compositor.h"

#include <cmath>
#include <cstddef>

namespace ZELPlatform {

/// A rectangle of window pixels, from the top left.
struct PixelRect {
  int left;
  int top;
  int width;
  int height;

  bool isEmpty() const { return width <= 0 || height <= 0; }

  /// Whether a picture of that size is shown pixel by pixel.
  bool isExact(size_t pictureWidth, size_t pictureHeight) const {
    return static_cast<size_t>(width) == pictureWidth && static_cast<size_t>(height) == pictureHeight;
  }
};

/// Where a rectangle of points lies in a window of so many pixels. Edges are at whole pixels: neighbours meet without a
/// seam, and a picture of just this size is shown as it is.
inline PixelRect pixelRect(CGRect frame, CGSize points, int pixelWidth, int pixelHeight) {
  const double scaleX = pixelWidth / points.width;
  const double scaleY = pixelHeight / points.height;
  const int left = static_cast<int>(std::lround(frame.origin.x * scaleX));
  const int top = static_cast<int>(std::lround(frame.origin.y * scaleY));
  const int right = static_cast<int>(std::lround((frame.origin.x + frame.size.width) * scaleX));
  const int bottom = static_cast<int>(std::lround((frame.origin.y + frame.size.height) * scaleY));
  return {left, top, right - left, bottom - top};
}

}  // namespace ZELPlatform
