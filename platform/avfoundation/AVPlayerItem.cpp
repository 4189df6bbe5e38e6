#include <ZELPlatform/AVPlayerItem.h>

#include "platform/avfoundation/ItemPlayback.h"
#include "platform/avfoundation/MediaTime.h"

#include <utility>

std::shared_ptr<AVPlayerItem> AVPlayerItem::createWithURL(const std::string& url) {
  return std::shared_ptr<AVPlayerItem>(new AVPlayerItem(url));
}

AVPlayerItem::AVPlayerItem(const std::string& url)
    : url_(url), playback_(std::make_shared<ZELPlatform::ItemPlayback>()) {}

AVPlayerItem::~AVPlayerItem() {
  for (const auto& output : outputs()) removeOutput(output);
}

AVPlayerItemStatus AVPlayerItem::status() const { return playback_->status(); }

std::string AVPlayerItem::error() const { return playback_->error(); }

void AVPlayerItem::setStatusObserver(std::function<void()> observer) {
  playback_->setStatusObserver(std::move(observer));
}

void AVPlayerItem::setPlayedToEndObserver(std::function<void()> observer) {
  playback_->setPlayedToEndObserver(std::move(observer));
}

CMTime AVPlayerItem::duration() const {
  const auto duration = playback_->description().duration;
  return duration ? ZELPlatform::mediaTime(*duration) : kCMTimeInvalid;
}

CGSize AVPlayerItem::presentationSize() const { return playback_->description().presentationSize; }

bool AVPlayerItem::canSeek() const { return playback_->description().seekable; }

std::vector<AVPlayerItemTrack> AVPlayerItem::tracks() const { return playback_->description().tracks; }

AVVideoOrientation AVPlayerItem::orientation() const { return playback_->description().orientation; }

CMTime AVPlayerItem::currentTime() const { return ZELPlatform::mediaTime(playback_->currentTime()); }

double AVPlayerItem::bufferedFraction() const { return playback_->bufferedFraction(); }

uint64_t AVPlayerItem::droppedFrameCount() const { return playback_->droppedCount(); }

uint64_t AVPlayerItem::shownFrameCount() const { return playback_->shownCount(); }

void AVPlayerItem::addOutput(const std::shared_ptr<AVPlayerItemVideoOutput>& output) {
  if (output && output->attach(playback_)) playback_->addOutput(output);
}

void AVPlayerItem::removeOutput(const std::shared_ptr<AVPlayerItemVideoOutput>& output) {
  if (!output) return;
  playback_->removeOutput(output);
  output->detach(playback_);
}

std::vector<std::shared_ptr<AVPlayerItemVideoOutput>> AVPlayerItem::outputs() const { return playback_->outputs(); }
