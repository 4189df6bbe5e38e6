#pragma once

#include <ZELKit/ZELPixelBufferSource.h>
#include <ZELKit/ZELSuperResolutionStatus.h>
#include <ZELKit/internal/ZELInternalRenderState.h>
#include <ZELKit/internal/ZELSuperResolution.h>
#include <ZELPlatform/CVMetalTextureCache.h>
#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/MTLDevice.h>

#include <memory>
#include <string>

#include "metal/ZELMetalTexture.h"

/// Turns the newest frame of a source into Metal textures, its luma plane enlarged where that pays, and keeps them
/// until the next new one.
///
/// Used on the render queue, which is handed over as `renderSyncQueue`; there is no lock. Resolvers are made, and a few
/// frames enlarged, on the global queue; what comes of it is handed over on the render queue.
class ZELMetalTextureCache : public std::enable_shared_from_this<ZELMetalTextureCache> {
 public:
  /// Never null; without a device, or one that cannot make textures of pixel buffers, no frame yields a texture.
  /// Without `superResolution` nothing is enlarged.
  static std::shared_ptr<ZELMetalTextureCache> createWithMetalDevice(
      std::shared_ptr<MTLDevice> device, std::shared_ptr<DispatchQueue> renderSyncQueue,
      std::shared_ptr<MTLCommandQueue> commandQueue, std::shared_ptr<ZELSuperResolution> superResolution = nullptr);

  /// The texture for the state's time: a new one (`updated`), or the last one again, or null while there is none or
  /// when the last frame could not be converted. The source may be null.
  ///
  /// A frame that is being enlarged on the global queue is not waited for: the last texture is returned, and no further
  /// frame taken, until it is finished.
  std::shared_ptr<ZELMetalTexture> textureFromPixelBufferSource(ZELPixelBufferSource* source,
                                                                const ZELInternalRenderState& state);

  /// Has the next request take the source's frame even if it is not new: for a cache that takes over from another one.
  void wantFrame() { wantsFrame_ = true; }

  /// The texture that was handed out last, or null.
  const std::shared_ptr<ZELMetalTexture>& currentTexture() const { return currentTexture_; }

  /// What was decided for the frame that was taken last.
  ZELSuperResolutionStatus superResolutionStatus() const;

  ZELMetalTextureCache(const ZELMetalTextureCache&) = delete;
  ZELMetalTextureCache& operator=(const ZELMetalTextureCache&) = delete;

 private:
  /// What becomes of a frame's luma plane.
  enum class Enlarging { NoFrame, RuledOut, Preparing, Failed, TooFewPixels, Done };

  ZELMetalTextureCache(std::shared_ptr<MTLDevice> device, std::shared_ptr<DispatchQueue> renderSyncQueue,
                       std::shared_ptr<MTLCommandQueue> commandQueue,
                       std::shared_ptr<ZELSuperResolution> superResolution);

  void takeFrame(const CVPixelBufferRef& buffer, const ZELInternalRenderState& state);
  void updateConfiguration(const CVPixelBuffer& buffer, const ZELInternalRenderState& state);
  void createResolver(size_t frameWidth, size_t frameHeight);
  Enlarging decideEnlarging(const CVPixelBuffer& buffer, const ZELInternalRenderState& state) const;
  ZELSuperResolutionStatus enlargedStatus() const;
  void finish(std::shared_ptr<ZELMetalTexture> texture);

  /// The buffer's planes as they are; null when the format is not supported or a plane cannot be made.
  std::shared_ptr<ZELMetalTexture> processBufferSync(const CVPixelBufferRef& buffer) const;
  /// The planes of a two-plane buffer, the luma plane enlarged if the resolver can.
  std::shared_ptr<ZELMetalTexture> processBufferSRSync(const CVPixelBufferRef& buffer,
                                                       ZELSuperResolver& resolver) const;
  CVMetalTextureRef wrapPlane(const CVPixelBufferRef& buffer, MTLPixelFormat format, size_t plane) const;

  const std::shared_ptr<MTLDevice> device_;
  const std::shared_ptr<DispatchQueue> renderSyncQueue_;
  const std::shared_ptr<MTLCommandQueue> commandQueue_;
  const std::shared_ptr<ZELSuperResolution> superResolution_;
  const std::shared_ptr<CVMetalTextureCache> textureCache_;

  std::shared_ptr<ZELMetalTexture> currentTexture_;
  /// A frame is being converted.
  bool processing_ = false;
  bool wantsFrame_ = false;
  /// A frame was finished since the last request.
  bool updated_ = false;
  std::shared_ptr<const ZELSRConfiguration> srConfiguration_;
  /// The model of the present or coming resolver.
  std::shared_ptr<const NSURL> currentSRModel_;
  /// The making of a resolver for that model was started; when it fails it is not tried again.
  bool triedSRInit_ = false;
  std::shared_ptr<ZELSuperResolver> superResolver_;
  int resolversInMaking_ = 0;
  Enlarging enlarging_ = Enlarging::NoFrame;
};
