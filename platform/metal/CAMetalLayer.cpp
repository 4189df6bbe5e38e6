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
  const std::lock_guard lock(drawableMutex_);
  return drawableSize_;
}

void CAMetalLayer::setDrawableSize(CGSize size) {
  const std::lock_guard lock(drawableMutex_);
  if (size.width != drawableSize_.width || size.height != drawableSize_.height) ring_.reset();
  drawableSize_ = size;
}

std::shared_ptr<CAMetalDrawable> CAMetalLayer::nextDrawable() {
  std::shared_ptr<ZELPlatform::DrawableRing> ring;
  {
    const std::lock_guard lock(drawableMutex_);
    const double width = std::floor(drawableSize_.width);
    const double height = std::floor(drawableSize_.height);
    if (!device_ || !(width >= 1.0) || !(height >= 1.0)) return nullptr;
    const auto limit = static_cast<double>(device_->maximumTextureSize());
    if (width > limit || height > limit) return nullptr;
    if (!ring_) {
      ring_ = device_->_newDrawableRing(contentsStore(), pixelFormat_, static_cast<size_t>(width),
                                        static_cast<size_t>(height));
    }
    ring = ring_;
  }
  // Waiting is done without the lock, so that sizes can be read and set meanwhile.
  return ring ? ring->next() : nullptr;
}
