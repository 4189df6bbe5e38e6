#pragma once

#include <ZELPlatform/Export.h>
#include <ZELPlatform/MTLTypes.h>

#include <cstddef>
#include <cstdint>
#include <vector>

/// Memory that the GPU reads and writes. Any thread; who uses it at once is the program's business.
class ZELPLATFORM_EXPORT MTLBuffer {
 public:
  virtual ~MTLBuffer() = default;

  virtual size_t length() const = 0;

  /// The bytes of a shared buffer; null for a private one. What the GPU writes is there when its command buffer has
  /// completed.
  virtual void* contents() = 0;
};

/// What a texture is to be. Plain values; a new descriptor asks for a shared, readable texture of no size.
struct MTLTextureDescriptor {
  MTLTextureType textureType = MTLTextureType2D;
  MTLPixelFormat pixelFormat = MTLPixelFormatRGBA8Unorm;
  size_t width = 0;
  size_t height = 0;
  MTLStorageMode storageMode = MTLStorageModeShared;
  /// Values of `MTLTextureUsage`, added.
  uint32_t usage = MTLTextureUsageShaderRead;
};

/// A picture that shaders read, or that passes and compute functions write. Size and format never change. Any thread.
class ZELPLATFORM_EXPORT MTLTexture {
 public:
  virtual ~MTLTexture() = default;

  virtual MTLPixelFormat pixelFormat() const = 0;
  virtual size_t width() const = 0;
  virtual size_t height() const = 0;
  virtual MTLStorageMode storageMode() const = 0;
  /// Values of `MTLTextureUsage`, added.
  virtual uint32_t usage() const = 0;

  /// The library's own: the texels, rows from the top without padding, after all work that was committed so far. Waits
  /// for the GPU; for snapshots and tests. Empty when the driver refuses.
  virtual std::vector<uint8_t> _bytes() { return {}; }

  /// The library's own: the same into rows of the caller's. False when the driver refuses.
  virtual bool _readRows(void* /*rows*/, size_t /*bytesPerRow*/) { return false; }
};
