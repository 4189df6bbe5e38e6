#include "player/Cinema.h"

#include <algorithm>
#include <cmath>

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
  return NSRunLoop::mainRunLoop().runUntil(condition, kLongest);
}

bool Cinema::waitUntilReady() {
  wait([&] { return item_->status() != AVPlayerItemStatusUnknown; });
  return item_->status() == AVPlayerItemStatusReadyToPlay;
}

bool Cinema::waitUntilFailed() {
  return wait([&] { return item_->status() == AVPlayerItemStatusFailed; });
}

bool Cinema::seek(double seconds, CMTime tolerance) {
  // Shared: the completion may come after this has given up.
  const auto done = std::make_shared<std::optional<bool>>();
  player_->seekToTime(CMTimeMakeWithSeconds(seconds, 1'000'000'000), tolerance, tolerance,
                      [done](bool finished) { *done = finished; });
  return wait([&] { return done->has_value(); }) && **done;
}

std::optional<Shown> Cinema::look() {
  const double hostTime = CACurrentMediaTime() + kPeriod;
  const CMTime itemTime = output_->itemTimeForHostTime(hostTime);
  if (!output_->hasNewPixelBufferForItemTime(itemTime)) return std::nullopt;
  CMTime frameTime = kCMTimeInvalid;
  const CVPixelBufferRef frame = output_->copyPixelBufferForItemTime(itemTime, &frameTime);
  if (!frame) return std::nullopt;
  return Shown{hostTime, CMTimeGetSeconds(itemTime), CMTimeGetSeconds(frameTime), frameNumber(frame)};
}

std::optional<Shown> Cinema::nextShown() {
  std::optional<Shown> shown;
  wait([&] {
    shown = look();
    if (!shown) NSRunLoop::mainRunLoop().wakeUp();
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
