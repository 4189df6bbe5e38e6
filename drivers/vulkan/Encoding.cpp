#include "drivers/vulkan/Encoding.h"

#include <cstring>

namespace ZELPlatform::vulkan {

void InlineBytes::set(const void* source, size_t count) {
  bytes.fill(0);
  length = source && count <= bytes.size() ? count : 0;
  if (length > 0) std::memcpy(bytes.data(), source, length);
}

void BoundBuffer::set(const Gpu& gpu, const std::shared_ptr<MTLBuffer>& given, size_t from) {
  buffer = std::dynamic_pointer_cast<Buffer>(given);
  if (buffer && (&buffer->gpu() != &gpu || from >= buffer->length())) buffer.reset();
  offset = from;
}

std::shared_ptr<Texture> ownTexture(const Gpu& gpu, const std::shared_ptr<MTLTexture>& texture) {
  auto own = std::dynamic_pointer_cast<Texture>(texture);
  return own && &own->image()->gpu() == &gpu ? own : nullptr;
}

bool ResourceBinder::addSampled(uint32_t binding, const std::shared_ptr<Texture>& texture) {
  if (!texture || (texture->usage() & MTLTextureUsageShaderRead) == 0 || !buffer_.use(texture)) return false;
  const Image& image = *texture->image();
  resources_[count_++] = {
      binding, VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, {VK_NULL_HANDLE, image.view(), image.home()}, {}};
  return true;
}

bool ResourceBinder::addStorage(uint32_t binding, const std::shared_ptr<Texture>& texture) {
  if (!texture || (texture->usage() & MTLTextureUsageShaderWrite) == 0 || !buffer_.use(texture)) return false;
  resources_[count_++] = {binding,
                          VK_DESCRIPTOR_TYPE_STORAGE_IMAGE,
                          {VK_NULL_HANDLE, texture->image()->view(), VK_IMAGE_LAYOUT_GENERAL},
                          {}};
  return true;
}

bool ResourceBinder::addStorage(uint32_t binding, const BoundBuffer& bound) {
  if (!bound.buffer) return false;
  buffer_.keep(bound.buffer);
  resources_[count_++] = {
      binding, VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, {}, {bound.buffer->handle(), bound.offset, VK_WHOLE_SIZE}};
  return true;
}

bool ResourceBinder::bind(const InlineBytes& bytes) {
  if (count_ > 0 && !bindSet()) return false;
  const Gpu& gpu = buffer_.gpu();
  const VkShaderStageFlags stages = kind_ == PipelineKind::Render
                                        ? VK_SHADER_STAGE_VERTEX_BIT | VK_SHADER_STAGE_FRAGMENT_BIT
                                        : VK_SHADER_STAGE_COMPUTE_BIT;
  gpu.functions().vkCmdPushConstants(buffer_.slot().commands(), gpu.layouts().pipelineLayout(kind_), stages, 0,
                                     kInlineBytes, bytes.bytes.data());
  return true;
}

bool ResourceBinder::bindSet() {
  const Gpu& gpu = buffer_.gpu();
  uint32_t bindings = 0;
  for (size_t i = 0; i < count_; ++i) bindings |= 1U << resources_[i].binding;
  VkDescriptorSet set = buffer_.slot().takeSet(kind_, bindings);
  if (!set) {
    buffer_.refuse();
    return false;
  }
  std::array<VkWriteDescriptorSet, kSampledBindings + kStorageTextures + kStorageBuffers> writes{};
  for (size_t i = 0; i < count_; ++i) {
    VkWriteDescriptorSet& write = writes[i];
    write.sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET;
    write.dstSet = set;
    write.dstBinding = resources_[i].binding;
    write.descriptorCount = 1;
    write.descriptorType = resources_[i].type;
    write.pImageInfo = &resources_[i].image;
    write.pBufferInfo = &resources_[i].buffer;
  }
  const VkPipelineBindPoint point =
      kind_ == PipelineKind::Render ? VK_PIPELINE_BIND_POINT_GRAPHICS : VK_PIPELINE_BIND_POINT_COMPUTE;
  gpu.functions().vkUpdateDescriptorSets(gpu.device(), static_cast<uint32_t>(count_), writes.data(), 0, nullptr);
  gpu.functions().vkCmdBindDescriptorSets(buffer_.slot().commands(), point, gpu.layouts().pipelineLayout(kind_), 0, 1,
                                          &set, 0, nullptr);
  return true;
}

}  // namespace ZELPlatform::vulkan
