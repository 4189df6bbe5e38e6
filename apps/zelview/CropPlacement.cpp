#include "apps/zelview/CropPlacement.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

namespace zelview {
namespace {

/// A canvas of this many pixels takes 256 MiB.
constexpr double kLargestCanvas = 64.0 * 1024 * 1024;

}  // namespace

size_t decodeLimitFor(const PanoramaCrop& crop, size_t maximumSide) {
  const double side = static_cast<double>(maximumSide) / std::max(crop.fullWidth, crop.fullHeight);
  const double area = std::sqrt(kLargestCanvas / (crop.fullWidth * crop.fullHeight));
  const double limit = std::max(crop.width, crop.height) * std::min({side, area, 1.0});
  return std::min(maximumSide, std::max<size_t>(1, static_cast<size_t>(limit)));
}

std::shared_ptr<CGImage> placeCrop(const CGImage& image, const PanoramaCrop& crop, size_t maximumSide) {
  const double scaleX = static_cast<double>(image.width()) / crop.width;
  const double scaleY = static_cast<double>(image.height()) / crop.height;
  const double width = std::max(std::round(crop.fullWidth * scaleX), static_cast<double>(image.width()));
  const double height = std::max(std::round(crop.fullHeight * scaleY), static_cast<double>(image.height()));
  const auto limit = static_cast<double>(maximumSide);
  if (width > limit || height > limit || width * height > kLargestCanvas * 1.01) return nullptr;

  const auto columns = static_cast<size_t>(width);
  const auto rows = static_cast<size_t>(height);
  const size_t left = std::min(static_cast<size_t>(std::round(crop.left * scaleX)), columns - image.width());
  const size_t top = std::min(static_cast<size_t>(std::round(crop.top * scaleY)), rows - image.height());
  std::vector<uint8_t> bytes;
  try {
    bytes.resize(columns * rows * 4);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  for (size_t row = 0; row < image.height(); ++row) {
    std::memcpy(&bytes[((top + row) * columns + left) * 4], image.bytes() + row * image.bytesPerRow(),
                image.width() * 4);
  }
  return CGImage::create(columns, rows, columns * 4, CGImageAlphaInfo::NoneSkipLast, std::move(bytes));
}

}  // namespace zelview
