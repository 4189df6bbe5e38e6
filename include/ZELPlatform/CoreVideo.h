#pragma once

#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/Export.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

class EAGLContext;

namespace ZELPlatform {
class PixelBufferAttachments;
}

/// Four-character codes of pixel formats.
enum : uint32_t {
  kCVPixelFormatType_32BGRA = 0x42475241,                        // 'BGRA'
  kCVPixelFormatType_32RGBA = 0x52474241,                        // 'RGBA'
  kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange = 0x34323076,  // '420v'
  kCVPixelFormatType_420YpCbCr8BiPlanarFullRange = 0x34323066,   // '420f'
  kCVPixelFormatType_16LE565 = 0x4C353635,                       // 'L565'
};

/// What a pixel buffer is meant for; hints that change how memory is laid out, never whether creation succeeds.
struct CVPixelBufferAttributes {
  bool metalCompatibility = false;
  bool openGLESCompatibility = false;
  /// Stands for an empty dictionary of surface properties: the buffer can be shared without a copy.
  bool ioSurfaceProperties = false;
};

class CVPixelBuffer;

/// A counted reference to a pixel buffer. "Retain" and "release" are copying and dropping it.
using CVPixelBufferRef = std::shared_ptr<CVPixelBuffer>;

/// A frame in memory: one plane of 32-bit (or 16-bit) pixels, or a luma and an interleaved half-size chroma plane.
///
/// Size and layout never change. The bytes are the caller's to guard: write before handing the buffer on. Any thread.
class ZELPLATFORM_EXPORT CVPixelBuffer {
 public:
  struct Plane {
    void* baseAddress = nullptr;
    size_t width = 0;
    size_t height = 0;
    size_t bytesPerRow = 0;
  };

  /// Allocates zeroed memory; null for a zero or absurd size (a side above 65,536) or an unknown format.
  ///
  /// 32-bit buffers have rows of exactly four bytes times the width. Two-plane buffers are page-aligned with rows
  /// padded to 64 bytes and a multiple of four rows, so that a driver can import them; an odd side rounds the chroma
  /// plane up.
  static CVPixelBufferRef create(size_t width, size_t height, uint32_t pixelFormatType,
                                 const CVPixelBufferAttributes& attributes = {});

  /// Wraps one plane of the caller's memory without a copy; `release` is called once, on the thread that drops the last
  /// reference. Null (and `release` is not called) when an argument makes no sense.
  static CVPixelBufferRef createWithBytes(size_t width, size_t height, uint32_t pixelFormatType, void* baseAddress,
                                          size_t bytesPerRow, std::function<void()> release = {},
                                          const CVPixelBufferAttributes& attributes = {});

  /// The same for the two planes of a 4:2:0 format.
  static CVPixelBufferRef createWithPlanarBytes(size_t width, size_t height, uint32_t pixelFormatType,
                                                const std::array<Plane, 2>& planes, std::function<void()> release = {},
                                                const CVPixelBufferAttributes& attributes = {});

  ~CVPixelBuffer();

  size_t width() const { return width_; }
  size_t height() const { return height_; }
  uint32_t pixelFormatType() const { return format_; }
  const CVPixelBufferAttributes& attributes() const { return attributes_; }

  /// 0 for a packed buffer, 2 for a two-plane one.
  size_t planeCount() const { return planeCount_; }

  /// Plane `index` (0 also names the only plane of a packed buffer); all zero past the last one.
  Plane plane(size_t index) const { return index < planes_.size() ? planes_[index] : Plane{}; }

  void* baseAddress() const { return planes_[0].baseAddress; }
  size_t bytesPerRow() const { return planes_[0].bytesPerRow; }

  /// The library's own: what drivers keep with the buffer as long as its memory is there.
  ZELPlatform::PixelBufferAttachments& _attachments() const { return *attachments_; }

  CVPixelBuffer(const CVPixelBuffer&) = delete;
  CVPixelBuffer& operator=(const CVPixelBuffer&) = delete;

 private:
  CVPixelBuffer();
  size_t width_ = 0;
  size_t height_ = 0;
  uint32_t format_ = 0;
  CVPixelBufferAttributes attributes_;
  size_t planeCount_ = 0;
  std::array<Plane, 2> planes_{};
  std::function<void()> release_;
  std::unique_ptr<ZELPlatform::PixelBufferAttachments> attachments_;
};

/// One plane of a pixel buffer as an OpenGL ES texture. Dropping the last reference gives the texture back to its
/// cache.
class ZELPLATFORM_EXPORT CVOpenGLESTexture {
 public:
  virtual ~CVOpenGLESTexture() = default;

  /// The texture name in the cache's context; never 0.
  virtual uint32_t name() const = 0;
};

using CVOpenGLESTextureRef = std::shared_ptr<CVOpenGLESTexture>;

/// Makes OpenGL ES textures of pixel buffers' planes, keeping the storage of released ones for the next frame.
///
/// `create` may be called on any thread. Everything else belongs to the thread on which the cache's context is current;
/// destruction of the cache and of its textures needs that context current too.
class ZELPLATFORM_EXPORT CVOpenGLESTextureCache {
 public:
  virtual ~CVOpenGLESTextureCache() = default;

  /// Null without a context.
  static std::shared_ptr<CVOpenGLESTextureCache> create(const std::shared_ptr<EAGLContext>& context);

  /// Wraps plane `planeIndex` with the given GL formats and size. Null when the buffer is null or has no such plane,
  /// the plane is smaller than the size, a side is 0 or above the context's limit, or the driver refuses.
  ///
  /// Where the memory cannot be wrapped it is uploaded. `GL_RGBA` with `GL_BGRA_EXT` means what its name says also
  /// where the driver wants both formats equal.
  virtual CVOpenGLESTextureRef createTextureFromImage(const CVPixelBufferRef& image, uint32_t target,
                                                      int32_t internalFormat, int32_t width, int32_t height,
                                                      uint32_t format, uint32_t type, size_t planeIndex) = 0;

  /// Drops storage that no living texture uses and that was not used again since the flush before.
  virtual void flush() = 0;
};
