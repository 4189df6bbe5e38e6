#include <ZELPlatform/UIImage.h>

#include "platform/uikit/ImageContext.h"

#include <ZELPlatform/UIScreen.h>

#include <cmath>
#include <utility>
#include <vector>

namespace {

thread_local std::vector<ZELPlatform::ImageContext> imageContexts;

size_t pixelsOf(double points, double scale) {
  // What a product is off by must not cost a row: 1.1 points at scale 10 are 11 pixels.
  constexpr double rounding = 1e-6;
  const double pixels = std::ceil(points * scale - rounding);
  return pixels > 0 ? static_cast<size_t>(pixels) : 0;
}

}  // namespace

namespace ZELPlatform {

const ImageContext* currentImageContext() { return imageContexts.empty() ? nullptr : &imageContexts.back(); }

}  // namespace ZELPlatform

std::shared_ptr<UIImage> UIImage::create(std::shared_ptr<CGImage> image, double scale) {
  if (!image) return nullptr;
  const CGSize pixels = CGSizeMake(static_cast<double>(image->width()), static_cast<double>(image->height()));
  return createWithSize(std::move(image), CGSizeMake(pixels.width / scale, pixels.height / scale), scale);
}

std::shared_ptr<UIImage> UIImage::createWithSize(std::shared_ptr<CGImage> image, CGSize size, double scale) {
  if (!image || !(scale > 0)) return nullptr;
  std::shared_ptr<UIImage> result(new UIImage);
  result->image_ = std::move(image);
  result->size_ = size;
  result->scale_ = scale;
  return result;
}

void UIGraphicsBeginImageContextWithOptions(CGSize size, bool opaque, double scale) {
  if (scale == 0) scale = UIScreen::mainScreen().nativeScale();
  const size_t width = pixelsOf(size.width, scale);
  const auto alphaInfo = opaque ? CGImageAlphaInfo::NoneSkipLast : CGImageAlphaInfo::PremultipliedLast;
  imageContexts.push_back(
      {CGBitmapContext::create(nullptr, width, pixelsOf(size.height, scale), width * 4, alphaInfo), scale});
}

std::shared_ptr<UIImage> UIGraphicsGetImageFromCurrentImageContext() {
  const ZELPlatform::ImageContext* context = ZELPlatform::currentImageContext();
  if (!context || !context->bitmap) return nullptr;
  return UIImage::create(context->bitmap->createImage(), context->scale);
}

void UIGraphicsEndImageContext() {
  if (!imageContexts.empty()) imageContexts.pop_back();
}
