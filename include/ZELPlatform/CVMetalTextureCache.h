#pragma once

#include <ZELPlatform/CoreVideo.h>
#include <ZELPlatform/Export.h>
#include <ZELPlatform/MTLDevice.h>

#include <cstddef>
#include <memory>

/// One plane of a pixel buffer as a texture. It holds the pixel buffer; dropping the last reference gives both back. A
/// command buffer that uses the texture holds what the GPU reads, too. Any thread.
class ZELPLATFORM_EXPORT CVMetalTexture {
 public:
  virtual ~CVMetalTexture() = default;

  /// Never null for a texture of a cache.
  virtual std::shared_ptr<MTLTexture> texture() const = 0;

  /// Whether the texels were copied; else they are the pixel buffer's own memory.
  virtual bool isCopy() const = 0;
};

using CVMetalTextureRef = std::shared_ptr<CVMetalTexture>;

inline std::shared_ptr<MTLTexture> CVMetalTextureGetTexture(const CVMetalTextureRef& texture) {
  return texture ? texture->texture() : nullptr;
}

/// Makes textures of pixel buffers' planes, without a copy where the memory allows it.
///
/// Any thread. What the program writes into a buffer before it asks for the texture is what the GPU reads.
class ZELPLATFORM_EXPORT CVMetalTextureCache {
 public:
  virtual ~CVMetalTextureCache() = default;

  /// Null without a device, or when the device has none.
  static std::shared_ptr<CVMetalTextureCache> create(const std::shared_ptr<MTLDevice>& device);

  /// Wraps plane `planeIndex` with the given format and size. Null when the buffer is null or has no such plane, the
  /// plane is smaller than the size, a side is 0 or above the device's limit, or the driver refuses.
  virtual CVMetalTextureRef createTextureFromImage(const CVPixelBufferRef& image, MTLPixelFormat pixelFormat,
                                                   size_t width, size_t height, size_t planeIndex) = 0;

  /// Drops storage that no living texture uses and that was not used again since the flush before.
  virtual void flush() = 0;
};
