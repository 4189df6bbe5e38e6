#pragma once

#include "platform/avfoundation/MediaDriver.h"

#include <ZELPlatform/AVPlayerItem.h>
#include <ZELPlatform/AVPlayerItemVideoOutput.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ZELPlatform {

/// What an item, its outputs and its player know together. Any thread, but for the observers, which are the main
/// thread's.
class ItemPlayback {
 public:
  /// Marks the item as in a player; false when it is in one.
  bool claim();
  void release();

  /// The playing in progress, or the last one; null before the first.
  std::shared_ptr<MediaSession> session() const;

  /// A new playing: status and description are as at the very beginning.
  void begin(std::shared_ptr<MediaSession> session);

  AVPlayerItemStatus status() const;
  std::string error() const;
  MediaDescription description() const;
  double bufferedFraction() const;
  void setReady(const MediaDescription& description);
  void setDescription(const MediaDescription& description);
  void setFailed(const std::string& sentence);
  void setBufferedFraction(double fraction);

  double currentTime() const;
  uint64_t droppedCount() const;
  uint64_t shownCount() const;

  std::vector<std::shared_ptr<AVPlayerItemVideoOutput>> outputs() const;
  void addOutput(const std::shared_ptr<AVPlayerItemVideoOutput>& output);
  void removeOutput(const std::shared_ptr<AVPlayerItemVideoOutput>& output);
  /// Tells the outputs' delegates that frames do not continue.
  void noteFlush() const;

  void setStatusObserver(std::function<void()> observer) { statusObserver_ = std::move(observer); }
  void setPlayedToEndObserver(std::function<void()> observer) { playedToEndObserver_ = std::move(observer); }
  void notifyStatus() const;
  void notifyPlayedToEnd() const;

 private:
  mutable std::mutex mutex_;
  bool claimed_ = false;
  std::shared_ptr<MediaSession> session_;
  AVPlayerItemStatus status_ = AVPlayerItemStatusUnknown;
  std::string error_;
  MediaDescription description_;
  double bufferedFraction_ = 1.0;
  /// Counts of the playings before.
  uint64_t droppedBefore_ = 0;
  uint64_t shownBefore_ = 0;
  std::vector<std::shared_ptr<AVPlayerItemVideoOutput>> outputs_;

  std::function<void()> statusObserver_;
  std::function<void()> playedToEndObserver_;
};

}  // namespace ZELPlatform
