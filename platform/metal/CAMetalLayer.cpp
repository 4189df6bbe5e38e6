#include <ZELPlatform/CAMetalLayer.h>

#include <cmath>
#include <utility>

std::shared_ptr<MTLDevice> CAMetalLayer::device() const {
  const std::lock_guard lock(drawableMutex_);
  return device_;
}

void CAMetalLayer::setDevice(std::shared_ptr<MTLDevice> device) {
  const std::lock_guard lock(drawableMutex_);
  if (device_ != device) ring_.reset();
  device_ = std::move(device);
}

MTLPixelFormat CAMetalLayer::pixelFormat() const {
  const std::lock_guard lock(drawableMutex_);
  return pixelFormat_;
}

void CAMetalLayer::setPixelFormat(MTLPixelFormat pixelFormat) {
  const std::lock_guard lock(drawableMutex_);
  if (std::exchange(pixelFormat_, pixelFormat) != pixelFormat) ring_.reset();
}

bool CAMetalLayer::framebufferOnly() const {
  const std::lock_guard lock(drawableMutex_);
  return framebufferOnly_;
}

void CAMetalLayer::setFramebufferOnly(bool framebufferOnly) {
  const std::lock_guard lock(drawableMutex_);
  framebufferOnly_ = framebufferOnly;
}

CGSize CAMetalLayer::drawableSize() const {
  {
    const std::lock_guard lock(drawableMutex_);
    if (drawableSize_) return *drawableSize_;
  }
  const CGSize points = bounds().size;
  const double scale = contentsScale();
  return CGSizeMake(std::ceil(points.width * scale), std::ceil(points.height * scale));
}

void CAMetalLayer::setDrawableSize(CGSize size) {
  const std::lock_guard lock(drawableMutex_);
  drawableSize_ = size;
}

std::shared_ptr<CAMetalDrawable> CAMetalLayer::nextDrawable() {
  const CGSize wanted = drawableSize();
  const CGSize size = CGSizeMake(std::floor(wanted.width), std::floor(wanted.height));
  std::shared_ptr<ZELPlatform::DrawableRing> ring;
  {
    const std::lock_guard lock(drawableMutex_);
    if (!CGSizeEqualToSize(size, ringSize_)) ring_.reset();
    if (!device_ || !(size.width >= 1.0) || !(size.height >= 1.0)) return nullptr;
    const auto limit = static_cast<double>(device_->maximumTextureSize());
    if (size.width > limit || size.height > limit) return nullptr;
    if (!ring_) {
      ring_ = device_->_newDrawableRing(contentsStore(), pixelFormat_, static_cast<size_t>(size.width),
                                        static_cast<size_t>(size.height));
      ringSize_ = size;
    }
    ring = ring_;
  }
  // Waiting is done without the lock, so that sizes can be read and set meanwhile.
  return ring ? ring->next() : nullptr;
}
