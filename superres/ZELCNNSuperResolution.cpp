#include "superres/ZELCNNSuperResolution.h"

#include "superres/ZELCNNConfiguration.h"
#include "superres/ZELCNNSuperResolver.h"
#include "superres/ZELNetworkLoading.h"

std::shared_ptr<ZELCNNSuperResolution> ZELCNNSuperResolution::createWithFramework(ZELNetworkFramework* framework) {
  return std::shared_ptr<ZELCNNSuperResolution>(new ZELCNNSuperResolution(framework));
}

const std::shared_ptr<ZELCNNSuperResolution>& ZELCNNSuperResolution::sharedSuperResolution() {
  static const std::shared_ptr<ZELCNNSuperResolution> shared = createWithFramework(ZELSharedNetworkFramework());
  return shared;
}

std::shared_ptr<const ZELSRConfiguration> ZELCNNSuperResolution::configurationWithRenderState(
    const ZELInternalRenderState& state, CGSize textureSize, uint32_t bufferFormat) {
  return std::make_shared<ZELCNNConfiguration>(state, textureSize, bufferFormat, framework_);
}

std::shared_ptr<ZELSuperResolver> ZELCNNSuperResolution::resolverWithDevice(
    const std::shared_ptr<MTLDevice>& device, const std::shared_ptr<MTLCommandQueue>& commandQueue,
    const std::shared_ptr<const NSURL>& modelURL, size_t frameWidth, size_t frameHeight) {
  if (!framework_) return nullptr;
  return ZELCNNSuperResolver::createWithDevice(*framework_, device, commandQueue, modelURL, frameWidth, frameHeight);
}
