#pragma once

#include "drivers/vulkan/Handle.h"
#include "drivers/vulkan/Layouts.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace ZELPlatform::vulkan {

/// What one submission needs of Vulkan: command buffers, descriptor sets and the fence that tells its end. Used again
/// afterwards, so that frames allocate nothing. One thread at a time.
class CommandSlot {
 public:
  /// Null when memory is short.
  static std::unique_ptr<CommandSlot> create(Gpu& gpu);

  /// Forgets what was recorded before; false when the driver refuses.
  bool begin();

  VkCommandBuffer commands() const { return commands_[1]; }

  /// Commands that run ahead of the others: for what must not stand inside of a render pass. Null when the driver
  /// refuses.
  VkCommandBuffer commandsAhead();

  /// A descriptor set to write, valid until the next `begin`; null when memory is short. `bindings` has a bit for each
  /// binding that will be written.
  ///
  /// A set is used again for the same bindings only: Mesa's software driver looks at all that were ever written, whether
  /// a function declares them or not, and crashes where an image has gone since.
  VkDescriptorSet takeSet(PipelineKind kind, uint32_t bindings);

  /// Ends recording and hands the commands to the GPU, whose copies wait for one semaphore and which signals another
  /// when it is done.
  bool submit(VkSemaphore awaited = VK_NULL_HANDLE, VkSemaphore signalled = VK_NULL_HANDLE);

  /// Waits for the end; false when the device was lost.
  bool wait() { return gpu_.wait(fence_.get()); }

 private:
  /// The descriptor sets of one kind and one choice of bindings, handed out in order.
  struct Sets {
    std::vector<DescriptorPoolHandle> pools;
    std::vector<VkDescriptorSet> sets;
    size_t taken = 0;
  };

  explicit CommandSlot(Gpu& gpu) : gpu_(gpu) {}
  bool beginCommands(VkCommandBuffer commands);
  bool addSets(PipelineKind kind, Sets* sets);

  Gpu& gpu_;
  CommandPoolHandle pool_;
  std::array<VkCommandBuffer, 2> commands_{};
  bool ahead_ = false;
  bool submitted_ = false;
  FenceHandle fence_;
  std::map<std::pair<PipelineKind, uint32_t>, Sets> sets_;
};

}  // namespace ZELPlatform::vulkan
