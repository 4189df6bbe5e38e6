#pragma once

#include "drivers/vulkan/Encoding.h"
#include "drivers/vulkan/Pipeline.h"

#include <array>
#include <memory>

namespace ZELPlatform::vulkan {

/// Records one render pass.
class RenderEncoder final : public MTLRenderCommandEncoder {
 public:
  /// Begins the pass; null when there is no target to draw to, or the driver refuses.
  static std::shared_ptr<RenderEncoder> create(std::shared_ptr<CommandBuffer> buffer,
                                               const MTLRenderPassDescriptor& descriptor);
  ~RenderEncoder() override;

  void setRenderPipelineState(const std::shared_ptr<MTLRenderPipelineState>& pipelineState) override;
  void setCullMode(MTLCullMode) override {}
  void setVertexBuffer(const std::shared_ptr<MTLBuffer>& buffer, size_t offset, size_t index) override;
  void setVertexBytes(const void* bytes, size_t length, size_t index) override;
  void setFragmentBytes(const void* bytes, size_t length, size_t index) override;
  void setFragmentTexture(const std::shared_ptr<MTLTexture>& texture, size_t index) override;
  void drawIndexedPrimitives(MTLPrimitiveType primitiveType, size_t indexCount, MTLIndexType indexType,
                             const std::shared_ptr<MTLBuffer>& indexBuffer, size_t indexBufferOffset) override;
  void endEncoding() override;

  /// Ends the pass of a buffer's encoder.
  static void endPass(CommandBuffer& buffer);

 private:
  RenderEncoder(std::shared_ptr<CommandBuffer> buffer, std::shared_ptr<Image> target)
      : buffer_(std::move(buffer)), target_(std::move(target)) {}
  bool begin(const MTLRenderPassColorAttachmentDescriptor& attachment);
  bool bindResources();
  bool bindVertices();

  std::shared_ptr<CommandBuffer> buffer_;
  std::shared_ptr<Image> target_;
  std::shared_ptr<Pipeline> pipeline_;
  std::array<BoundBuffer, 4> vertexBuffers_;
  std::array<std::shared_ptr<Texture>, kSampledBindings> textures_;
  InlineBytes vertexBytes_;
  InlineBytes fragmentBytes_;
};

}  // namespace ZELPlatform::vulkan
