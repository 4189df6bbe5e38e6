#include "platform/avfoundation/ItemPlayback.h"

#include <ZELPlatform/Foundation.h>

#include <utility>

namespace ZELPlatform {

bool ItemPlayback::claim() {
  const std::lock_guard lock(mutex_);
  return !std::exchange(claimed_, true);
}

void ItemPlayback::release() {
  const std::lock_guard lock(mutex_);
  claimed_ = false;
}

std::shared_ptr<MediaSession> ItemPlayback::session() const {
  const std::lock_guard lock(mutex_);
  return session_;
}

void ItemPlayback::begin(std::shared_ptr<MediaSession> session) {
  const std::lock_guard lock(mutex_);
  if (session_) {
    droppedBefore_ += session_->frames.droppedCount();
    shownBefore_ += session_->frames.shownCount();
  }
  session->frames.setWatched(!outputs_.empty());
  session_.swap(session);
  status_ = AVPlayerItemStatusUnknown;
  error_.clear();
  description_ = {};
  bufferedFraction_ = 1.0;
}

AVPlayerItemStatus ItemPlayback::status() const {
  const std::lock_guard lock(mutex_);
  return status_;
}

std::string ItemPlayback::error() const {
  const std::lock_guard lock(mutex_);
  return error_;
}

MediaDescription ItemPlayback::description() const {
  const std::lock_guard lock(mutex_);
  return description_;
}

double ItemPlayback::bufferedFraction() const {
  const std::lock_guard lock(mutex_);
  return bufferedFraction_;
}

void ItemPlayback::setReady(const MediaDescription& description) {
  const std::lock_guard lock(mutex_);
  status_ = AVPlayerItemStatusReadyToPlay;
  description_ = description;
}

void ItemPlayback::setDescription(const MediaDescription& description) {
  const std::lock_guard lock(mutex_);
  description_ = description;
}

void ItemPlayback::setFailed(const std::string& sentence) {
  const std::lock_guard lock(mutex_);
  status_ = AVPlayerItemStatusFailed;
  error_ = sentence;
}

void ItemPlayback::setBufferedFraction(double fraction) {
  const std::lock_guard lock(mutex_);
  bufferedFraction_ = fraction;
}

double ItemPlayback::currentTime() const {
  const std::shared_ptr<MediaSession> playing = session();
  return playing ? playing->timeline.itemTimeAt(CACurrentMediaTime()) : 0.0;
}

uint64_t ItemPlayback::droppedCount() const {
  const std::lock_guard lock(mutex_);
  return droppedBefore_ + (session_ ? session_->frames.droppedCount() : 0);
}

uint64_t ItemPlayback::shownCount() const {
  const std::lock_guard lock(mutex_);
  return shownBefore_ + (session_ ? session_->frames.shownCount() : 0);
}

std::vector<std::shared_ptr<AVPlayerItemVideoOutput>> ItemPlayback::outputs() const {
  const std::lock_guard lock(mutex_);
  return outputs_;
}

void ItemPlayback::addOutput(const std::shared_ptr<AVPlayerItemVideoOutput>& output) {
  const std::lock_guard lock(mutex_);
  outputs_.push_back(output);
  if (session_) session_->frames.setWatched(true);
}

void ItemPlayback::removeOutput(const std::shared_ptr<AVPlayerItemVideoOutput>& output) {
  const std::lock_guard lock(mutex_);
  std::erase(outputs_, output);
  if (session_) session_->frames.setWatched(!outputs_.empty());
}

void ItemPlayback::noteFlush() const {
  for (const auto& output : outputs()) output->noteFlush();
}

// Copies are called: an observer may replace itself.
void ItemPlayback::notifyStatus() const {
  if (const auto observer = statusObserver_) observer();
}

void ItemPlayback::notifyPlayedToEnd() const {
  if (const auto observer = playedToEndObserver_) observer();
}

}  // namespace ZELPlatform
