#include "player/Cinema.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/avfoundation/ItemPlayback.h"

namespace ZELTest {

Cinema::Cinema(const std::string& path, bool stepped) : player_(AVPlayer::create()) {
  player_->setWaitsForFrames(stepped);
  player_->setMuted(true);
  if (!path.empty()) load(path);
}

Cinema::~Cinema() = default;

void Cinema::load(const std::string& path) {
  item_ = AVPlayerItem::createWithURL(path);
  output_ = AVPlayerItemVideoOutput::createWithPixelBufferAttributes();
  item_->addOutput(output_);
  player_->replaceCurrentItemWithPlayerItem(item_);
}

bool Cinema::wait(const std::function<bool()>& condition) {
  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  // What changes on another thread does not wake the main one.
  const NSRunLoop::Token looks = loop.addTimer(kPeriod / 4, kPeriod / 4, [] {});
  const bool holds = loop.runUntil(condition, kLongest);
  loop.remove(looks);
  return holds;
}

bool Cinema::waitUntilReady() {
  wait([&] { return item_->status() != AVPlayerItemStatusUnknown; });
  return item_->status() == AVPlayerItemStatusReadyToPlay;
}

bool Cinema::waitUntilFailed() {
  return wait([&] { return item_->status() == AVPlayerItemStatusFailed; });
}

bool Cinema::seek(double seconds, CMTime before, CMTime after) {
  // Shared: the completion may come after this has given up.
  const auto done = std::make_shared<std::optional<bool>>();
  player_->seekToTime(CMTimeMakeWithSeconds(seconds, 1'000'000'000), before, after,
                      [done](bool finished) { *done = finished; });
  return wait([&] { return done->has_value(); }) && **done;
}

std::optional<Shown> Cinema::look() {
  const double hostTime = CACurrentMediaTime() + kPeriod;
  const double gap = hostTime - std::exchange(lastAsked_, hostTime);
  const bool wasAhead = wasAhead_;
  const CMTime itemTime = output_->itemTimeForHostTime(hostTime);
  const bool isNew = output_->hasNewPixelBufferForItemTime(itemTime);
  wasAhead_ = isRunning() && waitingFrames() > 0;
  if (!isNew) return std::nullopt;
  CMTime frameTime = kCMTimeInvalid;
  const CVPixelBufferRef frame = output_->copyPixelBufferForItemTime(itemTime, &frameTime);
  if (!frame) return std::nullopt;
  return Shown{hostTime, CMTimeGetSeconds(itemTime), CMTimeGetSeconds(frameTime), frameNumber(frame), gap, wasAhead};
}

std::vector<Shown> Cinema::playTo(double seconds) {
  player_->play();
  return watch(kLongest, [&] { return time() >= seconds; });
}

bool Cinema::pause() {
  player_->pause();
  return wait([&] { return !isRunning(); });
}

bool Cinema::isRunning() const {
  const auto session = item_->playback()->session();
  return session && session->timeline.isRunning();
}

size_t Cinema::waitingFrames() const {
  const auto session = item_->playback()->session();
  return session ? session->frames.waitingCount() : 0;
}

std::optional<Shown> Cinema::nextShown() {
  std::optional<Shown> shown;
  wait([&] {
    shown = look();
    return shown.has_value();
  });
  return shown;
}

std::vector<Shown> Cinema::watch(double seconds, const std::function<bool()>& until) {
  std::vector<Shown> all;
  const double begin = CACurrentMediaTime();
  for (double next = begin; next < begin + seconds && !(until && until());) {
    if (const auto shown = look()) all.push_back(*shown);
    // Refreshes come at their own times, however late the last one was.
    next = std::max(next + kPeriod, CACurrentMediaTime());
    NSRunLoop::mainRunLoop().runFor(next - CACurrentMediaTime());
  }
  return all;
}

}  // namespace ZELTest
