#pragma once

#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/CoreMedia.h>
#include <ZELPlatform/Export.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class AVPlayerItemVideoOutput;

namespace ZELPlatform {
class ItemPlayback;
}

/// How far an item has come.
enum AVPlayerItemStatus : int64_t {
  /// Not in a player yet, or being opened.
  AVPlayerItemStatusUnknown = 0,
  /// The first frame is there; everything about the item is known.
  AVPlayerItemStatusReadyToPlay = 1,
  /// It cannot be played, or no further; `AVPlayerItem::error` says why. Final while the item is in the player.
  AVPlayerItemStatusFailed = 2,
};

enum AVMediaType : int64_t {
  AVMediaTypeVideo = 0,
  AVMediaTypeAudio = 1,
  AVMediaTypeText = 2,
};

/// One track of an item.
struct AVPlayerItemTrack {
  AVMediaType mediaType = AVMediaTypeVideo;
  /// What people call the codec, such as "H.264 (High Profile)"; empty when it is not known.
  std::string codec;
  /// Frames per second of a video track; 0 when the track does not say or its rate varies.
  double nominalFrameRate = 0.0;
};

/// How decoded frames have to be turned to stand upright: first mirrored left to right if so said, then rotated.
/// Outputs hand frames out as they were coded.
struct AVVideoOrientation {
  /// Clockwise: 0, 90, 180 or 270 degrees.
  int rotation = 0;
  bool mirrored = false;
};

/// A film: a file, a stream or a camera that a player plays.
///
/// Nothing is opened before the item is given to a player. Taken out of it and given to one again, it starts anew.
/// Questions, outputs and dropping the last reference: any thread, without waiting. Observers: main thread.
class ZELPLATFORM_EXPORT AVPlayerItem : public std::enable_shared_from_this<AVPlayerItem> {
 public:
  /// An item for a URL ("file://", "http://", "rtsp://", "v4l2://" …) or a path of a file. Never null: a bad one makes
  /// an item that fails.
  static std::shared_ptr<AVPlayerItem> createWithURL(const std::string& url);
  ~AVPlayerItem();

  /// What the item was made with.
  const std::string& url() const { return url_; }

  AVPlayerItemStatus status() const;

  /// One sentence that says why the item failed; empty otherwise.
  std::string error() const;

  /// Called after every change of `status`, and when duration, size or tracks of a ready item changed. It replaces
  /// the observer before; set it before the item is given to a player to miss nothing.
  void setStatusObserver(std::function<void()> observer);

  /// Called each time that the item has been played to its end.
  void setPlayedToEndObserver(std::function<void()> observer);

  /// Invalid while it is not known, and for what has no end (cameras, live streams).
  CMTime duration() const;

  /// Pixels of the picture as it is meant to be shown: with its pixels made square, not rotated. Zero until ready.
  CGSize presentationSize() const;

  /// Whether the player can seek in it. False until ready.
  bool canSeek() const;

  std::vector<AVPlayerItemTrack> tracks() const;
  AVVideoOrientation orientation() const;

  /// Seconds from the item's beginning to where it is played now.
  CMTime currentTime() const;

  /// How far it has been loaded, 0 to 1, while playing waits for the network; 1 otherwise.
  double bufferedFraction() const;

  /// Decoded frames that an output could have shown and that were overtaken by a newer one before they were handed out.
  uint64_t droppedFrameCount() const;

  /// Frames handed out by the item's outputs, each counted once.
  uint64_t shownFrameCount() const;

  /// Lets an output give the item's frames. An output that is attached to another item stays there.
  void addOutput(const std::shared_ptr<AVPlayerItemVideoOutput>& output);
  /// Takes one away; one that is not attached to this item stays as it is.
  void removeOutput(const std::shared_ptr<AVPlayerItemVideoOutput>& output);
  std::vector<std::shared_ptr<AVPlayerItemVideoOutput>> outputs() const;

  /// What players and outputs share of this item; for the library's own use.
  const std::shared_ptr<ZELPlatform::ItemPlayback>& playback() const { return playback_; }

  AVPlayerItem(const AVPlayerItem&) = delete;
  AVPlayerItem& operator=(const AVPlayerItem&) = delete;

 private:
  explicit AVPlayerItem(const std::string& url);

  const std::string url_;
  const std::shared_ptr<ZELPlatform::ItemPlayback> playback_;
};
