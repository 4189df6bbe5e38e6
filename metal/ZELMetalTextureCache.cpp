#include "metal/ZELMetalTextureCache.h"

#include <cmath>
#include <cstdint>
#include <utility>

namespace {

/// The codes of the two bi-planar formats differ in this bit alone, video range having it set.
constexpr uint32_t kRangeBit = 0x10;

constexpr size_t kLumaPlane = 0;
constexpr size_t kChromaPlane = 1;

/// The display has to have more than this many times the frame's pixels before enlarging pays.
constexpr double kSuperResolutionGain = 2.25;

CGSize sizeOf(const CVPixelBuffer& buffer) {
  return CGSizeMake(static_cast<double>(buffer.width()), static_cast<double>(buffer.height()));
}

std::string sizeText(double width, double height) {
  return std::to_string(static_cast<size_t>(width)) + "x" + std::to_string(static_cast<size_t>(height));
}

/// Whether the display has enough pixels, counted as a whole number, for the enlarged frame.
bool paysToEnlarge(const CVPixelBuffer& buffer, const ZELInternalRenderState& state) {
  const double shown = std::trunc(state.size.width * state.size.height * state.nativeScale * state.nativeScale);
  const CGSize size = sizeOf(buffer);
  return shown > size.width * size.height * kSuperResolutionGain;
}

}  // namespace

std::shared_ptr<ZELMetalTextureCache> ZELMetalTextureCache::createWithMetalDevice(
    std::shared_ptr<MTLDevice> device, std::shared_ptr<DispatchQueue> renderSyncQueue,
    std::shared_ptr<MTLCommandQueue> commandQueue, std::shared_ptr<ZELSuperResolution> superResolution) {
  return std::shared_ptr<ZELMetalTextureCache>(new ZELMetalTextureCache(
      std::move(device), std::move(renderSyncQueue), std::move(commandQueue), std::move(superResolution)));
}

ZELMetalTextureCache::ZELMetalTextureCache(std::shared_ptr<MTLDevice> device,
                                           std::shared_ptr<DispatchQueue> renderSyncQueue,
                                           std::shared_ptr<MTLCommandQueue> commandQueue,
                                           std::shared_ptr<ZELSuperResolution> superResolution)
    : device_(std::move(device)),
      renderSyncQueue_(std::move(renderSyncQueue)),
      commandQueue_(std::move(commandQueue)),
      superResolution_(std::move(superResolution)),
      textureCache_(CVMetalTextureCache::create(device_)) {}

std::shared_ptr<ZELMetalTexture> ZELMetalTextureCache::textureFromPixelBufferSource(
    ZELPixelBufferSource* source, const ZELInternalRenderState& state) {
  if (!processing_ && source && (source->hasNewPixelBufferForTime(state.syncTime) || wantsFrame_)) {
    if (const CVPixelBufferRef buffer = source->copyPixelBufferForTime(state.syncTime)) takeFrame(buffer, state);
  }
  if (currentTexture_) currentTexture_->setUpdated(updated_);
  updated_ = false;
  return currentTexture_;
}

void ZELMetalTextureCache::takeFrame(const CVPixelBufferRef& buffer, const ZELInternalRenderState& state) {
  processing_ = true;
  wantsFrame_ = false;
  updateConfiguration(*buffer, state);
  enlarging_ = decideEnlarging(*buffer, state);
  if (enlarging_ != Enlarging::Done) {
    finish(processBufferSync(buffer));
    return;
  }
  const ZELProjectionType projection =
      state.projection ? state.projection->type() : ZELProjectionType{ZELProjectionTypeFlat};
  if (projection == ZELProjectionTypeFlat) {
    finish(processBufferSRSync(buffer, *superResolver_));
    return;
  }
  // A resolver belongs to flat content: this one was still being made when the projection changed.
  DispatchQueue::globalQueue()->async([self = shared_from_this(), resolver = superResolver_, buffer] {
    std::shared_ptr<ZELMetalTexture> texture = self->processBufferSRSync(buffer, *resolver);
    self->renderSyncQueue_->async([self, texture = std::move(texture)] { self->finish(texture); });
  });
}

void ZELMetalTextureCache::updateConfiguration(const CVPixelBuffer& buffer, const ZELInternalRenderState& state) {
  if (!superResolution_) return;
  std::shared_ptr<const ZELSRConfiguration> configuration =
      superResolution_->configurationWithRenderState(state, sizeOf(buffer), buffer.pixelFormatType());
  if (srConfiguration_ && !srConfiguration_->differsFromConfiguration(*configuration)) return;
  srConfiguration_ = std::move(configuration);
  const std::shared_ptr<const NSURL> modelURL = srConfiguration_->modelURL();
  if (modelURL != currentSRModel_) {
    superResolver_ = nullptr;
    triedSRInit_ = false;
    currentSRModel_ = nullptr;
  }
  if (modelURL && !superResolver_ && !triedSRInit_) {
    triedSRInit_ = true;
    currentSRModel_ = modelURL;
    createResolver(buffer.width(), buffer.height());
  }
}

