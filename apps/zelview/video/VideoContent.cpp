#include "apps/zelview/video/VideoContent.h"

#include <map>
#include <utility>

namespace zelview {
namespace {

constexpr double kStep = 5.0;
constexpr double kLargeStep = 30.0;

}  // namespace

VideoContent::VideoContent(VideoSettings settings) : playback_(std::make_shared<VideoPlayback>(std::move(settings))) {}

std::shared_ptr<ZELPixelBufferSource> VideoContent::sourceFor(ZELProjectionType) {
  // Not before there is a key window, which the source looks for.
  if (!source_) source_ = ZELAVPlayerPixelBufferSource::createWithPlayer(playback_->player());
  return source_;
}

void VideoContent::open(UIView& over, double scale, const std::function<void()>& changed) {
  // The bar lives no longer than this.
  bar_ = ProgressBar::create(
      scale, {[this](double place, bool isLooking) { seek(place, isLooking); }, [this] { playback_->togglePause(); }});
  if (bar_) {
    bar_->setHidden(true);
    bar_->layOut(over.bounds().size);
    over.addSubview(bar_);
  }
  playback_->open(changed);
}

void VideoContent::didAppear() {
  if (!std::exchange(hasAppeared_, true)) playback_->play();
}

void VideoContent::close() {
  playback_->close();
  source_ = nullptr;
  if (bar_) bar_->removeFromSuperview();
  bar_ = nullptr;
}

void VideoContent::layOut(CGSize size) {
  if (bar_) bar_->layOut(size);
}

void VideoContent::advanceTo(double time) {
  now_ = time;
  if (!bar_) return;
  const bool isHidden = now_ >= shownUntil_ && !bar_->isDragged();
  if (isHidden != bar_->isHidden()) bar_->setHidden(isHidden);
  bar_->show({playback_->time(), playback_->duration(), playback_->isPaused(), playback_->player()->isMuted()});
}

void VideoContent::seek(double place, bool isLooking) {
  if (const std::optional<double> duration = playback_->duration()) {
    playback_->seekTo(place * *duration, isLooking);
  }
  pointerMoved();
}

bool VideoContent::pressKey(const UIKey& key) {
  using Action = void (*)(VideoPlayback&);
  static const std::map<std::string, Action> kHeld = {
      {",", [](VideoPlayback& v) { v.seekBy(-kStep); }},
      {".", [](VideoPlayback& v) { v.seekBy(kStep); }},
      {"<", [](VideoPlayback& v) { v.seekBy(-kLargeStep); }},
      {">", [](VideoPlayback& v) { v.seekBy(kLargeStep); }},
  };
  static const std::map<std::string, Action> kPressed = {
      {"Space", [](VideoPlayback& v) { v.togglePause(); }},
      {"a", [](VideoPlayback& v) { v.toggleSound(); }},
      {"n", [](VideoPlayback& v) { v.skip(1); }},
      {"b", [](VideoPlayback& v) { v.skip(-1); }},
  };
  // Some keyboards report the key's own character with shift held.
  std::string name = key.name;
  if (key.shift && name == ",") name = "<";
  if (key.shift && name == ".") name = ">";
  const auto held = kHeld.find(name);
  const auto pressed = kPressed.find(name);
  if (held == kHeld.end() && pressed == kPressed.end()) return false;
  if (held != kHeld.end()) held->second(*playback_);
  if (pressed != kPressed.end() && !key.repeated) pressed->second(*playback_);
  pointerMoved();
  return true;
}

}  // namespace zelview
