#include "drivers/vulkan/TextureCache.h"

#include "drivers/vulkan/Transfer.h"
#include "platform/corevideo/PixelBufferAttachments.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

namespace ZELPlatform::vulkan {
namespace {

/// A kind of plane that was not seen for so many planes is forgotten, with its storage.
constexpr uint64_t kRemembered = 16;

class PlaneTexture final : public CVMetalTexture {
 public:
  PlaneTexture(std::shared_ptr<Texture> texture, bool isCopy) : texture_(std::move(texture)), isCopy_(isCopy) {}
  std::shared_ptr<MTLTexture> texture() const override { return texture_; }
  bool isCopy() const override { return isCopy_; }

 private:
  std::shared_ptr<Texture> texture_;
  bool isCopy_;
};

/// An image that is a pixel buffer's memory, and the GPU whose it is; kept with the buffer.
struct ImportedPlane {
  std::shared_ptr<Gpu> gpu;
  std::shared_ptr<Image> image;
};

/// Whether the plane's memory lies as the driver wants it.
bool obeys(const CVPixelBuffer::Plane& plane, const Image::ImportRules& rules, size_t alignment, size_t pixelBytes) {
  if (rules.size == 0 || rules.bytesPerRow != plane.bytesPerRow) return false;
  if (reinterpret_cast<uintptr_t>(plane.baseAddress) % alignment != 0) return false;
  // Of what lies behind the last row, the rest of its page is there for sure.
  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t bytes = plane.bytesPerRow * (plane.height - 1) + plane.width * pixelBytes;
  return rules.size <= (bytes + page - 1) / page * page;
}

}  // namespace

CVMetalTextureRef TextureCache::createTextureFromImage(const CVPixelBufferRef& image, MTLPixelFormat pixelFormat,
                                                       size_t width, size_t height, size_t planeIndex) {
  const size_t limit = gpu_->capabilities().maximumTextureSize;
  const size_t pixelBytes = bytesPerPixel(pixelFormat);
  if (!image || pixelBytes == 0 || width == 0 || height == 0 || width > limit || height > limit) return nullptr;
  const CVPixelBuffer::Plane plane = image->plane(planeIndex);
  if (!plane.baseAddress || plane.width < width || plane.height < height || plane.bytesPerRow < width * pixelBytes) {
    return nullptr;
  }
  const std::lock_guard lock(mutex_);
  Kind& kind = kindOf(pixelFormat, width, height);
  if (auto imported = import(*image, planeIndex, kind)) {
    return std::make_shared<PlaneTexture>(std::make_shared<Texture>(std::move(imported), MTLStorageModeShared, image),
                                          false);
  }
  auto uploaded = upload(plane, &kind);
  if (!uploaded) return nullptr;
  return std::make_shared<PlaneTexture>(std::make_shared<Texture>(std::move(uploaded), MTLStorageModeShared), true);
}

TextureCache::Kind& TextureCache::kindOf(MTLPixelFormat format, size_t width, size_t height) {
  ++uses_;
  std::erase_if(kinds_, [this](const Kind& kind) { return kind.lastUse + kRemembered < uses_; });
  auto kind = std::find_if(kinds_.begin(), kinds_.end(), [&](const Kind& known) {
    return known.format == format && known.width == width && known.height == height;
  });
  if (kind == kinds_.end()) {
    kind =
        kinds_.insert(kinds_.end(), Kind{format, width, height, Image::importRules(*gpu_, format, width, height), {}});
  }
  kind->lastUse = uses_;
  kind->usedSinceFlush = true;
  return *kind;
}

std::shared_ptr<Image> TextureCache::import(const CVPixelBuffer& buffer, size_t planeIndex, const Kind& kind) const {
  const CVPixelBuffer::Plane plane = buffer.plane(planeIndex);
  if (!obeys(plane, kind.rules, gpu_->capabilities().hostPointerAlignment, bytesPerPixel(kind.format))) return nullptr;
  const PixelBufferAttachments::Key key{gpu_.get(), planeIndex, kind.format, kind.width, kind.height};
  const auto attached = buffer._attachments().findOrMake(key, [&]() -> std::shared_ptr<void> {
    auto image = Image::import(*gpu_, kind.format, kind.width, kind.height, plane);
    return image ? std::make_shared<ImportedPlane>(ImportedPlane{gpu_, std::move(image)}) : nullptr;
  });
  return attached ? std::static_pointer_cast<ImportedPlane>(attached)->image : nullptr;
}

std::shared_ptr<Image> TextureCache::upload(const CVPixelBuffer::Plane& plane, Kind* kind) const {
  auto& storages = kind->storages;
  // Whoever uses a storage holds it, the GPU's work too: one that nobody holds can be written.
  auto storage = std::find_if(storages.begin(), storages.end(), [](const auto& kept) { return kept.use_count() == 1; });
  if (storage == storages.end()) {
    auto made = Image::createForUpload(*gpu_, kind->format, kind->width, kind->height);
    if (!made) return nullptr;
    storage = storages.insert(storages.end(), std::move(made));
  }
  const auto* rows = static_cast<const uint8_t*>(plane.baseAddress);
  return gpu_->transfer().upload(*storage, rows, plane.bytesPerRow) ? *storage : nullptr;
}

void TextureCache::flush() {
  const std::lock_guard lock(mutex_);
  for (Kind& kind : kinds_) {
    if (!kind.usedSinceFlush) {
      std::erase_if(kind.storages, [](const auto& storage) { return storage.use_count() == 1; });
    }
    kind.usedSinceFlush = false;
  }
}

}  // namespace ZELPlatform::vulkan
