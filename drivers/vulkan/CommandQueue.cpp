#include "drivers/vulkan/CommandQueue.h"

#include "drivers/vulkan/CommandBuffer.h"

#include <ZELPlatform/CAMetalLayer.h>

#include <algorithm>
#include <utility>

namespace ZELPlatform::vulkan {
namespace {

constexpr size_t kMostRunning = 64;

}  // namespace

std::shared_ptr<CommandQueue> CommandQueue::create(std::shared_ptr<Gpu> gpu) {
  std::shared_ptr<CommandQueue> queue(new CommandQueue(std::move(gpu)));
  queue->thread_ = std::thread([state = queue->state_] { run(state); });
  return queue;
}

CommandQueue::~CommandQueue() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->stopped = true;
  }
  state_->changed.notify_all();
  // All work has ended, as work holds its queue; so the thread waits for nothing but this. A handler's thread that
  // drops the last reference is that thread.
  if (isCompletionThread()) {
    thread_.detach();
  } else {
    thread_.join();
  }
  state_->freeSlots.clear();
}

std::shared_ptr<MTLCommandBuffer> CommandQueue::commandBuffer() {
  if (!isCompletionThread()) {
    std::unique_lock lock(state_->mutex);
    state_->changed.wait(lock, [this] { return state_->running.size() < kMostRunning; });
  }
  return std::make_shared<CommandBuffer>(shared_from_this());
}

std::unique_ptr<CommandSlot> CommandQueue::takeSlot() {
  std::unique_ptr<CommandSlot> slot;
  {
    const std::lock_guard lock(state_->mutex);
    if (!state_->freeSlots.empty()) {
      slot = std::move(state_->freeSlots.back());
      state_->freeSlots.pop_back();
    }
  }
  if (gpu_->isLost()) return nullptr;
  if (!slot) slot = CommandSlot::create(*gpu_);
  return slot && slot->begin() ? std::move(slot) : nullptr;
}

void CommandQueue::enqueue(const std::shared_ptr<Work>& work) {
  const std::lock_guard lock(state_->mutex);
  if (work->status != MTLCommandBufferStatusNotEnqueued) return;
  work->status = MTLCommandBufferStatusEnqueued;
  state_->places.push_back(work);
}

void CommandQueue::commit(const std::shared_ptr<Work>& work) {
  enqueue(work);
  {
    const std::lock_guard lock(state_->mutex);
    work->committed = true;
    work->status = MTLCommandBufferStatusCommitted;
    submitWhatIsDue();
  }
  state_->changed.notify_all();
}

void CommandQueue::withdraw(const Work& work) {
  {
    const std::lock_guard lock(state_->mutex);
    std::erase_if(state_->places, [&work](const auto& place) { return place.get() == &work; });
    submitWhatIsDue();
  }
  state_->changed.notify_all();
}

void CommandQueue::submitWhatIsDue() {
  auto& places = state_->places;
  for (; !places.empty() && places.front()->committed; places.pop_front()) {
    submit(*places.front());
    state_->running.push_back(places.front());
  }
}

void CommandQueue::submit(Work& work) {
  if (work.refused || !work.slot || !work.slot->submit()) {
    work.status = MTLCommandBufferStatusError;
    return;
  }
  work.status = MTLCommandBufferStatusScheduled;
  for (const auto& image : work.arriving) image->setHome();
  // Shown before any handler tells that it is.
  for (const auto& drawable : work.drawables) drawable->present();
}

void CommandQueue::wait(const Work& work) {
  if (isCompletionThread()) return;
  std::unique_lock lock(state_->mutex);
  state_->changed.wait(lock, [&work] { return !work.committed || work.ended; });
}

void CommandQueue::run(const std::shared_ptr<State>& state) {
  std::unique_lock lock(state->mutex);
  for (;;) {
    state->changed.wait(lock, [&state] { return state->stopped || !state->running.empty(); });
    if (state->running.empty()) return;
    {
      const std::shared_ptr<Work> work = state->running.front();
      lock.unlock();
      end(state, work);
    }
    lock.lock();
  }
}

void CommandQueue::end(const std::shared_ptr<State>& state, const std::shared_ptr<Work>& work) {
  const bool scheduled = work->status == MTLCommandBufferStatusScheduled;
  const bool completed = scheduled && work->slot->wait();
  // Handlers may ask for it.
  work->status = completed ? MTLCommandBufferStatusCompleted : MTLCommandBufferStatusError;
  if (completed) {
    // Ahead of the drawables: whoever waits for one of those finds a slot. What a lost or refusing device left behind
    // is not used again.
    const std::lock_guard lock(state->mutex);
    state->freeSlots.push_back(std::move(work->slot));
  }
  for (const auto& handler : std::exchange(work->handlers, {})) handler();
  work->kept.clear();
  work->arriving.clear();
  work->drawables.clear();
  {
    const std::lock_guard lock(state->mutex);
    state->running.pop_front();
    work->ended = true;
  }
  state->changed.notify_all();
}

}  // namespace ZELPlatform::vulkan
