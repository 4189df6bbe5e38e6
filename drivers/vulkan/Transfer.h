#pragma once

#include "drivers/vulkan/Handle.h"
#include "drivers/vulkan/Image.h"
#include "drivers/vulkan/Memory.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace ZELPlatform::vulkan {

/// Copies between memory and images, each handed to the queue at once, so that whatever is submitted later finds it
/// done. Any thread.
class Transfer {
 public:
  explicit Transfer(Gpu& gpu) : gpu_(gpu) {}

  /// Fills an image with zero and brings it to its home. Does not wait; false when the driver refuses.
  bool clear(const std::shared_ptr<Image>& image);

  /// Replaces an image's pixels by rows of memory, which are copied before this returns. Does not wait for the GPU.
  bool upload(const std::shared_ptr<Image>& image, const uint8_t* rows, size_t bytesPerRow);

  /// Waits for the GPU and shows `taker` an image's pixels, rows without padding, which are gone when that returns.
  bool read(const std::shared_ptr<Image>& image, const std::function<void(const uint8_t* pixels)>& taker);

  /// Fills a buffer, whose size is a multiple of four, with zero; waits for the GPU.
  bool clear(VkBuffer buffer, size_t bytes);

  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

 private:
  /// What one copy needs; used again when the GPU is done with it.
  struct Slot {
    CommandPoolHandle pool;
    VkCommandBuffer commands = VK_NULL_HANDLE;
    FenceHandle fence;
    BufferMemory outgoing;
    BufferMemory incoming;
    std::shared_ptr<const void> kept;
    bool taken = false;
    bool submitted = false;
  };

  /// A slot of one's own until it goes.
  class Turn {
   public:
    explicit Turn(Transfer& transfer) : transfer_(transfer), slot_(transfer.take()) {}
    ~Turn();
    explicit operator bool() const { return slot_ != nullptr; }
    Slot* operator->() const { return slot_; }
    /// Hands the recorded commands over; they keep `kept` alive.
    bool submit(std::shared_ptr<const void> kept);
    bool wait();

    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    Transfer& transfer_;
    Slot* slot_;
  };

  Slot* take();
  Slot* findEnded();
  bool prepare(Slot* slot);
  std::unique_ptr<Slot> makeSlot();
  void record(VkCommandBuffer commands, const VkImageMemoryBarrier& barrier, VkPipelineStageFlags before,
              VkPipelineStageFlags after) const;

  Gpu& gpu_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<Slot>> slots_;
};

}  // namespace ZELPlatform::vulkan
