#pragma once

#include "drivers/vulkan/Handle.h"
#include "drivers/vulkan/Layouts.h"

#include <ZELPlatform/MTLPipeline.h>

#include <memory>
#include <string>

namespace ZELPlatform::vulkan {

/// A compiled pipeline, for drawing or for computing.
class Pipeline {
 public:
  /// Null, with one sentence in `error`, when a function is missing or does not fit, or the driver refuses.
  static std::shared_ptr<Pipeline> createRender(Gpu& gpu, const MTLRenderPipelineDescriptor& descriptor,
                                                std::string* error);
  static std::shared_ptr<Pipeline> createCompute(Gpu& gpu, const std::shared_ptr<MTLFunction>& function,
                                                 std::string* error);

  VkPipeline handle() const { return handle_.get(); }
  const Gpu& gpu() const { return *gpu_; }

  /// What a draw or dispatch must have set: resources by their bindings, vertex buffers by their numbers, as bits.
  uint32_t bindings() const { return bindings_; }
  uint32_t vertexBuffers() const { return vertexBuffers_; }
  VkFormat targetFormat() const { return targetFormat_; }
  MTLSize groupSize() const { return groupSize_; }

 private:
  explicit Pipeline(std::shared_ptr<Gpu> gpu) : gpu_(std::move(gpu)) {}
  bool compile(VkShaderModule vertexModule, VkShaderModule fragmentModule, const MTLVertexDescriptor& vertices);
  bool compile(VkShaderModule computeModule);

  std::shared_ptr<Gpu> gpu_;
  PipelineHandle handle_;
  uint32_t bindings_ = 0;
  uint32_t vertexBuffers_ = 0;
  VkFormat targetFormat_ = VK_FORMAT_UNDEFINED;
  MTLSize groupSize_;
};

/// The service's states: pipelines are shared between them.
class RenderPipelineState final : public MTLRenderPipelineState {
 public:
  explicit RenderPipelineState(std::shared_ptr<Pipeline> pipeline) : pipeline_(std::move(pipeline)) {}
  const std::shared_ptr<Pipeline>& pipeline() const { return pipeline_; }

 private:
  std::shared_ptr<Pipeline> pipeline_;
};

class ComputePipelineState final : public MTLComputePipelineState {
 public:
  explicit ComputePipelineState(std::shared_ptr<Pipeline> pipeline) : pipeline_(std::move(pipeline)) {}
  MTLSize threadsPerThreadgroup() const override { return pipeline_->groupSize(); }
  const std::shared_ptr<Pipeline>& pipeline() const { return pipeline_; }

 private:
  std::shared_ptr<Pipeline> pipeline_;
};

}  // namespace ZELPlatform::vulkan
