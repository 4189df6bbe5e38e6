#pragma once

#include <ZELPlatform/CoreGraphics.h>

#include <memory>

namespace ZELPlatform {

/// A bitmap that is being drawn into, between `UIGraphicsBeginImageContextWithOptions` and its end.
struct ImageContext {
  /// Null for a zero size.
  std::shared_ptr<CGBitmapContext> bitmap;
  /// Pixels per point.
  double scale;
};

/// The calling thread's innermost image context, or null. It lives until it is ended.
const ImageContext* currentImageContext();

}  // namespace ZELPlatform
