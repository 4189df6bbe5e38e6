#pragma once

#include "drivers/egl/EglDriver.h"
#include "drivers/egl/Fence.h"
#include "platform/quartzcore/LayerContents.h"

#include <memory>
#include <mutex>
#include <vector>

namespace ZELPlatform {

/// An RGBA texture that a layer shows, and the fences that keep its producer and its consumer apart.
class DrawableImage final : public LayerImage {
 public:
  /// Undefined pixels; null when memory is short. Needs a current context of the driver.
  static std::shared_ptr<DrawableImage> create(EglDriver& driver, GLsizei width, GLsizei height);
  ~DrawableImage() override;

  size_t width() const override { return static_cast<size_t>(width_); }
  size_t height() const override { return static_cast<size_t>(height_); }
  std::shared_ptr<CGImage> readBack() override;

  GLuint texture() const { return texture_; }

  /// The texture as an EGL image; `EGL_NO_IMAGE_KHR` where drawables are copied.
  EGLImageKHR eglImage() const { return eglImage_; }

  /// Notes the end of drawing into the image, of showing it.
  void setDrawn(std::shared_ptr<Fence> fence);
  void setShown(std::shared_ptr<Fence> fence);

  /// Hold back the current context until the image was drawn, or shown.
  void awaitDrawn() const;
  void awaitShown() const;

 private:
  DrawableImage(EglDriver& driver, GLsizei width, GLsizei height) : driver_(driver), width_(width), height_(height) {}
  bool allocate();

  EglDriver& driver_;
  const GLsizei width_;
  const GLsizei height_;
  GLuint texture_ = 0;
  EGLImageKHR eglImage_ = EGL_NO_IMAGE_KHR;
  mutable std::mutex mutex_;
  std::shared_ptr<Fence> drawn_;
  std::shared_ptr<Fence> shown_;
};

/// The images of one drawable, made as they are needed. Belongs to the drawable's thread.
class ImageRing {
 public:
  ImageRing(EglDriver& driver, GLsizei width, GLsizei height) : driver_(driver), width_(width), height_(height) {}

  GLsizei width() const { return width_; }
  GLsizei height() const { return height_; }

  /// An image that nobody shows, reads or draws into, with the current context held back until its consumer is done
  /// with it; null when memory is short. Needs a current context of the driver.
  std::shared_ptr<DrawableImage> take();

 private:
  EglDriver& driver_;
  const GLsizei width_;
  const GLsizei height_;
  std::vector<std::shared_ptr<DrawableImage>> images_;
};

}  // namespace ZELPlatform
