#pragma once

#include <ZELKit/internal/ZELNetworkFramework.h>
#include <ZELKit/internal/ZELSuperResolution.h>
#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/MTLDevice.h>
#include <ZELPlatform/NSURL.h>

/// Enlarges luma planes with a framework's network.
///
/// Nothing waits for anything here: the network commits its work to the queue that draws the frame afterwards, whose
/// command buffers run in order. One output texture serves every frame for the same reason.
class ZELCNNSuperResolver final : public ZELSuperResolver {
 public:
  /// Null without the shader library or the model. A network that the framework cannot make is no failure: what the
  /// resolver then gives out was never written.
  static std::shared_ptr<ZELCNNSuperResolver> createWithDevice(ZELNetworkFramework& framework,
                                                               const std::shared_ptr<MTLDevice>& device,
                                                               const std::shared_ptr<MTLCommandQueue>& commandQueue,
                                                               const std::shared_ptr<const NSURL>& modelURL,
                                                               size_t frameWidth, size_t frameHeight);

  std::shared_ptr<MTLTexture> superResolveLumaPlane(const std::shared_ptr<MTLTexture>& luma) override;

  const std::shared_ptr<ZELNetwork>& cnn() const { return cnn_; }
  const std::shared_ptr<MTLTexture>& upscaledTexture() const { return upscaledTexture_; }

  /// The kit's shader library, loaded for the device of the first call; for every later call the same one, or the same
  /// failure, whatever its device.
  static std::shared_ptr<MTLLibrary> sharedLibraryForDevice(const std::shared_ptr<MTLDevice>& device);

  /// Guards the models of the process.
  static const std::shared_ptr<DispatchQueue>& cacheQueue();

  /// The model in the file, read once per process and path and kept for good. Null when it cannot be read; the next
  /// call then tries again. Not to be called on the cache queue.
  static std::shared_ptr<const ZELNetworkModel> cachedModelForURL(ZELNetworkFramework& framework,
                                                                  const std::shared_ptr<const NSURL>& modelURL);

 private:
  ZELCNNSuperResolver() = default;

  std::shared_ptr<ZELNetwork> cnn_;
  std::shared_ptr<MTLTexture> upscaledTexture_;
};
