#include "platform/quartzcore/LayerContents.h"

#include <utility>

namespace ZELPlatform {

// Replaced pictures are let go after the lock: the last reference to a drawn image talks to the GPU.

void LayerContents::present(std::shared_ptr<LayerImage> image) {
  {
    const std::lock_guard lock(mutex_);
    front_.swap(image);
    ++generation_;
    ++presentCount_;
  }
  changed();
}

void LayerContents::setStill(std::shared_ptr<CGImage> image) {
  {
    const std::lock_guard lock(mutex_);
    still_.swap(image);
    ++generation_;
  }
  changed();
}

std::shared_ptr<LayerImage> LayerContents::front() const {
  const std::lock_guard lock(mutex_);
  return front_;
}

std::shared_ptr<CGImage> LayerContents::still() const {
  const std::lock_guard lock(mutex_);
  return still_;
}

uint64_t LayerContents::generation() const {
  const std::lock_guard lock(mutex_);
  return generation_;
}

uint64_t LayerContents::presentCount() const {
  const std::lock_guard lock(mutex_);
  return presentCount_;
}

void LayerContents::setObserver(const void* owner, std::function<void()> observer) {
  const std::lock_guard lock(observerMutex_);
  if (!observer && owner != observerOwner_) return;
  observerOwner_ = owner;
  observer_ = std::move(observer);
}

void LayerContents::changed() {
  const std::lock_guard lock(observerMutex_);
  if (observer_) observer_();
}

}  // namespace ZELPlatform
