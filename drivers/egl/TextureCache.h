#pragma once

#include "drivers/egl/Capabilities.h"

#include <ZELPlatform/CoreVideo.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace ZELPlatform {

/// A texture's memory; goes with its last reference, for which a context of the share group must be current.
class TextureStorage final : public CVOpenGLESTexture {
 public:
  /// Undefined pixels; null when the driver refuses. Formats as the driver wants them.
  static std::shared_ptr<TextureStorage> create(GLenum internalFormat, GLsizei width, GLsizei height, GLenum format);
  ~TextureStorage() override;

  uint32_t name() const override { return name_; }

 private:
  explicit TextureStorage(GLuint name);

  GLuint name_;
};

/// Uploads planes of pixel buffers into textures, in turn into two storages of each size and format.
class TextureCache final : public CVOpenGLESTextureCache {
 public:
  explicit TextureCache(const Capabilities& capabilities) : capabilities_(capabilities) {}

  CVOpenGLESTextureRef createTextureFromImage(const CVPixelBufferRef& image, uint32_t target, int32_t internalFormat,
                                              int32_t width, int32_t height, uint32_t format, uint32_t type,
                                              size_t planeIndex) override;
  void flush() override;

 private:
  /// How planes of one kind are kept and uploaded.
  struct Layout {
    GLsizei width;
    GLsizei height;
    GLenum internalFormat;
    GLenum format;
    size_t bytesPerPixel;
    bool swizzle;

    bool operator==(const Layout&) const = default;
  };

  /// The storages of one layout, taken in turn: writing one that the GPU still reads would wait for it.
  struct Entry {
    Layout layout;
    std::vector<std::shared_ptr<TextureStorage>> storages;
    size_t lastTaken = 0;
    bool usedSinceFlush = false;
  };

  bool chooseLayout(GLenum internalFormat, GLenum format, Layout* layout) const;
  std::shared_ptr<TextureStorage> takeStorage(const Layout& layout);
  void upload(const CVPixelBuffer::Plane& plane, const Layout& layout, GLuint texture);

  const Capabilities& capabilities_;
  std::vector<Entry> entries_;
  std::vector<uint8_t> swizzled_;
};

}  // namespace ZELPlatform
