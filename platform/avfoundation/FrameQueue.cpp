#include "platform/avfoundation/FrameQueue.h"

#include <ZELPlatform/Foundation.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace ZELPlatform {
namespace {

/// Seconds after which the decoder looks again, at the latest.
constexpr double kLongestWait = 1.0;

}  // namespace

/// The first frame of a sequence that ends before anybody asked is still the newest that there is.
void FrameQueue::endSequence(Dropped* dropped) {
  if (awaitsFirst_ && !hidden_ && !waiting_.empty()) takeNext(dropped);
  std::move(waiting_.begin(), waiting_.end(), std::back_inserter(*dropped));
  waiting_.clear();
  awaitsFirst_ = true;
  hasFrames_ = false;
  ended_ = false;
  lastEnd_ = 0.0;
  ++sequence_;
}

void FrameQueue::discard() {
  Dropped dropped;
  const std::lock_guard lock(mutex_);
  endSequence(&dropped);
  accepting_ = false;
  changed_.notify_all();
}

uint64_t FrameQueue::begin() {
  Dropped dropped;
  const std::lock_guard lock(mutex_);
  endSequence(&dropped);
  accepting_ = !closed_;
  changed_.notify_all();
  return sequence_;
}

bool FrameQueue::push(uint64_t sequence, MediaFrame frame) {
  const std::lock_guard lock(mutex_);
  if (!accepting_ || sequence != sequence_) return false;
  if (hasFrames_ && !(frame.time >= lastTime_)) frame.time = lastTime_;
  if (!std::isfinite(frame.time)) frame.time = 0.0;
  lastTime_ = frame.time;
  lastEnd_ = frame.time + frame.duration;
  hasFrames_ = true;
  ended_ = false;
  waiting_.push_back(std::move(frame));
  changed_.notify_all();
  return true;
}

void FrameQueue::end(uint64_t sequence) {
  const std::lock_guard lock(mutex_);
  if (sequence != sequence_) return;
  ended_ = true;
  changed_.notify_all();
}

void FrameQueue::close() {
  Dropped dropped;
  const std::lock_guard lock(mutex_);
  closed_ = true;
  accepting_ = false;
  std::move(waiting_.begin(), waiting_.end(), std::back_inserter(dropped));
  waiting_.clear();
  changed_.notify_all();
}

void FrameQueue::wake() {
  const std::lock_guard lock(mutex_);
  changed_.notify_all();
}

bool FrameQueue::waitForRoom(const Timeline* timeline) {
  Dropped dropped;
  std::unique_lock lock(mutex_);
  for (;;) {
    if (closed_) return false;
    if (waiting_.size() < capacity_) return true;
    const double now = CACurrentMediaTime();
    // The frame before the one that is overdue is of no use to anybody.
    const auto due = timeline ? timeline->hostTimeOf(waiting_.front().time) : std::nullopt;
    if (due && *due + kPatience <= now) {
      advance(timeline->itemTimeAt(now - kPatience), &dropped);
      lock.unlock();
      dropped.clear();
      lock.lock();
    } else if (due) {
      // Frames may carry any time, so that the wait is cut to one that a clock can take.
      changed_.wait_for(lock, std::chrono::duration<double>(std::min(*due + kPatience - now, kLongestWait)));
    } else {
      changed_.wait(lock);
    }
  }
}

/// The next frame becomes the chosen one.
void FrameQueue::takeNext(Dropped* dropped) {
  if (current_) {
    if (watched_ && lastShown_ != number_) ++droppedCount_;
    dropped->push_back(std::move(*current_));
  }
  current_ = std::move(waiting_.front());
  waiting_.pop_front();
  awaitsFirst_ = false;
  ++number_;
}

void FrameQueue::advance(double time, Dropped* dropped) {
  const size_t before = waiting_.size();
  while (!waiting_.empty() && (awaitsFirst_ || waiting_.front().time <= time)) takeNext(dropped);
  if (waiting_.size() != before) changed_.notify_all();
}

FrameQueue::Choice FrameQueue::chosen() const { return current_ && !hidden_ ? Choice{number_, *current_} : Choice{}; }

FrameQueue::Choice FrameQueue::choose(double time) {
  Dropped dropped;
  const std::lock_guard lock(mutex_);
  if (!hidden_) advance(time, &dropped);
  return chosen();
}

FrameQueue::Choice FrameQueue::chooseWaiting(double time, bool firstWillDo, double seconds) {
  Dropped dropped;
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  std::unique_lock lock(mutex_);
  for (;;) {
    if (!hidden_) advance(time, &dropped);
    const bool known = (!waiting_.empty() || ended_ || (firstWillDo && !awaitsFirst_)) && !hidden_;
    if (known || closed_) return chosen();
    if (!dropped.empty()) {
      lock.unlock();
      dropped.clear();
      lock.lock();
      continue;
    }
    if (changed_.wait_until(lock, giveUp) == std::cv_status::timeout) return chosen();
  }
}

void FrameQueue::noteShown(uint64_t number) {
  const std::lock_guard lock(mutex_);
  if (number > lastShown_) {
    lastShown_ = number;
    ++shownCount_;
  }
}

void FrameQueue::setWatched(bool watched) {
  const std::lock_guard lock(mutex_);
  watched_ = watched;
}

void FrameQueue::setHidden(bool hidden) {
  const std::lock_guard lock(mutex_);
  hidden_ = hidden;
  changed_.notify_all();
}

uint64_t FrameQueue::droppedCount() const {
  const std::lock_guard lock(mutex_);
  return droppedCount_;
}

uint64_t FrameQueue::shownCount() const {
  const std::lock_guard lock(mutex_);
  return shownCount_;
}

bool FrameQueue::hasFrames() const {
  const std::lock_guard lock(mutex_);
  return hasFrames_;
}

bool FrameQueue::isEnded() const {
  const std::lock_guard lock(mutex_);
  return ended_;
}

double FrameQueue::lastFrameEnd() const {
  const std::lock_guard lock(mutex_);
  return lastEnd_;
}

size_t FrameQueue::waitingCount() const {
  const std::lock_guard lock(mutex_);
  return waiting_.size();
}

}  // namespace ZELPlatform
