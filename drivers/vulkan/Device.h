#pragma once

#include "drivers/vulkan/Gpu.h"

#include <ZELPlatform/MTLDevice.h>

#include <memory>
#include <string>

namespace ZELPlatform::vulkan {

/// The service's device, on a Vulkan one.
class Device final : public MTLDevice {
 public:
  /// Null, with one sentence in `error`, when Vulkan cannot be used here.
  static std::shared_ptr<Device> create(const Settings& settings, std::string* error);

  std::string name() const override { return gpu_->capabilities().name; }
  bool supportsFeatureSet(MTLFeatureSet featureSet) const override;
  std::shared_ptr<MTLLibrary> newLibraryWithFile(const std::string& path, std::string* error) override;
  std::shared_ptr<MTLRenderPipelineState> newRenderPipelineStateWithDescriptor(
      const MTLRenderPipelineDescriptor& descriptor, std::string* error) override;
  std::shared_ptr<MTLComputePipelineState> newComputePipelineStateWithFunction(
      const std::shared_ptr<MTLFunction>& function, std::string* error) override;
  std::shared_ptr<MTLBuffer> newBufferWithBytes(const void* bytes, size_t length, uint32_t options) override;
  std::shared_ptr<MTLBuffer> newBufferWithLength(size_t length, uint32_t options) override;
  std::shared_ptr<MTLTexture> newTextureWithDescriptor(const MTLTextureDescriptor& descriptor) override;
  std::shared_ptr<MTLCommandQueue> newCommandQueue() override;
  size_t maximumTextureSize() const override { return gpu_->capabilities().maximumTextureSize; }
  std::shared_ptr<CVMetalTextureCache> _newTextureCache() override;
  std::shared_ptr<DrawableRing> _newDrawableRing(const std::shared_ptr<LayerContents>& contents,
                                                 MTLPixelFormat pixelFormat, size_t width, size_t height) override;

  Gpu& gpu() const { return *gpu_; }

 private:
  explicit Device(std::shared_ptr<Gpu> gpu) : gpu_(std::move(gpu)) {}

  std::shared_ptr<Gpu> gpu_;
};

}  // namespace ZELPlatform::vulkan
