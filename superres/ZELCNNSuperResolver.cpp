#include "superres/ZELCNNSuperResolver.h"

#include <ZELPlatform/Foundation.h>

#include <map>
#include <string>
#include <utility>

namespace {

/// How different a pixel may be from its neighbours and still be background, which a network need not refine.
constexpr int64_t kBackgroundTolerance = 4;

/// Its address tells where the kit's library is.
const char kHere = 0;

std::shared_ptr<const ZELNetworkModel> readModel(ZELNetworkFramework& framework,
                                                 const std::shared_ptr<const NSURL>& modelURL) {
  const std::shared_ptr<ZELNetworkModelReader> reader = framework.createReader(modelURL);
  return reader ? framework.createModel(reader) : nullptr;
}

}  // namespace

std::shared_ptr<ZELCNNSuperResolver> ZELCNNSuperResolver::createWithDevice(
    ZELNetworkFramework& framework, const std::shared_ptr<MTLDevice>& device,
    const std::shared_ptr<MTLCommandQueue>& commandQueue, const std::shared_ptr<const NSURL>& modelURL,
    size_t frameWidth, size_t frameHeight) {
  if (!device || !modelURL) return nullptr;
  const std::shared_ptr<MTLLibrary> library = sharedLibraryForDevice(device);
  if (!library) return nullptr;
  const std::shared_ptr<const ZELNetworkModel> model = cachedModelForURL(framework, modelURL);
  if (!model) return nullptr;

  std::shared_ptr<ZELCNNSuperResolver> resolver(new ZELCNNSuperResolver);
  resolver->cnn_ = framework.createNetwork(device, library, commandQueue, static_cast<int64_t>(frameWidth),
                                           static_cast<int64_t>(frameHeight), kBackgroundTolerance, model);
  const auto factor = static_cast<size_t>(model->rescaleFactor());
  MTLTextureDescriptor descriptor;
  descriptor.textureType = MTLTextureType2D;
  descriptor.pixelFormat = MTLPixelFormatR8Unorm;
  descriptor.width = factor * frameWidth;
  descriptor.height = factor * frameHeight;
  descriptor.storageMode = MTLStorageModePrivate;
  descriptor.usage = MTLTextureUsageShaderRead | MTLTextureUsageShaderWrite;
  resolver->upscaledTexture_ = device->newTextureWithDescriptor(descriptor);
  return resolver;
}

std::shared_ptr<MTLTexture> ZELCNNSuperResolver::superResolveLumaPlane(const std::shared_ptr<MTLTexture>& luma) {
  if (cnn_) cnn_->process(luma, upscaledTexture_);
  return upscaledTexture_;
}

std::shared_ptr<MTLLibrary> ZELCNNSuperResolver::sharedLibraryForDevice(const std::shared_ptr<MTLDevice>& device) {
  static const std::shared_ptr<MTLLibrary> library =
      device->newLibraryWithFile(NSBundle::pathForResource(&kHere, "default", "metallib"));
  return library;
}

const std::shared_ptr<DispatchQueue>& ZELCNNSuperResolver::cacheQueue() {
  static const std::shared_ptr<DispatchQueue> queue = DispatchQueue::create("ZELSuperResolver.cache");
  return queue;
}

std::shared_ptr<const ZELNetworkModel> ZELCNNSuperResolver::cachedModelForURL(
    ZELNetworkFramework& framework, const std::shared_ptr<const NSURL>& modelURL) {
  // Never destroyed: a resolver may still be made on another thread while the process ends.
  static auto* models = new std::map<std::string, std::shared_ptr<const ZELNetworkModel>>;
  std::shared_ptr<const ZELNetworkModel> model;
  cacheQueue()->sync([&] {
    const auto found = models->find(modelURL->path());
    if (found != models->end()) {
      model = found->second;
      return;
    }
    model = readModel(framework, modelURL);
    if (model) models->emplace(modelURL->path(), model);
  });
  return model;
}
