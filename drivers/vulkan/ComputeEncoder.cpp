#include "drivers/vulkan/ComputeEncoder.h"

#include <algorithm>
#include <utility>

namespace ZELPlatform::vulkan {
namespace {

constexpr VkPipelineStageFlags kCompute = VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT;
constexpr VkPipelineStageFlags kEverything = VK_PIPELINE_STAGE_ALL_COMMANDS_BIT;

void order(const CommandBuffer& buffer, VkPipelineStageFlags before, VkAccessFlags written, VkPipelineStageFlags after,
           VkAccessFlags next) {
  const VkMemoryBarrier barrier{VK_STRUCTURE_TYPE_MEMORY_BARRIER, nullptr, written, next};
  buffer.gpu().functions().vkCmdPipelineBarrier(buffer.slot().commands(), before, after, 0, 1, &barrier, 0, nullptr, 0,
                                                nullptr);
}

}  // namespace

std::shared_ptr<ComputeEncoder> ComputeEncoder::create(std::shared_ptr<CommandBuffer> buffer) {
  order(*buffer, kEverything, VK_ACCESS_MEMORY_WRITE_BIT, kCompute,
        VK_ACCESS_SHADER_READ_BIT | VK_ACCESS_SHADER_WRITE_BIT);
  return std::shared_ptr<ComputeEncoder>(new ComputeEncoder(std::move(buffer)));
}

ComputeEncoder::~ComputeEncoder() { endEncoding(); }

void ComputeEncoder::setComputePipelineState(const std::shared_ptr<MTLComputePipelineState>& pipelineState) {
  const auto state = std::dynamic_pointer_cast<ComputePipelineState>(pipelineState);
  pipeline_ = state && &state->pipeline()->gpu() == &buffer_->gpu() ? state->pipeline() : nullptr;
}

void ComputeEncoder::setTexture(const std::shared_ptr<MTLTexture>& texture, size_t index) {
  if (index < textures_.size()) textures_[index] = ownTexture(buffer_->gpu(), texture);
}

void ComputeEncoder::setBuffer(const std::shared_ptr<MTLBuffer>& buffer, size_t offset, size_t index) {
  // Where a storage buffer may begin, on every device.
  constexpr size_t kOffsetAlignment = 256;
  if (index >= buffers_.size()) return;
  buffers_[index].set(buffer_->gpu(), offset % kOffsetAlignment == 0 ? buffer : nullptr, offset);
}

void ComputeEncoder::setBytes(const void* bytes, size_t length, size_t) { bytes_.set(bytes, length); }

void ComputeEncoder::dispatchThreadgroups(MTLSize threadgroupsPerGrid, MTLSize threadsPerThreadgroup) {
  if (!buffer_->isOpen(this) || !pipeline_ || !(threadsPerThreadgroup == pipeline_->groupSize())) return;
  const auto [fewest, most] =
      std::minmax({threadgroupsPerGrid.width, threadgroupsPerGrid.height, threadgroupsPerGrid.depth});
  if (fewest == 0 || most > buffer_->gpu().capabilities().maximumGroups || !bindResources()) return;
  const DeviceFunctions& vk = buffer_->gpu().functions();
  VkCommandBuffer commands = buffer_->slot().commands();
  buffer_->keep(pipeline_);
  vk.vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_COMPUTE, pipeline_->handle());
  vk.vkCmdDispatch(commands, static_cast<uint32_t>(threadgroupsPerGrid.width),
                   static_cast<uint32_t>(threadgroupsPerGrid.height), static_cast<uint32_t>(threadgroupsPerGrid.depth));
  order(*buffer_, kCompute, VK_ACCESS_SHADER_WRITE_BIT, kCompute,
        VK_ACCESS_SHADER_READ_BIT | VK_ACCESS_SHADER_WRITE_BIT);
}

bool ComputeEncoder::bindResources() {
  ResourceBinder binder(*buffer_, PipelineKind::Compute);
  for (uint32_t binding = 0; binding < 32; ++binding) {
    if ((pipeline_->bindings() & (1U << binding)) == 0) continue;
    bool bound = false;
    if (binding < kFirstStorageTexture) {
      bound = binder.addSampled(binding, textures_[binding]);
    } else if (binding < kFirstStorageBuffer) {
      bound = binder.addStorage(binding, textures_[binding - kFirstStorageTexture]);
    } else {
      bound = binder.addStorage(binding, buffers_[binding - kFirstStorageBuffer]);
    }
    if (!bound) return false;
  }
  return binder.bind(bytes_);
}

void ComputeEncoder::endEncoding() {
  if (!buffer_->isOpen(this)) return;
  buffer_->close();
  endPass(*buffer_);
  // From now on the command buffer alone keeps what is used.
  textures_ = {};
  buffers_ = {};
}

void ComputeEncoder::endPass(CommandBuffer& buffer) {
  // The processor may read the buffers when the work has ended.
  order(buffer, kCompute, VK_ACCESS_SHADER_WRITE_BIT, kEverything | VK_PIPELINE_STAGE_HOST_BIT,
        VK_ACCESS_MEMORY_READ_BIT | VK_ACCESS_MEMORY_WRITE_BIT | VK_ACCESS_HOST_READ_BIT);
}

}  // namespace ZELPlatform::vulkan
