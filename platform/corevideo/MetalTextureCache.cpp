#include <ZELPlatform/CVMetalTextureCache.h>

std::shared_ptr<CVMetalTextureCache> CVMetalTextureCache::create(const std::shared_ptr<MTLDevice>& device) {
  return device ? device->_newTextureCache() : nullptr;
}
