#pragma once

#include "drivers/vulkan/Encoding.h"
#include "drivers/vulkan/Pipeline.h"

#include <array>
#include <memory>

namespace ZELPlatform::vulkan {

/// Records dispatches, each behind a barrier.
class ComputeEncoder final : public MTLComputeCommandEncoder {
 public:
  static std::shared_ptr<ComputeEncoder> create(std::shared_ptr<CommandBuffer> buffer);
  ~ComputeEncoder() override;

  void setComputePipelineState(const std::shared_ptr<MTLComputePipelineState>& pipelineState) override;
  void setTexture(const std::shared_ptr<MTLTexture>& texture, size_t index) override;
  void setBuffer(const std::shared_ptr<MTLBuffer>& buffer, size_t offset, size_t index) override;
  void setBytes(const void* bytes, size_t length, size_t index) override;
  void dispatchThreadgroups(MTLSize threadgroupsPerGrid, MTLSize threadsPerThreadgroup) override;
  void endEncoding() override;

  /// Ends the run of a buffer's encoder.
  static void endPass(CommandBuffer& buffer);

 private:
  explicit ComputeEncoder(std::shared_ptr<CommandBuffer> buffer) : buffer_(std::move(buffer)) {}
  bool bindResources();

  std::shared_ptr<CommandBuffer> buffer_;
  std::shared_ptr<Pipeline> pipeline_;
  std::array<std::shared_ptr<Texture>, kSampledBindings> textures_;
  std::array<BoundBuffer, kStorageBuffers> buffers_;
  InlineBytes bytes_;
};

}  // namespace ZELPlatform::vulkan
