#pragma once

#include "drivers/vulkan/Image.h"
#include "platform/quartzcore/LayerContents.h"

#include <ZELPlatform/CAMetalLayer.h>
#include <ZELPlatform/MTLDevice.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace ZELPlatform::vulkan {

/// An image that a layer shows.
class ShownImage final : public LayerImage {
 public:
  explicit ShownImage(std::shared_ptr<Texture> texture) : texture_(std::move(texture)) {}

  size_t width() const override { return texture_->width(); }
  size_t height() const override { return texture_->height(); }

  /// The same picture is read from the GPU once, as long as somebody still has it.
  std::shared_ptr<CGImage> readBack() override;

  const std::shared_ptr<Texture>& texture() const { return texture_; }

  /// The image is about to be drawn anew.
  void forgetPicture();

 private:
  std::shared_ptr<Texture> texture_;
  std::mutex mutex_;
  std::weak_ptr<CGImage> picture_;
};

/// The images of one layer, of one size, made as they are needed.
class Ring final : public DrawableRing {
 public:
  Ring(std::shared_ptr<Gpu> gpu, std::shared_ptr<LayerContents> contents, MTLPixelFormat pixelFormat, size_t width,
       size_t height)
      : gpu_(std::move(gpu)),
        contents_(std::move(contents)),
        pixelFormat_(pixelFormat),
        width_(width),
        height_(height) {}

  std::shared_ptr<CAMetalDrawable> next() override;

  /// How many drawables of a ring are out; drawables may outlive their ring.
  struct Count {
    std::mutex mutex;
    std::condition_variable fell;
    size_t out = 0;
  };

 private:
  std::shared_ptr<ShownImage> takeImage();

  std::shared_ptr<Gpu> gpu_;
  std::shared_ptr<LayerContents> contents_;
  const MTLPixelFormat pixelFormat_;
  const size_t width_;
  const size_t height_;
  std::vector<std::shared_ptr<ShownImage>> images_;
  std::shared_ptr<Count> count_ = std::make_shared<Count>();
};

}  // namespace ZELPlatform::vulkan
