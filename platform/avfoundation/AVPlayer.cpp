#include <ZELPlatform/AVPlayer.h>
#include <ZELPlatform/Dispatch.h>

#include "platform/avfoundation/ItemPlayback.h"
#include "platform/avfoundation/MediaTime.h"
#include "platform/avfoundation/PlaybackControl.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <utility>

using ZELPlatform::MediaSeek;
using ZELPlatform::PlaybackControl;

namespace {

constexpr float kFastest = 16.0F;

/// What is not a number is 0.
float cut(float value, float largest) { return value > 0.0F ? std::min(value, largest) : 0.0F; }

MediaSeek::Precision precisionOf(CMTime toleranceBefore, CMTime toleranceAfter) {
  const bool before = CMTimeIsPositiveInfinity(toleranceBefore);
  const bool after = CMTimeIsPositiveInfinity(toleranceAfter);
  if (before && after) return MediaSeek::Precision::NearestKey;
  if (before) return MediaSeek::Precision::KeyBefore;
  return after ? MediaSeek::Precision::KeyAfter : MediaSeek::Precision::Exact;
}

}  // namespace

struct AVPlayer::Implementation {
  mutable std::mutex mutex;
  /// Guarded by the mutex; everything else is the main thread's.
  std::shared_ptr<AVPlayerItem> item;

  PlaybackControl::Settings settings;
  std::shared_ptr<PlaybackControl> control;
  std::function<void()> observer;
  AVPlayerTimeControlStatus reportedStatus = AVPlayerTimeControlStatusPaused;
  double reportedRate = 0.0;

  AVPlayerTimeControlStatus status() const {
    if (control) return control->timeControlStatus();
    return settings.rate == 0.0 ? AVPlayerTimeControlStatusPaused
                                : AVPlayerTimeControlStatusWaitingToPlayAtSpecifiedRate;
  }

  void report() {
    if (control) settings.rate = control->rate();
    const AVPlayerTimeControlStatus now = status();
    if (std::exchange(reportedStatus, now) == now && reportedRate == settings.rate) return;
    reportedRate = settings.rate;
    // A copy: an observer may replace itself.
    if (const auto called = observer) called();
  }

  void drop() {
    if (!control) return;
    control->stop();
    control = nullptr;
    std::shared_ptr<AVPlayerItem> old;
    {
      const std::lock_guard lock(mutex);
      old.swap(item);
    }
    old->playback()->release();
  }

  std::shared_ptr<AVPlayerItem> currentItem() const {
    const std::lock_guard lock(mutex);
    return item;
  }
};

AVPlayer::AVPlayer() : implementation_(std::make_unique<Implementation>()) {}

AVPlayer::~AVPlayer() { implementation_->drop(); }

void AVPlayer::prepare() {
  std::string error;
  if (const auto driver = ZELPlatform::activeMediaDriver(&error)) driver->prepare();
}

std::shared_ptr<AVPlayer> AVPlayer::create() {
  return std::shared_ptr<AVPlayer>(new AVPlayer(), [](AVPlayer* player) {
    if (DispatchIsMainThread()) {
      delete player;
    } else {
      DispatchQueue::mainQueue()->async([player] { delete player; });
    }
  });
}

std::shared_ptr<AVPlayer> AVPlayer::createWithPlayerItem(const std::shared_ptr<AVPlayerItem>& item) {
  std::shared_ptr<AVPlayer> player = create();
  player->replaceCurrentItemWithPlayerItem(item);
  return player;
}

std::shared_ptr<AVPlayerItem> AVPlayer::currentItem() const { return implementation_->currentItem(); }

bool AVPlayer::replaceCurrentItemWithPlayerItem(const std::shared_ptr<AVPlayerItem>& item) {
  if (item == implementation_->currentItem()) return true;
  if (item && !item->playback()->claim()) return false;
  implementation_->drop();
  if (item) {
    {
      const std::lock_guard lock(implementation_->mutex);
      implementation_->item = item;
    }
    implementation_->control =
        PlaybackControl::create(item, implementation_->settings, [this] { implementation_->report(); });
  }
  implementation_->report();
  return true;
}

float AVPlayer::rate() const { return static_cast<float>(implementation_->settings.rate); }

void AVPlayer::setRate(float rate) {
  implementation_->settings.rate = cut(rate, kFastest);
  // An observer may take the item out.
  if (const auto control = implementation_->control) control->setRate(implementation_->settings.rate);
  implementation_->report();
}

AVPlayerTimeControlStatus AVPlayer::timeControlStatus() const { return implementation_->status(); }

void AVPlayer::setTimeControlStatusObserver(std::function<void()> observer) {
  implementation_->observer = std::move(observer);
}

void AVPlayer::seekToTime(CMTime time, SeekCompletion completion) {
  seekToTime(time, kCMTimeZero, kCMTimeZero, std::move(completion));
}

void AVPlayer::seekToTime(CMTime time, CMTime toleranceBefore, CMTime toleranceAfter, SeekCompletion completion) {
  if (const auto control = implementation_->control) {
    const MediaSeek seek{CMTimeGetSeconds(time), 1.0, precisionOf(toleranceBefore, toleranceAfter)};
    control->seek(seek, std::move(completion));
  } else if (completion) {
    DispatchQueue::mainQueue()->async([completion = std::move(completion)] { completion(false); });
  }
}

CMTime AVPlayer::currentTime() const {
  const std::shared_ptr<AVPlayerItem> item = implementation_->currentItem();
  return item ? item->currentTime() : kCMTimeZero;
}

float AVPlayer::volume() const { return static_cast<float>(implementation_->settings.volume); }

void AVPlayer::setVolume(float volume) {
  implementation_->settings.volume = cut(volume, 1.0F);
  if (implementation_->control) implementation_->control->setVolume(implementation_->settings.volume);
}

bool AVPlayer::isMuted() const { return implementation_->settings.muted; }

void AVPlayer::setMuted(bool muted) {
  implementation_->settings.muted = muted;
  if (implementation_->control) implementation_->control->setMuted(muted);
}

AVPlayerActionAtItemEnd AVPlayer::actionAtItemEnd() const { return implementation_->settings.actionAtItemEnd; }

void AVPlayer::setActionAtItemEnd(AVPlayerActionAtItemEnd action) {
  implementation_->settings.actionAtItemEnd = action;
  if (implementation_->control) implementation_->control->setActionAtItemEnd(action);
}

bool AVPlayer::waitsForFrames() const { return implementation_->settings.stepped; }

void AVPlayer::setWaitsForFrames(bool waits) { implementation_->settings.stepped = waits; }
