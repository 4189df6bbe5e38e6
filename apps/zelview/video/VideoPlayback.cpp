#include "apps/zelview/video/VideoPlayback.h"

#include <cstdio>
#include <filesystem>
#include <utility>

#include "apps/zelview/VideoProjection.h"

namespace zelview {
namespace {

/// Ticks per second of the times that are sought.
constexpr int32_t kTimescale = 1'000'000;

bool isURL(const std::string& film) { return film.find("://") != std::string::npos; }

}  // namespace

VideoPlayback::VideoPlayback(VideoSettings settings) : settings_(std::move(settings)), player_(AVPlayer::create()) {
  player_->setWaitsForFrames(settings_.isStepped);
  player_->setMuted(settings_.muted);
}

VideoPlayback::~VideoPlayback() { close(); }

void VideoPlayback::open(std::function<void()> changed) {
  changed_ = std::move(changed);
  begin(0);
  if (settings_.start > 0.0) player_->seekToTime(CMTimeMakeWithSeconds(settings_.start, kTimescale));
}

void VideoPlayback::close() {
  changed_ = nullptr;
  if (!item_) return;
  describeFrames();
  player_->replaceCurrentItemWithPlayerItem(nullptr);
  item_ = nullptr;
}

std::string VideoPlayback::name() const {
  const std::string& film = settings_.films[film_];
  std::string name = isURL(film) ? film : std::filesystem::path(film).filename().string();
  const size_t count = settings_.films.size();
  return count > 1 ? name + ", " + std::to_string(film_ + 1) + " of " + std::to_string(count) : name;
}

void VideoPlayback::begin(size_t film) {
  if (item_) describeFrames();
  film_ = film;
  isReady_ = isEnded_ = hasFailed_ = false;
  const bool goesOn = settings_.loop || filmAfter(1);
  player_->setActionAtItemEnd(goesOn ? AVPlayerActionAtItemEndNone : AVPlayerActionAtItemEndPause);
  item_ = AVPlayerItem::createWithURL(settings_.films[film]);
  // An item that was replaced may still have something to tell.
  const auto told = [weak = weak_from_this(), item = std::weak_ptr(item_)](void (VideoPlayback::*what)()) {
    const std::shared_ptr<VideoPlayback> self = weak.lock();
    if (self && self->item_ && self->item_ == item.lock()) (self.get()->*what)();
  };
  item_->setStatusObserver([told] { told(&VideoPlayback::statusChanged); });
  item_->setPlayedToEndObserver([told] { told(&VideoPlayback::ended); });
  player_->replaceCurrentItemWithPlayerItem(item_);
  if (changed_) changed_();
}

void VideoPlayback::statusChanged() {
  if (item_->status() == AVPlayerItemStatusReadyToPlay && !isReady_) ready();
  if (item_->status() == AVPlayerItemStatusFailed && !std::exchange(hasFailed_, true)) failed();
}

void VideoPlayback::ready() {
  const CGSize size = item_->presentationSize();
  projection_ = decideVideoProjection(settings_.projection, settings_.films[film_], static_cast<size_t>(size.width),
                                      static_cast<size_t>(size.height));
  const AVVideoOrientation orientation = item_->orientation();
  if (orientation.rotation != 0 || orientation.mirrored) {
    std::fprintf(stderr, "zelview: The video's metadata turn or mirror it: it is shown as it was recorded.\n");
  }
  if (settings_.verbose) describeFilm();
  isReady_ = hasShownAny_ = true;
  if (changed_) changed_();
}

void VideoPlayback::failed() {
  const std::optional<size_t> next = film_ + 1 < settings_.films.size() ? std::optional(film_ + 1) : std::nullopt;
  if (!next && !hasShownAny_) {
    failure_ = item_->error();
    if (changed_) changed_();
    return;
  }
  std::fprintf(stderr, "zelview: %s\n", item_->error().c_str());
  if (next) begin(*next);
}

void VideoPlayback::ended() {
  const std::optional<size_t> next = filmAfter(1);
  if (next && *next != film_) {
    begin(*next);
  } else if (settings_.loop) {
    seekTo(0.0);
  } else {
    isEnded_ = true;
  }
}

std::optional<size_t> VideoPlayback::filmAfter(int films) const {
  const auto count = static_cast<int>(settings_.films.size());
  const int film = static_cast<int>(film_) + films;
  if (film >= 0 && film < count) return static_cast<size_t>(film);
  if (!settings_.loop) return std::nullopt;
  return static_cast<size_t>((film % count + count) % count);
}

void VideoPlayback::skip(int films) {
  const std::optional<size_t> film = filmAfter(films);
  if (!film) return;
  const bool plays = !isPaused() || isEnded_;
  begin(*film);
  if (plays) play();
}

void VideoPlayback::togglePause() {
  if (isEnded_) {
    seekTo(0.0);
  } else if (isPaused()) {
    play();
  } else {
    player_->pause();
  }
}

void VideoPlayback::seekTo(double time, bool nearby) {
  const CMTime tolerance = nearby ? kCMTimePositiveInfinity : kCMTimeZero;
  player_->seekToTime(CMTimeMakeWithSeconds(time, kTimescale), tolerance, tolerance);
  // It stopped by itself.
  if (std::exchange(isEnded_, false)) play();
}

std::optional<double> VideoPlayback::duration() const {
  const CMTime duration = item_ ? item_->duration() : kCMTimeInvalid;
  return CMTimeIsValid(duration) ? std::optional(CMTimeGetSeconds(duration)) : std::nullopt;
}

void VideoPlayback::describeFilm() const {
  const CGSize size = item_->presentationSize();
  const std::optional<double> length = duration();
  std::fprintf(stderr, "video: %s, %.0fx%.0f pixels, %s\n", settings_.films[film_].c_str(), size.width, size.height,
               length ? (std::to_string(*length) + " seconds").c_str() : "no known end");
  for (const AVPlayerItemTrack& track : item_->tracks()) {
    const char* kind = track.mediaType == AVMediaTypeVideo ? "picture" : "sound";
    if (track.mediaType == AVMediaTypeText) kind = "text";
    std::fprintf(stderr, "%s: %s", kind, track.codec.empty() ? "unknown codec" : track.codec.c_str());
    if (track.nominalFrameRate > 0.0) std::fprintf(stderr, ", %g frames per second", track.nominalFrameRate);
    std::fputc('\n', stderr);
  }
}

void VideoPlayback::describeFrames() const {
  if (!settings_.verbose || !isReady_) return;
  std::fprintf(stderr, "frames: %llu shown, %llu dropped\n", static_cast<unsigned long long>(item_->shownFrameCount()),
               static_cast<unsigned long long>(item_->droppedFrameCount()));
}

}  // namespace zelview
