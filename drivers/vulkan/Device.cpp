#include "drivers/vulkan/Device.h"

#include "drivers/vulkan/Buffer.h"
#include "drivers/vulkan/CommandQueue.h"
#include "drivers/vulkan/Drawable.h"
#include "drivers/vulkan/Image.h"
#include "drivers/vulkan/Library.h"
#include "drivers/vulkan/Pipeline.h"
#include "drivers/vulkan/TextureCache.h"
#include "platform/metal/LibraryFile.h"

#include <cstring>
#include <utility>

namespace ZELPlatform::vulkan {

std::shared_ptr<Device> Device::create(const Settings& settings, std::string* error) {
  auto instance = Instance::create(settings, error);
  auto gpu = instance ? Gpu::create(std::move(instance), settings, error) : nullptr;
  return gpu ? std::shared_ptr<Device>(new Device(std::move(gpu))) : nullptr;
}

bool Device::supportsFeatureSet(MTLFeatureSet featureSet) const {
  return featureSet == MTLFeatureSet_iOS_GPUFamily2_v2 && gpu_->capabilities().smallStorageFormats &&
         (gpu_->optimalFeatures(VK_FORMAT_R8_UNORM) & VK_FORMAT_FEATURE_STORAGE_IMAGE_BIT) != 0;
}

std::shared_ptr<MTLLibrary> Device::newLibraryWithFile(const std::string& path, std::string* error) {
  auto functions = readLibrary(path, error);
  return functions ? std::make_shared<Library>(gpu_, std::move(*functions)) : nullptr;
}

std::shared_ptr<MTLRenderPipelineState> Device::newRenderPipelineStateWithDescriptor(
    const MTLRenderPipelineDescriptor& descriptor, std::string* error) {
  auto pipeline = Pipeline::createRender(*gpu_, descriptor, error);
  return pipeline ? std::make_shared<RenderPipelineState>(std::move(pipeline)) : nullptr;
}

std::shared_ptr<MTLComputePipelineState> Device::newComputePipelineStateWithFunction(
    const std::shared_ptr<MTLFunction>& function, std::string* error) {
  auto pipeline = Pipeline::createCompute(*gpu_, function, error);
  return pipeline ? std::make_shared<ComputePipelineState>(std::move(pipeline)) : nullptr;
}

std::shared_ptr<MTLBuffer> Device::newBufferWithBytes(const void* bytes, size_t length, uint32_t options) {
  if (!bytes || options != MTLResourceStorageModeShared) return nullptr;
  auto buffer = Buffer::create(gpu_, length, MTLStorageModeShared);
  if (buffer) std::memcpy(buffer->contents(), bytes, length);
  return buffer;
}

std::shared_ptr<MTLBuffer> Device::newBufferWithLength(size_t length, uint32_t options) {
  const bool isPrivate = options == MTLResourceStorageModePrivate;
  if (!isPrivate && options != MTLResourceStorageModeShared) return nullptr;
  return Buffer::create(gpu_, length, isPrivate ? MTLStorageModePrivate : MTLStorageModeShared);
}

std::shared_ptr<MTLTexture> Device::newTextureWithDescriptor(const MTLTextureDescriptor& descriptor) {
  if (descriptor.textureType != MTLTextureType2D) return nullptr;
  auto image = Image::create(*gpu_, descriptor.pixelFormat, descriptor.width, descriptor.height, descriptor.usage);
  return image ? std::make_shared<Texture>(std::move(image), descriptor.storageMode) : nullptr;
}

std::shared_ptr<MTLCommandQueue> Device::newCommandQueue() {
  return gpu_->isLost() ? nullptr : CommandQueue::create(gpu_);
}

std::shared_ptr<CVMetalTextureCache> Device::_newTextureCache() { return std::make_shared<TextureCache>(gpu_); }

std::shared_ptr<DrawableRing> Device::_newDrawableRing(const std::shared_ptr<LayerContents>& contents,
                                                       MTLPixelFormat pixelFormat, size_t width, size_t height) {
  return contents ? std::make_shared<Ring>(gpu_, contents, pixelFormat, width, height) : nullptr;
}

}  // namespace ZELPlatform::vulkan
