#include <ZELPlatform/CoreGraphics.h>

#include <utility>

std::shared_ptr<CGImage> CGImage::create(size_t width, size_t height, size_t bytesPerRow, CGImageAlphaInfo alphaInfo,
                                         std::vector<uint8_t> bytes) {
  // Divisions, so that no product can overflow.
  if (bytesPerRow == 0 || bytes.size() / bytesPerRow < height) return nullptr;
  const auto kept = std::make_shared<const std::vector<uint8_t>>(std::move(bytes));
  return create(width, height, bytesPerRow, alphaInfo, std::shared_ptr<const uint8_t[]>(kept, kept->data()));
}

std::shared_ptr<CGImage> CGImage::create(size_t width, size_t height, size_t bytesPerRow, CGImageAlphaInfo alphaInfo,
                                         std::shared_ptr<const uint8_t[]> bytes) {
  if (width == 0 || height == 0 || bytesPerRow / 4 < width || !bytes) return nullptr;
  std::shared_ptr<CGImage> image(new CGImage);
  image->width_ = width;
  image->height_ = height;
  image->bytesPerRow_ = bytesPerRow;
  image->alphaInfo_ = alphaInfo;
  image->bytes_ = std::move(bytes);
  return image;
}

std::shared_ptr<CGImage> CGImage::withAlphaInfo(CGImageAlphaInfo alphaInfo) const {
  return create(width_, height_, bytesPerRow_, alphaInfo, bytes_);
}
