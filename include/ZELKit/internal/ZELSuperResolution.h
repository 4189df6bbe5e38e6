#pragma once

#include <ZELKit/internal/ZELInternalRenderState.h>
#include <ZELPlatform/CGGeometry.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

class MTLCommandQueue;
class MTLDevice;
class MTLTexture;
class NSURL;

/// What decides whether, and with which model, a frame's luma plane is enlarged. Immutable; any thread.
class ZELSRConfiguration {
 public:
  virtual ~ZELSRConfiguration() = default;

  /// Whether any of the deciding values differs.
  virtual bool differsFromConfiguration(const ZELSRConfiguration& other) const = 0;

  /// The model's file, or null when the frame is not to be enlarged. Two are the same model only if they are the same
  /// object.
  virtual std::shared_ptr<const NSURL> modelURL() const = 0;

  /// Why there is no model, in a few words for people; empty when there is one, or when nothing can be said.
  virtual std::string obstacle() const { return {}; }
};

/// Enlarges luma planes of one size with one model. One thread at a time.
class ZELSuperResolver {
 public:
  virtual ~ZELSuperResolver() = default;

  /// The enlarged plane, one texture for all frames: its GPU work is committed to the resolver's command queue and not
  /// waited for. Null when the plane cannot be enlarged.
  virtual std::shared_ptr<MTLTexture> superResolveLumaPlane(const std::shared_ptr<MTLTexture>& luma) = 0;
};

/// Makes both. Any thread.
class ZELSuperResolution {
 public:
  virtual ~ZELSuperResolution() = default;

  /// For a frame of that size and pixel format, shown as the state says. Never null.
  virtual std::shared_ptr<const ZELSRConfiguration> configurationWithRenderState(const ZELInternalRenderState& state,
                                                                                 CGSize textureSize,
                                                                                 uint32_t bufferFormat) = 0;

  /// Reads the model and prepares the GPU, which takes its time; null when either fails.
  virtual std::shared_ptr<ZELSuperResolver> resolverWithDevice(const std::shared_ptr<MTLDevice>& device,
                                                               const std::shared_ptr<MTLCommandQueue>& commandQueue,
                                                               const std::shared_ptr<const NSURL>& modelURL,
                                                               size_t frameWidth, size_t frameHeight) = 0;
};
