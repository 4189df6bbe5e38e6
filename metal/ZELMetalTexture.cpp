#include "metal/ZELMetalTexture.h"

#include <algorithm>
#include <utility>

ZELMetalTexture::ZELMetalTexture(ZELTextureFormat format, CGSize size, std::vector<std::shared_ptr<MTLTexture>> planes,
                                 std::vector<CVMetalTextureRef> storage)
    : format_(format), size_(size), planes_(std::move(planes)), storage_(std::move(storage)) {}

std::shared_ptr<ZELMetalTexture> ZELMetalTexture::createWithSize(CGSize size, CVMetalTextureRef rgbTexture) {
  std::shared_ptr<MTLTexture> plane = CVMetalTextureGetTexture(rgbTexture);
  return std::shared_ptr<ZELMetalTexture>(
      new ZELMetalTexture(ZELTextureFormatRGB, size, {std::move(plane)}, {std::move(rgbTexture)}));
}

std::shared_ptr<ZELMetalTexture> ZELMetalTexture::createWithSize(CGSize size, CVMetalTextureRef lumaTexture,
                                                                 CVMetalTextureRef chromaTexture) {
  std::vector<std::shared_ptr<MTLTexture>> planes = {CVMetalTextureGetTexture(lumaTexture),
                                                     CVMetalTextureGetTexture(chromaTexture)};
  return std::shared_ptr<ZELMetalTexture>(new ZELMetalTexture(ZELTextureFormatYUV, size, std::move(planes),
                                                              {std::move(lumaTexture), std::move(chromaTexture)}));
}

std::shared_ptr<ZELMetalTexture> ZELMetalTexture::createWithSuperLuma(CGSize size,
                                                                      std::shared_ptr<MTLTexture> superLumaTexture,
                                                                      CVMetalTextureRef chromaTexture) {
  std::vector<std::shared_ptr<MTLTexture>> planes = {std::move(superLumaTexture),
                                                     CVMetalTextureGetTexture(chromaTexture)};
  return std::shared_ptr<ZELMetalTexture>(
      new ZELMetalTexture(ZELTextureFormatYUV, size, std::move(planes), {std::move(chromaTexture)}));
}

bool ZELMetalTexture::isCopy() const {
  return std::ranges::any_of(storage_, [](const CVMetalTextureRef& plane) { return plane && plane->isCopy(); });
}

void ZELMetalTexture::acquirePlanes() {
  const std::lock_guard lock(mutex_);
  acquired_.insert(acquired_.end(), storage_.begin(), storage_.end());
}

void ZELMetalTexture::releasePlanes() {
  const std::lock_guard lock(mutex_);
  if (acquired_.size() < storage_.size()) return;
  acquired_.resize(acquired_.size() - storage_.size());
}
