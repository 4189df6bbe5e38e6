#pragma once

#include <ZELPlatform/AVPlayerItem.h>
#include <ZELPlatform/CoreMedia.h>
#include <ZELPlatform/Export.h>

#include <cstdint>
#include <functional>
#include <memory>

/// What a player does when its item has been played to the end.
enum AVPlayerActionAtItemEnd : int64_t {
  /// The rate becomes 0.
  AVPlayerActionAtItemEndPause = 1,
  /// The rate stays as it is: a seek back from `AVPlayerItem::setPlayedToEndObserver` plays on, which makes a loop.
  AVPlayerActionAtItemEndNone = 2,
};

enum AVPlayerTimeControlStatus : int64_t {
  AVPlayerTimeControlStatusPaused = 0,
  /// It is to play and cannot yet, or not now: opening, seeking, waiting for the network, at the end, failed.
  AVPlayerTimeControlStatusWaitingToPlayAtSpecifiedRate = 1,
  AVPlayerTimeControlStatusPlaying = 2,
};

/// Plays one item at a time, with sound. Frames come out of the item's video outputs.
///
/// No member waits for decoders, files or networks; what was asked for is done as soon as it can be. Main thread,
/// except `currentItem` and `currentTime`; the last reference may be dropped anywhere. The main run loop has to be
/// driven.
class ZELPLATFORM_EXPORT AVPlayer {
 public:
  /// Starts what plays films, for which the first one would have to wait otherwise; blocks for some 50 ms. Where the
  /// program has not started GStreamer itself, large memory of that begins at a page from then on, so that a GPU can
  /// take decoded frames as they are.
  static void prepare();

  static std::shared_ptr<AVPlayer> create();
  static std::shared_ptr<AVPlayer> createWithPlayerItem(const std::shared_ptr<AVPlayerItem>& item);
  ~AVPlayer();

  /// The item in the player, or null. Any thread.
  std::shared_ptr<AVPlayerItem> currentItem() const;

  /// Opens another item in place of the present one, or none; the rate stays, so a playing player plays on. Returns
  /// false, and nothing changes, when another player has the item.
  bool replaceCurrentItemWithPlayerItem(const std::shared_ptr<AVPlayerItem>& item);

  /// `setRate(1)` and `setRate(0)`.
  void play() { setRate(1.0F); }
  void pause() { setRate(0.0F); }

  /// The speed that is wanted, 1 being natural and 0 paused; what is done now is `timeControlStatus`. Cut to 0 … 16;
  /// what is not a number is 0. Sound keeps its pitch where the system can do that.
  float rate() const;
  void setRate(float rate);

  AVPlayerTimeControlStatus timeControlStatus() const;
  /// Called after every change of `timeControlStatus` or `rate`.
  void setTimeControlStatusObserver(std::function<void()> observer);

  /// Called on the main thread once the frame of the new time is there (true), or when the seek came to nothing
  /// (false): a newer seek, another item, or an item that cannot seek.
  using SeekCompletion = std::function<void(bool finished)>;

  /// Goes to that time exactly. Before the item is ready it is kept until then. Times are cut to the item's length.
  void seekToTime(CMTime time, SeekCompletion completion = {});

  /// Goes near that time, faster: with `kCMTimePositiveInfinity` on a side, to a frame there that can be decoded by
  /// itself. Finite tolerances are met by going there exactly.
  void seekToTime(CMTime time, CMTime toleranceBefore, CMTime toleranceAfter, SeekCompletion completion = {});

  /// Where the item is played now, or where a seek under way leads; a zero time without an item. Any thread.
  CMTime currentTime() const;

  /// Loudness as a factor, 0 … 1; 1 at first.
  float volume() const;
  void setVolume(float volume);

  /// Silences without changing the volume.
  bool isMuted() const;
  void setMuted(bool muted);

  /// `AVPlayerActionAtItemEndPause` at first.
  AVPlayerActionAtItemEnd actionAtItemEnd() const;
  void setActionAtItemEnd(AVPlayerActionAtItemEnd action);

  /// For programs that step the display with a clock of their own: no sound is played, item time follows the host clock
  /// whatever that is, and outputs wait for the frame that is due (ten seconds at most) instead of doing without. Set
  /// it before an item is given; false at first, when host time has to be the system's.
  bool waitsForFrames() const;
  void setWaitsForFrames(bool waits);

  AVPlayer(const AVPlayer&) = delete;
  AVPlayer& operator=(const AVPlayer&) = delete;

 private:
  AVPlayer();
  struct Implementation;
  const std::unique_ptr<Implementation> implementation_;
};
