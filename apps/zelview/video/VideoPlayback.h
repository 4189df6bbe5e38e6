#pragma once

#include <ZELKit/ZELProjectionType.h>
#include <ZELPlatform/AVFoundation.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zelview {

/// What is to be played, and how.
struct VideoSettings {
  /// Files or URLs, at least one.
  std::vector<std::string> films;
  /// None: decided for each film, and printed.
  std::optional<ZELProjectionType> projection;
  /// Seconds at which the first film starts.
  double start = 0.0;
  bool loop = false;
  bool muted = false;
  bool verbose = false;
  /// Whether display and clock are stepped (`AVPlayer::setWaitsForFrames`).
  bool isStepped = false;
};

/// A player with a list of films, which it plays one after the other. A film that fails is named on standard error and
/// passed over; the last one that plays stays. Main thread.
class VideoPlayback final : public std::enable_shared_from_this<VideoPlayback> {
 public:
  explicit VideoPlayback(VideoSettings settings);
  ~VideoPlayback();

  /// Opens the first film, standing still; `changed` is called on every change of `isReady`, `projection`, `name` and
  /// `failure`.
  void open(std::function<void()> changed);
  void close();

  const std::shared_ptr<AVPlayer>& player() const { return player_; }

  /// Whether the present film's first frame is there.
  bool isReady() const { return isReady_; }
  ZELProjectionType projection() const { return projection_; }
  /// The present film's, and its place when there are several.
  std::string name() const;
  /// Why nothing at all could be played, in one sentence; empty otherwise.
  const std::string& failure() const { return failure_; }

  void play() { player_->play(); }
  /// From the end it plays the last film again.
  void togglePause();
  bool isPaused() const { return player_->rate() == 0.0F; }
  void toggleSound() { player_->setMuted(!player_->isMuted()); }

  /// In seconds; `nearby` is faster, for while the person still looks for the place.
  void seekTo(double time, bool nearby = false);
  void seekBy(double seconds) { seekTo(time() + seconds); }
  double time() const { return CMTimeGetSeconds(player_->currentTime()); }
  /// None when it is not known, or has no end.
  std::optional<double> duration() const;

  /// Goes that many films on, around the list's ends only with `loop`.
  void skip(int films);

  VideoPlayback(const VideoPlayback&) = delete;
  VideoPlayback& operator=(const VideoPlayback&) = delete;

 private:
  std::optional<size_t> filmAfter(int films) const;
  void begin(size_t film);
  void statusChanged();
  void ready();
  void failed();
  void ended();
  void describeFilm() const;
  void describeFrames() const;

  const VideoSettings settings_;
  std::shared_ptr<AVPlayer> player_;
  std::function<void()> changed_;
  std::shared_ptr<AVPlayerItem> item_;
  size_t film_ = 0;
  bool isReady_ = false;
  bool isEnded_ = false;
  bool hasFailed_ = false;
  bool hasShownAny_ = false;
  ZELProjectionType projection_ = ZELProjectionTypeFlat;
  std::string failure_;
};

}  // namespace zelview
