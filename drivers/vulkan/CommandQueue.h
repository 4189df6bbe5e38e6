#pragma once

#include "drivers/vulkan/CommandSlot.h"
#include "drivers/vulkan/Image.h"

#include <ZELPlatform/MTLCommands.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace ZELPlatform::vulkan {

class CommandQueue;

/// One command buffer's work on its way through the queue. Recorded by one thread, then the queue's.
struct Work {
  std::shared_ptr<CommandQueue> queue;
  std::unique_ptr<CommandSlot> slot;
  /// What the GPU uses until the end.
  std::vector<std::shared_ptr<const void>> kept;
  /// Imported images that this work brings to their home.
  std::vector<std::shared_ptr<Image>> arriving;
  std::vector<std::shared_ptr<CAMetalDrawable>> drawables;
  std::vector<std::function<void()>> handlers;
  /// The driver refused a part of it: it is not submitted, so that nobody sees half a picture.
  bool refused = false;
  /// Guarded by the queue's mutex.
  bool committed = false;
  bool ended = false;
  std::atomic<MTLCommandBufferStatus> status{MTLCommandBufferStatusNotEnqueued};
};

/// The order of command buffers, and the thread that tells when they have ended.
class CommandQueue final : public MTLCommandQueue, public std::enable_shared_from_this<CommandQueue> {
 public:
  static std::shared_ptr<CommandQueue> create(std::shared_ptr<Gpu> gpu);
  ~CommandQueue() override;

  std::shared_ptr<MTLCommandBuffer> commandBuffer() override;

  Gpu& gpu() const { return *gpu_; }

  /// A slot that records already; null when the driver refuses.
  std::unique_ptr<CommandSlot> takeSlot();

  void enqueue(const std::shared_ptr<Work>& work);
  void commit(const std::shared_ptr<Work>& work);
  /// Gives up the place of work that is never going to be committed.
  void withdraw(const Work& work);
  void wait(const Work& work);

 private:
  /// What the queue and its thread share; the thread may outlast the queue by the moment in which it drops it.
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::shared_ptr<Work>> places;
    std::deque<std::shared_ptr<Work>> running;
    std::vector<std::unique_ptr<CommandSlot>> freeSlots;
    bool stopped = false;
  };

  explicit CommandQueue(std::shared_ptr<Gpu> gpu) : gpu_(std::move(gpu)) {}
  void submitWhatIsDue();
  static void submit(Work& work);
  static void end(const std::shared_ptr<State>& state, const std::shared_ptr<Work>& work);
  static void run(const std::shared_ptr<State>& state);
  bool isCompletionThread() const { return std::this_thread::get_id() == thread_.get_id(); }

  std::shared_ptr<Gpu> gpu_;
  std::shared_ptr<State> state_ = std::make_shared<State>();
  std::thread thread_;
};

}  // namespace ZELPlatform::vulkan
