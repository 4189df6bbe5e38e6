#pragma once

#include "drivers/vulkan/Image.h"

#include <ZELPlatform/CVMetalTextureCache.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace ZELPlatform::vulkan {

/// Wraps the planes of pixel buffers where their memory can be the texture; uploads the others into storage that is
/// used again.
class TextureCache final : public CVMetalTextureCache {
 public:
  explicit TextureCache(std::shared_ptr<Gpu> gpu) : gpu_(std::move(gpu)) {}

  CVMetalTextureRef createTextureFromImage(const CVPixelBufferRef& image, MTLPixelFormat pixelFormat, size_t width,
                                           size_t height, size_t planeIndex) override;
  void flush() override;

 private:
  /// What is known and kept for planes of one kind.
  struct Kind {
    MTLPixelFormat format;
    size_t width;
    size_t height;
    Image::ImportRules rules;
    std::vector<std::shared_ptr<Image>> storages;
    uint64_t lastUse = 0;
    bool usedSinceFlush = true;
  };

  Kind& kindOf(MTLPixelFormat format, size_t width, size_t height);
  std::shared_ptr<Image> import(const CVPixelBuffer& buffer, size_t planeIndex, const Kind& kind) const;
  std::shared_ptr<Image> upload(const CVPixelBuffer::Plane& plane, Kind* kind) const;

  std::shared_ptr<Gpu> gpu_;
  std::mutex mutex_;
  std::vector<Kind> kinds_;
  uint64_t uses_ = 0;
};

}  // namespace ZELPlatform::vulkan
