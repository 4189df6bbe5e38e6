#pragma once

#include <ZELKit/internal/ZELNetworkFramework.h>
#include <ZELKit/internal/ZELSuperResolution.h>

/// Configurations and resolvers that stand on a framework for neural networks.
class ZELCNNSuperResolution final : public ZELSuperResolution {
 public:
  /// Never null. Without a framework no configuration has a model.
  static std::shared_ptr<ZELCNNSuperResolution> createWithFramework(ZELNetworkFramework* framework);

  /// With the framework beside the kit's library, if there is one. The same one each time.
  static const std::shared_ptr<ZELCNNSuperResolution>& sharedSuperResolution();

  std::shared_ptr<const ZELSRConfiguration> configurationWithRenderState(const ZELInternalRenderState& state,
                                                                         CGSize textureSize,
                                                                         uint32_t bufferFormat) override;
  std::shared_ptr<ZELSuperResolver> resolverWithDevice(const std::shared_ptr<MTLDevice>& device,
                                                       const std::shared_ptr<MTLCommandQueue>& commandQueue,
                                                       const std::shared_ptr<const NSURL>& modelURL, size_t frameWidth,
                                                       size_t frameHeight) override;

 private:
  explicit ZELCNNSuperResolution(ZELNetworkFramework* framework) : framework_(framework) {}
  ZELNetworkFramework* framework_;
};
