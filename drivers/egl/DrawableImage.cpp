#include "drivers/egl/DrawableImage.h"

#include "drivers/egl/GlState.h"
#include "platform/corevideo/Counters.h"

#include <ZELPlatform/CoreGraphics.h>

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

namespace ZELPlatform {
namespace {

/// One in front, one being composed, one held by a snapshot, one being drawn.
constexpr size_t kRingSize = 4;

/// `GL_ANGLE_pack_reverse_row_order`, which the system's header may not know.
constexpr GLenum kPackReverseRowOrder = 0x93A4;

void turnOver(uint8_t* rows, size_t bytesPerRow, size_t height) {
  for (size_t top = 0, bottom = height - 1; top < bottom; ++top, --bottom) {
    std::swap_ranges(rows + top * bytesPerRow, rows + (top + 1) * bytesPerRow, rows + bottom * bytesPerRow);
  }
}

/// Reads the bound framebuffer, whose first row is the picture's lowest, into rows from the top.
std::shared_ptr<const uint8_t[]> readUpright(GLsizei width, GLsizei height, bool driverTurnsOver) {
  const size_t bytesPerRow = static_cast<size_t>(width) * 4;
  // Not filled before it is read into: that would cost half as much as the reading.
  const std::shared_ptr<uint8_t[]> bytes(new uint8_t[bytesPerRow * static_cast<size_t>(height)]);
  if (driverTurnsOver) glPixelStorei(kPackReverseRowOrder, GL_TRUE);
  glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, bytes.get());
  if (driverTurnsOver) glPixelStorei(kPackReverseRowOrder, GL_FALSE);
  if (!driverTurnsOver) turnOver(bytes.get(), bytesPerRow, static_cast<size_t>(height));
  return bytes;
}

}  // namespace

std::shared_ptr<DrawableImage> DrawableImage::create(EglDriver& driver, GLsizei width, GLsizei height) {
  std::shared_ptr<DrawableImage> image(new DrawableImage(driver, width, height));
  return image->allocate() ? image : nullptr;
}

bool DrawableImage::allocate() {
  ++pixelCounters().drawableImages;
  glGenTextures(1, &texture_);
  const BoundTexture bound(texture_);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  forgetErrors();
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width_, height_, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  if (glGetError() != GL_NO_ERROR) return false;
  if (!driver_.capabilities().imageRenderbuffers) return true;
  const EglDisplay& display = driver_.display();
  const std::array<EGLint, 3> attributes{EGL_GL_TEXTURE_LEVEL_KHR, 0, EGL_NONE};
  const auto buffer = std::bit_cast<EGLClientBuffer>(static_cast<uintptr_t>(texture_));
  eglImage_ =
      display.createImage(display.handle(), eglGetCurrentContext(), EGL_GL_TEXTURE_2D_KHR, buffer, attributes.data());
  return eglImage_ != EGL_NO_IMAGE_KHR;
}

DrawableImage::~DrawableImage() {
  --pixelCounters().drawableImages;
  const EglDisplay& display = driver_.display();
  if (eglImage_ != EGL_NO_IMAGE_KHR) display.destroyImage(display.handle(), eglImage_);
  // The last reference may go on any thread, with any context or none.
  const EglDriver::RootScope scope(driver_);
  if (scope) glDeleteTextures(1, &texture_);
}

std::shared_ptr<CGImage> DrawableImage::readBack() {
  std::shared_ptr<const uint8_t[]> bytes;
  {
    const EglDriver::RootScope scope(driver_);
    if (!scope) return nullptr;
    awaitDrawn();
    const TemporaryFramebuffer framebuffer;
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture_, 0);
    if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) return nullptr;
    bytes = readUpright(width_, height_, driver_.capabilities().packReverseRowOrder);
  }
  return CGImage::create(width(), height(), width() * 4, CGImageAlphaInfo::PremultipliedLast, std::move(bytes));
}

void DrawableImage::setDrawn(std::shared_ptr<Fence> fence) {
  const std::lock_guard lock(mutex_);
  drawn_ = std::move(fence);
}

void DrawableImage::setShown(std::shared_ptr<Fence> fence) {
  const std::lock_guard lock(mutex_);
  shown_ = std::move(fence);
}

void DrawableImage::awaitDrawn() const {
  const std::lock_guard lock(mutex_);
  if (drawn_) drawn_->holdBackCurrentContext();
}

void DrawableImage::awaitShown() const {
  const std::lock_guard lock(mutex_);
  if (shown_) shown_->holdBackCurrentContext();
}

std::shared_ptr<DrawableImage> ImageRing::take() {
  const auto isFree = [](const auto& image) { return image.use_count() == 1; };
  if (const auto found = std::find_if(images_.begin(), images_.end(), isFree); found != images_.end()) {
    (*found)->awaitShown();
    return *found;
  }
  auto image = DrawableImage::create(driver_, width_, height_);
  if (!image) return nullptr;
  // When all are held, the one that was made first is left to its holder, so that drawing never waits for a reader.
  if (images_.size() == kRingSize) images_.erase(images_.begin());
  images_.push_back(image);
  return image;
}

}  // namespace ZELPlatform
