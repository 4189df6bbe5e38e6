#pragma once

#include <ZELKit/ZELPixelBufferSource.h>
#include <ZELPlatform/CoreVideo.h>
#include <ZELPlatform/EAGL.h>

#include <memory>

#include "gl/ZELGLTexture.h"

/// Turns the newest frame of a source into GL textures and keeps them until the next new one.
///
/// Used on the render queue with the view's context current; there is no lock. Destruction makes the context current on
/// the calling thread, waits for the GPU, and leaves the context current.
class ZELGLTextureCache {
 public:
  static std::shared_ptr<ZELGLTextureCache> createWithEAGLContext(const std::shared_ptr<EAGLContext>& context);
  ~ZELGLTextureCache();

  /// The textures for that host time: new ones (`updated`), or the last ones again, or null while there are none. A
  /// frame of an unsupported format empties the cache.
  std::shared_ptr<ZELGLTexture> textureFromPixelBufferSource(ZELPixelBufferSource& source, double time);

  ZELGLTextureCache(const ZELGLTextureCache&) = delete;
  ZELGLTextureCache& operator=(const ZELGLTextureCache&) = delete;

 private:
  explicit ZELGLTextureCache(std::shared_ptr<EAGLContext> context);
  void releaseTextures();
  void wrapPixelBuffer(const CVPixelBufferRef& buffer);
  CVOpenGLESTextureRef wrapPlane(const CVPixelBufferRef& buffer, int32_t internalFormat, uint32_t format, int32_t width,
                                 int32_t height, size_t plane);

  std::shared_ptr<EAGLContext> context_;
  std::shared_ptr<CVOpenGLESTextureCache> textureCache_;
  CVOpenGLESTextureRef textureY_;
  CVOpenGLESTextureRef textureUV_;
  CVOpenGLESTextureRef textureRGB_;
  CGSize size_{};
};
