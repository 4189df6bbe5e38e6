#pragma once

#include "drivers/vulkan/Handle.h"

#include <ZELPlatform/CoreVideo.h>
#include <ZELPlatform/MTLResource.h>

#include <atomic>
#include <memory>
#include <mutex>

namespace ZELPlatform::vulkan {

/// A barrier of a whole image from one layout and access to another.
VkImageMemoryBarrier imageBarrier(VkImage image, VkImageLayout from, VkAccessFlags written, VkImageLayout to,
                                  VkAccessFlags next);

/// A Vulkan image with its memory and view. Between commands it rests in one layout, its home, which its usage decides;
/// whatever needs another layout brings it back there. Any thread.
///
/// Whoever holds an image holds its GPU as well.
class Image {
 public:
  /// An image in memory of the GPU, zero-filled unless it is only to be uploaded to; null when the format does not
  /// allow the usage, a side is 0 or too large, or memory is short. `usage`: values of `MTLTextureUsage`.
  static std::shared_ptr<Image> create(Gpu& gpu, MTLPixelFormat format, size_t width, size_t height, uint32_t usage);
  static std::shared_ptr<Image> createForUpload(Gpu& gpu, MTLPixelFormat format, size_t width, size_t height);

  /// An image for reading that is the plane's own memory; null where the memory or the driver does not allow it. It
  /// must go before the memory does.
  static std::shared_ptr<Image> import(Gpu& gpu, MTLPixelFormat format, size_t width, size_t height,
                                       const CVPixelBuffer::Plane& plane);

  /// How the driver wants the memory of an imported image to lie; `size` is 0 where it takes none.
  struct ImportRules {
    size_t bytesPerRow = 0;
    size_t size = 0;
  };
  static ImportRules importRules(Gpu& gpu, MTLPixelFormat format, size_t width, size_t height);

  Gpu& gpu() const { return gpu_; }
  VkImage handle() const { return image_.get(); }
  VkImageView view() const { return view_.get(); }
  VkImageLayout home() const { return home_; }
  MTLPixelFormat format() const { return format_; }
  size_t width() const { return width_; }
  size_t height() const { return height_; }
  uint32_t usage() const { return usage_; }
  VkExtent2D extent() const { return {static_cast<uint32_t>(width_), static_cast<uint32_t>(height_)}; }

  /// The framebuffer of the image alone, made once; null when memory is short.
  VkFramebuffer framebuffer();

  VkImageMemoryBarrier barrier(VkImageLayout from, VkAccessFlags written, VkImageLayout to, VkAccessFlags next) const {
    return imageBarrier(handle(), from, written, to, next);
  }

  /// Whether an imported image was not yet brought to its home; the commands that first use it do so.
  bool isAwayFromHome() const { return away_.load(std::memory_order_relaxed); }
  void setHome() { away_.store(false, std::memory_order_relaxed); }

  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

 private:
  Image(Gpu& gpu, MTLPixelFormat format, size_t width, size_t height, uint32_t usage);
  bool isSensible() const;
  bool allocate();
  ImportRules prepareImport();
  bool bindImported(void* memory);
  bool makeView();

  Gpu& gpu_;
  const MTLPixelFormat format_;
  const size_t width_;
  const size_t height_;
  const uint32_t usage_;
  VkImageLayout home_;
  std::atomic<bool> away_{false};
  MemoryHandle memory_;
  ImageHandle image_;
  ImageViewHandle view_;
  std::mutex framebufferMutex_;
  FramebufferHandle framebuffer_;
};

/// An image as the service's texture, and what must live as long as the texture does.
class Texture final : public MTLTexture {
 public:
  Texture(std::shared_ptr<Image> image, MTLStorageMode storageMode, std::shared_ptr<const void> owner = nullptr)
      : gpu_(image->gpu().shared_from_this()),
        owner_(std::move(owner)),
        image_(std::move(image)),
        storageMode_(storageMode) {}

  MTLPixelFormat pixelFormat() const override { return image_->format(); }
  size_t width() const override { return image_->width(); }
  size_t height() const override { return image_->height(); }
  MTLStorageMode storageMode() const override { return storageMode_; }
  uint32_t usage() const override { return image_->usage(); }
  std::vector<uint8_t> _bytes() override;
  bool _readRows(void* rows, size_t bytesPerRow) override;

  const std::shared_ptr<Image>& image() const { return image_; }

 private:
  // In this order: the image goes before its memory's owner and its GPU.
  std::shared_ptr<Gpu> gpu_;
  std::shared_ptr<const void> owner_;
  std::shared_ptr<Image> image_;
  MTLStorageMode storageMode_;
};

}  // namespace ZELPlatform::vulkan
