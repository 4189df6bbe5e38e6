#include "drivers/vulkan/RenderEncoder.h"

#include "platform/corevideo/Counters.h"

#include <utility>

namespace ZELPlatform::vulkan {

std::shared_ptr<RenderEncoder> RenderEncoder::create(std::shared_ptr<CommandBuffer> buffer,
                                                     const MTLRenderPassDescriptor& descriptor) {
  const MTLRenderPassColorAttachmentDescriptor& attachment = descriptor.colorAttachments[0];
  const auto target = ownTexture(buffer->gpu(), attachment.texture);
  if (!target || (target->usage() & MTLTextureUsageRenderTarget) == 0) return nullptr;
  buffer->keep(target);
  std::shared_ptr<RenderEncoder> encoder(new RenderEncoder(std::move(buffer), target->image()));
  return encoder->begin(attachment) ? encoder : nullptr;
}

bool RenderEncoder::begin(const MTLRenderPassColorAttachmentDescriptor& attachment) {
  const Gpu& gpu = buffer_->gpu();
  const VkFramebuffer framebuffer = target_->framebuffer();
  const bool keepsPixels = attachment.loadAction == MTLLoadActionLoad;
  const VkRenderPass pass = gpu.layouts().renderPass(vulkanFormat(target_->format()), keepsPixels, target_->home());
  if (!framebuffer || !pass) {
    buffer_->refuse();
    return false;
  }
  // What may be undefined is cleared too: it costs next to nothing where a draw covers it, and nobody sees what an
  // earlier frame left beside the picture.
  VkClearValue clear{};
  const MTLClearColor& color = attachment.clearColor;
  clear.color = {{static_cast<float>(color.red), static_cast<float>(color.green), static_cast<float>(color.blue),
                  static_cast<float>(color.alpha)}};
  const VkExtent2D extent = target_->extent();
  VkRenderPassBeginInfo info{};
  info.sType = VK_STRUCTURE_TYPE_RENDER_PASS_BEGIN_INFO;
  info.renderPass = pass;
  info.framebuffer = framebuffer;
  info.renderArea = {{0, 0}, extent};
  info.clearValueCount = 1;
  info.pClearValues = &clear;
  VkCommandBuffer commands = buffer_->slot().commands();
  gpu.functions().vkCmdBeginRenderPass(commands, &info, VK_SUBPASS_CONTENTS_INLINE);
  // Upside down, so that clip space has y upwards.
  const VkViewport viewport{0.0F,
                            static_cast<float>(extent.height),
                            static_cast<float>(extent.width),
                            -static_cast<float>(extent.height),
                            0.0F,
                            1.0F};
  gpu.functions().vkCmdSetViewport(commands, 0, 1, &viewport);
  gpu.functions().vkCmdSetScissor(commands, 0, 1, &info.renderArea);
  return true;
}

RenderEncoder::~RenderEncoder() { endEncoding(); }

void RenderEncoder::setRenderPipelineState(const std::shared_ptr<MTLRenderPipelineState>& pipelineState) {
  const auto state = std::dynamic_pointer_cast<RenderPipelineState>(pipelineState);
  pipeline_ = state && &state->pipeline()->gpu() == &buffer_->gpu() ? state->pipeline() : nullptr;
}

void RenderEncoder::setVertexBuffer(const std::shared_ptr<MTLBuffer>& buffer, size_t offset, size_t index) {
  if (index < vertexBuffers_.size()) vertexBuffers_[index].set(buffer_->gpu(), buffer, offset);
}

void RenderEncoder::setVertexBytes(const void* bytes, size_t length, size_t) { vertexBytes_.set(bytes, length); }

void RenderEncoder::setFragmentBytes(const void* bytes, size_t length, size_t) { fragmentBytes_.set(bytes, length); }

void RenderEncoder::setFragmentTexture(const std::shared_ptr<MTLTexture>& texture, size_t index) {
  if (index < textures_.size()) textures_[index] = ownTexture(buffer_->gpu(), texture);
}

void RenderEncoder::drawIndexedPrimitives(MTLPrimitiveType primitiveType, size_t indexCount, MTLIndexType indexType,
                                          const std::shared_ptr<MTLBuffer>& indexBuffer, size_t indexBufferOffset) {
  constexpr size_t kIndexBytes = 2;
  BoundBuffer indices;
  indices.set(buffer_->gpu(), indexBuffer, indexBufferOffset);
  if (!buffer_->isOpen(this) || !pipeline_ || !indices.buffer || indexBufferOffset % kIndexBytes != 0) return;
  if (primitiveType != MTLPrimitiveTypeTriangle || indexType != MTLIndexTypeUInt16) return;
  if (indexCount == 0 || indexCount > (indices.buffer->length() - indexBufferOffset) / kIndexBytes) return;
  if (pipeline_->targetFormat() != vulkanFormat(target_->format()) || !bindResources() || !bindVertices()) return;
  const DeviceFunctions& vk = buffer_->gpu().functions();
  VkCommandBuffer commands = buffer_->slot().commands();
  buffer_->keep(pipeline_);
  buffer_->keep(indices.buffer);
  vk.vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline_->handle());
  vk.vkCmdBindIndexBuffer(commands, indices.buffer->handle(), indices.offset, VK_INDEX_TYPE_UINT16);
  vk.vkCmdDrawIndexed(commands, static_cast<uint32_t>(indexCount), 1, 0, 0, 0);
  ++pixelCounters().metalDraws;
}

bool RenderEncoder::bindResources() {
  // Both functions read the same bytes.
  const bool both = vertexBytes_.length > 0 && fragmentBytes_.length > 0;
  if (both && !(vertexBytes_ == fragmentBytes_)) return false;
  ResourceBinder binder(*buffer_, PipelineKind::Render);
  for (uint32_t i = 0; i < textures_.size(); ++i) {
    if ((pipeline_->bindings() & (1U << i)) == 0) continue;
    // A pass cannot read what it draws.
    if (!textures_[i] || textures_[i]->image() == target_ || !binder.addSampled(i, textures_[i])) return false;
  }
  return binder.bind(vertexBytes_.length > 0 ? vertexBytes_ : fragmentBytes_);
}

bool RenderEncoder::bindVertices() {
  for (uint32_t i = 0; i < vertexBuffers_.size(); ++i) {
    if ((pipeline_->vertexBuffers() & (1U << i)) == 0) continue;
    const BoundBuffer& bound = vertexBuffers_[i];
    if (!bound.buffer) return false;
    buffer_->keep(bound.buffer);
    VkBuffer handle = bound.buffer->handle();
    const VkDeviceSize offset = bound.offset;
    buffer_->gpu().functions().vkCmdBindVertexBuffers(buffer_->slot().commands(), i, 1, &handle, &offset);
  }
  return true;
}

void RenderEncoder::endEncoding() {
  if (!buffer_->isOpen(this)) return;
  buffer_->close();
  endPass(*buffer_);
  // From now on the command buffer alone keeps what is used.
  textures_ = {};
  vertexBuffers_ = {};
}

void RenderEncoder::endPass(CommandBuffer& buffer) {
  buffer.gpu().functions().vkCmdEndRenderPass(buffer.slot().commands());
}

}  // namespace ZELPlatform::vulkan
