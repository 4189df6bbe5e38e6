#include <ZELPlatform/AVPlayerItemVideoOutput.h>
#include <ZELPlatform/Dispatch.h>

#include "platform/avfoundation/ItemPlayback.h"
#include "platform/avfoundation/MediaTime.h"
#include "platform/avfoundation/RefreshPace.h"

#include <mutex>
#include <utility>

namespace {

/// How long a stepped display waits for a frame.
constexpr double kLongestWait = 10.0;

/// Times go through whole nanoseconds on both sides: a frame is not late for a rounded one.
constexpr double kRounding = 2e-9;

}  // namespace

struct AVPlayerItemVideoOutput::State {
  std::mutex mutex;
  std::shared_ptr<ZELPlatform::ItemPlayback> playback;
  /// The playing that `lastNumber` counts in.
  std::weak_ptr<ZELPlatform::MediaSession> lastSession;
  uint64_t lastNumber = 0;
  ZELPlatform::RefreshPace pace;
  std::weak_ptr<AVPlayerItemOutputPullDelegate> delegate;
  std::shared_ptr<DispatchQueue> queue;

  std::shared_ptr<ZELPlatform::MediaSession> session() {
    const std::lock_guard lock(mutex);
    return playback ? playback->session() : nullptr;
  }

  double period() {
    const std::lock_guard lock(mutex);
    return pace.period();
  }

  ZELPlatform::FrameQueue::Choice choose(ZELPlatform::MediaSession& session, CMTime itemTime) {
    const double time = CMTimeGetSeconds(itemTime) + kRounding;
    const double rate = session.timeline.rate();
    if (session.isStepped) {
      session.asked(time);
      return session.frames.chooseWaiting(time, rate == 0.0, kLongestWait);
    }
    return session.frames.choose(time + rate * period() / 2);
  }
};

std::shared_ptr<AVPlayerItemVideoOutput> AVPlayerItemVideoOutput::createWithPixelBufferAttributes(
    const AVVideoOutputAttributes& attributes) {
  if (attributes.pixelFormatType != kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange) return nullptr;
  return std::shared_ptr<AVPlayerItemVideoOutput>(new AVPlayerItemVideoOutput(attributes));
}

AVPlayerItemVideoOutput::AVPlayerItemVideoOutput(const AVVideoOutputAttributes& attributes)
    : attributes_(attributes), state_(std::make_unique<State>()) {}

AVPlayerItemVideoOutput::~AVPlayerItemVideoOutput() = default;

CMTime AVPlayerItemVideoOutput::itemTimeForHostTime(double hostTime) {
  const std::shared_ptr<ZELPlatform::MediaSession> session = state_->session();
  if (!session) return kCMTimeZero;
  {
    const std::lock_guard lock(state_->mutex);
    state_->pace.note(hostTime);
  }
  return ZELPlatform::mediaTime(session->timeline.itemTimeAt(hostTime));
}

bool AVPlayerItemVideoOutput::hasNewPixelBufferForItemTime(CMTime itemTime) {
  const std::shared_ptr<ZELPlatform::MediaSession> session = state_->session();
  if (!session) return false;
  const uint64_t number = state_->choose(*session, itemTime).number;
  const std::lock_guard lock(state_->mutex);
  return number != 0 && (number != state_->lastNumber || state_->lastSession.lock() != session);
}

CVPixelBufferRef AVPlayerItemVideoOutput::copyPixelBufferForItemTime(CMTime itemTime, CMTime* itemTimeForDisplay) {
  const std::shared_ptr<ZELPlatform::MediaSession> session = state_->session();
  if (!session) return nullptr;
  ZELPlatform::FrameQueue::Choice choice = state_->choose(*session, itemTime);
  if (choice.number == 0) return nullptr;
  {
    const std::lock_guard lock(state_->mutex);
    state_->lastNumber = choice.number;
    state_->lastSession = session;
  }
  session->frames.noteShown(choice.number);
  if (itemTimeForDisplay) *itemTimeForDisplay = ZELPlatform::mediaTime(choice.frame.time);
  return std::move(choice.frame.buffer);
}

void AVPlayerItemVideoOutput::setDelegate(std::weak_ptr<AVPlayerItemOutputPullDelegate> delegate,
                                          std::shared_ptr<DispatchQueue> queue) {
  const std::lock_guard lock(state_->mutex);
  state_->delegate = std::move(delegate);
  state_->queue.swap(queue);
}

bool AVPlayerItemVideoOutput::attach(const std::shared_ptr<ZELPlatform::ItemPlayback>& playback) {
  const std::lock_guard lock(state_->mutex);
  if (state_->playback) return false;
  state_->playback = playback;
  return true;
}

void AVPlayerItemVideoOutput::detach(const std::shared_ptr<ZELPlatform::ItemPlayback>& playback) {
  const std::lock_guard lock(state_->mutex);
  if (state_->playback == playback) state_->playback = nullptr;
}

void AVPlayerItemVideoOutput::noteFlush() {
  const std::lock_guard lock(state_->mutex);
  if (!state_->queue) return;
  state_->queue->async([delegate = state_->delegate, weak = weak_from_this()] {
    const auto told = delegate.lock();
    const auto output = weak.lock();
    if (told && output) told->outputSequenceWasFlushed(output);
  });
}
