#include <ZELPlatform/CoreGraphics.h>

#include <utility>

std::shared_ptr<CGImage> CGImage::create(size_t width, size_t height, size_t bytesPerRow, CGImageAlphaInfo alphaInfo,
                                         std::vector<uint8_t> bytes) {
  // Divisions, so that no product can overflow.
  if (width == 0 || height == 0 || bytesPerRow / 4 < width || bytes.size() / bytesPerRow < height) return nullptr;
  std::shared_ptr<CGImage> image(new CGImage);
  image->width_ = width;
  image->height_ = height;
  image->bytesPerRow_ = bytesPerRow;
  image->alphaInfo_ = alphaInfo;
  image->bytes_ = std::move(bytes);
  return image;
}
