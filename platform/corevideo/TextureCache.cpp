#include "platform/eagl/GLDriver.h"

#include <ZELPlatform/CoreVideo.h>

std::shared_ptr<CVOpenGLESTextureCache> CVOpenGLESTextureCache::create(const std::shared_ptr<EAGLContext>& context) {
  if (!context) return nullptr;
  ZELPlatform::GLDriver* driver = ZELPlatform::activeGLDriver();
  return driver ? driver->createTextureCache(context) : nullptr;
}
