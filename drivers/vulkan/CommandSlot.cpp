#include "drivers/vulkan/CommandSlot.h"

#include <utility>

namespace ZELPlatform::vulkan {
namespace {

/// How many sets are made at a time; a frame draws once.
constexpr uint32_t kSetsAtATime = 4;

}  // namespace

std::unique_ptr<CommandSlot> CommandSlot::create(Gpu& gpu) {
  std::unique_ptr<CommandSlot> slot(new CommandSlot(gpu));
  VkCommandPoolCreateInfo pool{};
  pool.sType = VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO;
  pool.flags = VK_COMMAND_POOL_CREATE_TRANSIENT_BIT;
  pool.queueFamilyIndex = gpu.queueFamily();
  if (!slot->pool_.create<&DeviceFunctions::vkCreateCommandPool>(gpu, pool)) return nullptr;
  VkCommandBufferAllocateInfo commands{};
  commands.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO;
  commands.commandPool = slot->pool_.get();
  commands.level = VK_COMMAND_BUFFER_LEVEL_PRIMARY;
  commands.commandBufferCount = static_cast<uint32_t>(slot->commands_.size());
  if (!gpu.succeeded(gpu.functions().vkAllocateCommandBuffers(gpu.device(), &commands, slot->commands_.data()))) {
    return nullptr;
  }
  VkFenceCreateInfo fence{};
  fence.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO;
  return slot->fence_.create<&DeviceFunctions::vkCreateFence>(gpu, fence) ? std::move(slot) : nullptr;
}

bool CommandSlot::begin() {
  const DeviceFunctions& vk = gpu_.functions();
  const VkFence fence = fence_.get();
  if (submitted_ && !gpu_.succeeded(vk.vkResetFences(gpu_.device(), 1, &fence))) return false;
  submitted_ = false;
  ahead_ = false;
  for (auto& [key, sets] : sets_) sets.taken = 0;
  return gpu_.succeeded(vk.vkResetCommandPool(gpu_.device(), pool_.get(), 0)) && beginCommands(commands());
}

bool CommandSlot::beginCommands(VkCommandBuffer commands) {
  VkCommandBufferBeginInfo begin{};
  begin.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO;
  begin.flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT;
  return gpu_.succeeded(gpu_.functions().vkBeginCommandBuffer(commands, &begin));
}

VkCommandBuffer CommandSlot::commandsAhead() {
  if (!ahead_) ahead_ = beginCommands(commands_[0]);
  return ahead_ ? commands_[0] : VK_NULL_HANDLE;
}

VkDescriptorSet CommandSlot::takeSet(PipelineKind kind, uint32_t bindings) {
  Sets& sets = sets_[{kind, bindings}];
  if (sets.taken == sets.sets.size() && !addSets(kind, &sets)) return VK_NULL_HANDLE;
  return sets.sets[sets.taken++];
}

bool CommandSlot::addSets(PipelineKind kind, Sets* sets) {
  const std::array<VkDescriptorPoolSize, 3> sizes{{
      {VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, kSetsAtATime * kSampledBindings},
      {VK_DESCRIPTOR_TYPE_STORAGE_IMAGE, kSetsAtATime * kStorageTextures},
      {VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, kSetsAtATime * kStorageBuffers},
  }};
  VkDescriptorPoolCreateInfo poolInfo{};
  poolInfo.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO;
  poolInfo.maxSets = kSetsAtATime;
  poolInfo.poolSizeCount = kind == PipelineKind::Render ? 1 : static_cast<uint32_t>(sizes.size());
  poolInfo.pPoolSizes = sizes.data();
  DescriptorPoolHandle pool;
  if (!pool.create<&DeviceFunctions::vkCreateDescriptorPool>(gpu_, poolInfo)) return false;
  std::array<VkDescriptorSetLayout, kSetsAtATime> layouts{};
  layouts.fill(gpu_.layouts().setLayout(kind));
  std::array<VkDescriptorSet, kSetsAtATime> made{};
  VkDescriptorSetAllocateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO;
  info.descriptorPool = pool.get();
  info.descriptorSetCount = kSetsAtATime;
  info.pSetLayouts = layouts.data();
  if (!gpu_.succeeded(gpu_.functions().vkAllocateDescriptorSets(gpu_.device(), &info, made.data()))) return false;
  sets->pools.push_back(std::move(pool));
  sets->sets.insert(sets->sets.end(), made.begin(), made.end());
  return true;
}

bool CommandSlot::submit(VkSemaphore awaited, VkSemaphore signalled) {
  const DeviceFunctions& vk = gpu_.functions();
  const bool ended = gpu_.succeeded(vk.vkEndCommandBuffer(commands_[1])) &&
                     (!ahead_ || gpu_.succeeded(vk.vkEndCommandBuffer(commands_[0])));
  VkSubmitInfo work{};
  work.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO;
  const VkPipelineStageFlags copies = VK_PIPELINE_STAGE_TRANSFER_BIT;
  work.waitSemaphoreCount = awaited ? 1 : 0;
  work.pWaitSemaphores = &awaited;
  work.pWaitDstStageMask = &copies;
  work.signalSemaphoreCount = signalled ? 1 : 0;
  work.pSignalSemaphores = &signalled;
  work.commandBufferCount = ahead_ ? 2 : 1;
  work.pCommandBuffers = ahead_ ? commands_.data() : &commands_[1];
  submitted_ = ended && gpu_.succeeded(gpu_.submit(work, fence_.get()));
  return submitted_;
}

}  // namespace ZELPlatform::vulkan