void ZELMetalTextureCache::createResolver(size_t frameWidth, size_t frameHeight) {
  ++resolversInMaking_;
  DispatchQueue::globalQueue()->async([self = shared_from_this(), modelURL = currentSRModel_, frameWidth, frameHeight] {
    std::shared_ptr<ZELSuperResolver> resolver = self->superResolution_->resolverWithDevice(
        self->device_, self->commandQueue_, modelURL, frameWidth, frameHeight);
    self->renderSyncQueue_->async([self, resolver = std::move(resolver)] {
      --self->resolversInMaking_;
      if (resolver) self->superResolver_ = resolver;
    });
  });
}

ZELMetalTextureCache::Enlarging ZELMetalTextureCache::decideEnlarging(const CVPixelBuffer& buffer,
                                                                      const ZELInternalRenderState& state) const {
  if (superResolver_) return paysToEnlarge(buffer, state) ? Enlarging::Done : Enlarging::TooFewPixels;
  if (!currentSRModel_) return Enlarging::RuledOut;
  return resolversInMaking_ > 0 ? Enlarging::Preparing : Enlarging::Failed;
}

ZELSuperResolutionStatus ZELMetalTextureCache::superResolutionStatus() const {
  switch (enlarging_) {
    case Enlarging::NoFrame:
      return {.description = "off: there is no frame"};
    case Enlarging::Preparing:
      return {.isPreparing = true, .description = "off: the network is being prepared"};
    case Enlarging::Failed:
      return {.description = "off: the network could not be prepared"};
    case Enlarging::TooFewPixels:
      return {.description = "off: the display does not have more than 2.25 times the frame's pixels"};
    case Enlarging::Done:
      return enlargedStatus();
    default:
      return {.description = "off: " + (srConfiguration_ ? srConfiguration_->obstacle() : "not part of this view")};
  }
}

ZELSuperResolutionStatus ZELMetalTextureCache::enlargedStatus() const {
  if (!currentTexture_) return {.description = "off: the frame cannot be drawn"};
  const CGSize size = currentTexture_->size();
  const auto& luma = *currentTexture_->planes().front();
  const auto width = static_cast<double>(luma.width());
  if (width == size.width) return {.description = "off: the network did not enlarge the frame"};
  return {.isActive = true,
          .description = "on: luma enlarged from " + sizeText(size.width, size.height) + " to " +
                         sizeText(width, static_cast<double>(luma.height()))};
}

void ZELMetalTextureCache::finish(std::shared_ptr<ZELMetalTexture> texture) {
  currentTexture_ = std::move(texture);
  updated_ = true;
  processing_ = false;
}

std::shared_ptr<ZELMetalTexture> ZELMetalTextureCache::processBufferSync(const CVPixelBufferRef& buffer) const {
  const uint32_t format = buffer->pixelFormatType();
  if (format == kCVPixelFormatType_32BGRA || format == kCVPixelFormatType_32RGBA) {
    const bool blueFirst = format == kCVPixelFormatType_32BGRA;
    CVMetalTextureRef texture =
        wrapPlane(buffer, blueFirst ? MTLPixelFormatBGRA8Unorm : MTLPixelFormatRGBA8Unorm, kLumaPlane);
    return texture ? ZELMetalTexture::createWithSize(sizeOf(*buffer), std::move(texture)) : nullptr;
  }
  if ((format | kRangeBit) != kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange) return nullptr;
  CVMetalTextureRef luma = wrapPlane(buffer, MTLPixelFormatR8Unorm, kLumaPlane);
  if (!luma) return nullptr;
  CVMetalTextureRef chroma = wrapPlane(buffer, MTLPixelFormatRG8Unorm, kChromaPlane);
  if (!chroma) return nullptr;
  return ZELMetalTexture::createWithSize(sizeOf(*buffer), std::move(luma), std::move(chroma));
}

std::shared_ptr<ZELMetalTexture> ZELMetalTextureCache::processBufferSRSync(const CVPixelBufferRef& buffer,
                                                                           ZELSuperResolver& resolver) const {
  CVMetalTextureRef luma = wrapPlane(buffer, MTLPixelFormatR8Unorm, kLumaPlane);
  CVMetalTextureRef chroma = wrapPlane(buffer, MTLPixelFormatRG8Unorm, kChromaPlane);
  if (!luma || !chroma) return nullptr;
  std::shared_ptr<MTLTexture> superLuma = resolver.superResolveLumaPlane(CVMetalTextureGetTexture(luma));
  if (!superLuma) return ZELMetalTexture::createWithSize(sizeOf(*buffer), std::move(luma), std::move(chroma));
  return ZELMetalTexture::createWithSuperLuma(sizeOf(*buffer), std::move(superLuma), std::move(chroma));
}

CVMetalTextureRef ZELMetalTextureCache::wrapPlane(const CVPixelBufferRef& buffer, MTLPixelFormat format,
                                                  size_t plane) const {
  if (!textureCache_) return nullptr;
  const unsigned halvings = plane == kChromaPlane ? 1 : 0;
  return textureCache_->createTextureFromImage(buffer, format, buffer->width() >> halvings,
                                               buffer->height() >> halvings, plane);
}
