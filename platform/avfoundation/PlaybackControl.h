#pragma once

#include "platform/avfoundation/ItemPlayback.h"
#include "platform/avfoundation/MediaDriver.h"

#include <ZELPlatform/AVPlayer.h>
#include <ZELPlatform/Foundation.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ZELPlatform {

/// Brings a pipeline to what is wanted of it: opening, then one seek after the other, then playing or standing.
///
/// Wishes are kept until the pipeline can do them, and of several seeks only the newest is. One per playing of an item.
/// Main thread.
class PlaybackControl final : public std::enable_shared_from_this<PlaybackControl> {
 public:
  struct Settings {
    bool stepped = false;
    double rate = 0.0;
    double volume = 1.0;
    bool muted = false;
    AVPlayerActionAtItemEnd actionAtItemEnd = AVPlayerActionAtItemEndPause;
  };

  /// `changed` is called when the rate or the status may have changed.
  static std::shared_ptr<PlaybackControl> create(const std::shared_ptr<AVPlayerItem>& item, const Settings& settings,
                                                 std::function<void()> changed);
  ~PlaybackControl();

  /// Ends the playing; seeks come to nothing. The last frame stays with the item.
  void stop();

  double rate() const { return settings_.rate; }
  void setRate(double rate);
  void setVolume(double volume);
  void setMuted(bool muted);
  void setActionAtItemEnd(AVPlayerActionAtItemEnd action) { settings_.actionAtItemEnd = action; }

  /// The seek's rate is not looked at.
  void seek(MediaSeek seek, AVPlayer::SeekCompletion completion);

  AVPlayerTimeControlStatus timeControlStatus() const;

  PlaybackControl(const PlaybackControl&) = delete;
  PlaybackControl& operator=(const PlaybackControl&) = delete;

 private:
  class Listener;
  struct Seek {
    MediaSeek request;
    AVPlayer::SeekCompletion completion;
    /// How far before the wanted time it goes, in frames, when there is no frame at that time.
    int framesBefore = 0;
  };

  PlaybackControl(const std::shared_ptr<AVPlayerItem>& item, const Settings& settings, std::function<void()> changed);
  void open();

  // What the pipeline reports.
  void ready(const MediaDescription& description);
  void described(const MediaDescription& description);
  void failed(const std::string& sentence);
  void seekFinished(bool done);
  void buffered(double fraction);
  void drained();

  void update();
  void updateStepped();
  void startSeek(Seek seek);
  bool seekBeforeTheGap();
  void abandonSeeks();
  void complete(AVPlayer::SeekCompletion completion, bool finished);
  double cutToLength(double time) const;
  double frameLength() const;
  bool isHindered() const;

  void watchForTheEnd();
  void stopWatchingForTheEnd();
  void reachedEnd();

  const std::shared_ptr<AVPlayerItem> item_;
  const std::shared_ptr<ItemPlayback> playback_;
  Settings settings_;
  const std::function<void()> changed_;
  std::shared_ptr<MediaSession> session_;
  std::unique_ptr<MediaPipeline> pipeline_;

  bool isReady_ = false;
  bool isFailed_ = false;
  bool isBuffering_ = false;
  bool isDrained_ = false;
  bool isEnded_ = false;
  bool pipelineIsPlaying_ = false;
  double pipelineRate_ = 1.0;
  std::optional<Seek> nextSeek_;
  std::optional<Seek> seekUnderWay_;

  /// Where the item ends, once that is known: read wherever an output is asked.
  struct End;
  const std::shared_ptr<End> end_;
  NSRunLoop::Token endTimer_ = 0;
};

}  // namespace ZELPlatform
