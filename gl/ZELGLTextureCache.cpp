#include "gl/ZELGLTextureCache.h"

#include <GLES2/gl2.h>
#include <GLES2/gl2ext.h>

#include <utility>

namespace {

/// The codes of the two bi-planar formats differ in this bit alone, video range having it set.
constexpr uint32_t kRangeBit = 0x10;

}  // namespace

std::shared_ptr<ZELGLTextureCache> ZELGLTextureCache::createWithEAGLContext(
    const std::shared_ptr<EAGLContext>& context) {
  return std::shared_ptr<ZELGLTextureCache>(new ZELGLTextureCache(context));
}

ZELGLTextureCache::ZELGLTextureCache(std::shared_ptr<EAGLContext> context)
    : context_(std::move(context)), textureCache_(CVOpenGLESTextureCache::create(context_)) {}

ZELGLTextureCache::~ZELGLTextureCache() {
  EAGLContext::setCurrentContext(context_);
  if (context_) glFinish();
  releaseTextures();
  textureCache_ = nullptr;
}

void ZELGLTextureCache::releaseTextures() {
  textureY_ = nullptr;
  textureUV_ = nullptr;
  textureRGB_ = nullptr;
}

std::shared_ptr<ZELGLTexture> ZELGLTextureCache::textureFromPixelBufferSource(ZELPixelBufferSource& source,
                                                                              double time) {
  bool updated = false;
  if (source.hasNewPixelBufferForTime(time)) {
    if (const CVPixelBufferRef buffer = source.copyPixelBufferForTime(time)) {
      wrapPixelBuffer(buffer);
      updated = true;
    }
  }
  if (textureRGB_) {
    return ZELGLTexture::createWithFormat(ZELTextureFormatRGB, {textureRGB_->name()}, size_, updated);
  }
  if (textureY_ && textureUV_) {
    return ZELGLTexture::createWithFormat(ZELTextureFormatYUV, {textureY_->name(), textureUV_->name()}, size_, updated);
  }
  return nullptr;
}

void ZELGLTextureCache::wrapPixelBuffer(const CVPixelBufferRef& buffer) {
  const auto width = static_cast<int32_t>(buffer->width());
  const auto height = static_cast<int32_t>(buffer->height());
  releaseTextures();
  size_ = CGSizeMake(width, height);
  if (!textureCache_) return;
  textureCache_->flush();

  const uint32_t format = buffer->pixelFormatType();
  if (format == kCVPixelFormatType_32RGBA) {
    textureRGB_ = wrapPlane(buffer, GL_RGBA, GL_RGBA, width, height, 0);
  } else if (format == kCVPixelFormatType_32BGRA) {
    textureRGB_ = wrapPlane(buffer, GL_RGBA, GL_BGRA_EXT, width, height, 0);
  } else if ((format | kRangeBit) == kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange) {
    textureY_ = wrapPlane(buffer, GL_LUMINANCE, GL_LUMINANCE, width, height, 0);
    textureUV_ = wrapPlane(buffer, GL_RG_EXT, GL_RG_EXT, width / 2, height / 2, 1);
  }
}

CVOpenGLESTextureRef ZELGLTextureCache::wrapPlane(const CVPixelBufferRef& buffer, int32_t internalFormat,
                                                  uint32_t format, int32_t width, int32_t height, size_t plane) {
  return textureCache_->createTextureFromImage(buffer, GL_TEXTURE_2D, internalFormat, width, height, format,
                                               GL_UNSIGNED_BYTE, plane);
}
