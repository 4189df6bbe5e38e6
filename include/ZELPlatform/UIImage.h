#pragma once

#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/CoreGraphics.h>
#include <ZELPlatform/Export.h>

#include <memory>

/// An immutable picture with a size in points: its bitmap's size divided by its scale. Any thread.
class ZELPLATFORM_EXPORT UIImage {
 public:
  /// Null without a bitmap or with a scale that is not above 0.
  static std::shared_ptr<UIImage> create(std::shared_ptr<CGImage> image, double scale = 1.0);

  /// In points.
  CGSize size() const { return size_; }
  /// Pixels per point.
  double scale() const { return scale_; }
  const std::shared_ptr<CGImage>& cgImage() const { return image_; }

  /// An image of any size in points over a bitmap, which is stretched to it where it is drawn.
  static std::shared_ptr<UIImage> createWithSize(std::shared_ptr<CGImage> image, CGSize size, double scale);

 private:
  UIImage() = default;
  std::shared_ptr<CGImage> image_;
  CGSize size_{};
  double scale_ = 1.0;
};

/// Begins drawing into a new bitmap of `size` points, rounded up to whole pixels. Scale 0 means the main screen's.
/// Image contexts nest, and belong to the calling thread.
ZELPLATFORM_EXPORT void UIGraphicsBeginImageContextWithOptions(CGSize size, bool opaque, double scale);

/// What was drawn into the innermost image context; null without one, or for a zero size.
ZELPLATFORM_EXPORT std::shared_ptr<UIImage> UIGraphicsGetImageFromCurrentImageContext();

ZELPLATFORM_EXPORT void UIGraphicsEndImageContext();
