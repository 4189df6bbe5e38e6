#pragma once

#include "drivers/vulkan/CommandQueue.h"

#include <ZELPlatform/MTLCommands.h>

#include <memory>

namespace ZELPlatform::vulkan {

/// Records one submission. An encoder is open while it is the buffer's current one.
class CommandBuffer final : public MTLCommandBuffer, public std::enable_shared_from_this<CommandBuffer> {
 public:
  explicit CommandBuffer(std::shared_ptr<CommandQueue> queue);
  ~CommandBuffer() override;

  std::shared_ptr<MTLRenderCommandEncoder> renderCommandEncoderWithDescriptor(
      const MTLRenderPassDescriptor& descriptor) override;
  std::shared_ptr<MTLComputeCommandEncoder> computeCommandEncoder() override;
  void enqueue() override;
  void presentDrawable(const std::shared_ptr<CAMetalDrawable>& drawable) override;
  void addCompletedHandler(std::function<void()> handler) override;
  void commit() override;
  void waitUntilCompleted() override;
  MTLCommandBufferStatus status() const override { return work_->status; }

  Gpu& gpu() const { return work_->queue->gpu(); }
  CommandSlot& slot() const { return *work_->slot; }

  /// Whether the encoder may still record.
  bool isOpen(const void* encoder) const { return encoder_ == encoder; }
  void close() { encoder_ = nullptr; }

  /// Keeps something alive until the GPU is done.
  void keep(std::shared_ptr<const void> used) { work_->kept.push_back(std::move(used)); }

  /// Notes that the driver refused what the program recorded; the buffer ends with an error.
  void refuse() { work_->refused = true; }

  /// Keeps a texture, and brings it to its home if it is not there; false when the driver refuses.
  bool use(const std::shared_ptr<Texture>& texture);

 private:
  bool canRecord();

  std::shared_ptr<Work> work_;
  bool committed_ = false;
  const void* encoder_ = nullptr;
  /// Ends what the open encoder left open.
  void (*endEncoding_)(CommandBuffer&) = nullptr;
};

}  // namespace ZELPlatform::vulkan
