#include "drivers/egl/Capabilities.h"

#include <algorithm>
#include <array>

namespace ZELPlatform {
namespace {

std::string text(GLenum name) {
  const auto* value = reinterpret_cast<const char*>(glGetString(name));
  return value ? value : "";
}

int32_t drawableLimit(int32_t maximumTextureSize) {
  GLint renderbuffer = 0;
  std::array<GLint, 2> viewport{};
  glGetIntegerv(GL_MAX_RENDERBUFFER_SIZE, &renderbuffer);
  glGetIntegerv(GL_MAX_VIEWPORT_DIMS, viewport.data());
  return std::min({maximumTextureSize, renderbuffer, viewport[0], viewport[1]});
}

}  // namespace

Capabilities Capabilities::ask(const EglDisplay& display) {
  const std::string extensions = text(GL_EXTENSIONS);
  const auto has = [&extensions](const char* name) { return listsExtension(extensions.c_str(), name); };
  Capabilities result;
  if (has("GL_OES_EGL_image") && display.createImage && display.destroyImage) {
    result.imageTargetRenderbufferStorage = reinterpret_cast<PFNGLEGLIMAGETARGETRENDERBUFFERSTORAGEOESPROC>(
        eglGetProcAddress("glEGLImageTargetRenderbufferStorageOES"));
  }
  result.imageRenderbuffers = result.imageTargetRenderbufferStorage != nullptr;
  const bool bgraByAnyName = has("GL_APPLE_texture_format_BGRA8888");
  result.bgraNamedTwice = !bgraByAnyName && has("GL_EXT_texture_format_BGRA8888");
  result.bgraTextures = bgraByAnyName || result.bgraNamedTwice;
  result.rgTextures = has("GL_EXT_texture_rg");
  result.unpackRowLength = has("GL_EXT_unpack_subimage");
  result.packReverseRowOrder = has("GL_ANGLE_pack_reverse_row_order");
  result.eightBitRenderbuffers = has("GL_OES_rgb8_rgba8");
  glGetIntegerv(GL_MAX_TEXTURE_SIZE, &result.maximumTextureSize);
  result.maximumDrawableSize = drawableLimit(result.maximumTextureSize);
  result.renderer = text(GL_RENDERER) + ", " + text(GL_VERSION);
  return result;
}

}  // namespace ZELPlatform
