#pragma once

#include "platform/avfoundation/FrameQueue.h"
#include "platform/avfoundation/Timeline.h"

#include <ZELPlatform/AVPlayerItem.h>
#include <ZELPlatform/Export.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ZELPlatform {

/// What is known of an opened film.
struct MediaDescription {
  /// Seconds; none for what has no end.
  std::optional<double> duration;
  bool seekable = false;
  CGSize presentationSize{};
  std::vector<AVPlayerItemTrack> tracks;
  AVVideoOrientation orientation;
};

/// One playing of one item, shared by everybody who takes part in it.
struct MediaSession {
  explicit MediaSession(bool stepped) : isStepped(stepped) {}

  FrameQueue frames;
  Timeline timeline;
  /// The host's clock leads, and nobody plays sound: `AVPlayer::setWaitsForFrames`.
  const bool isStepped;

  /// When stepped: told each item time that an output is asked about, on any thread, since nobody hears of a host's
  /// clock. Set once, before anybody else knows the session.
  std::function<void(double)> asked;
};

/// Where a pipeline reports to. Any thread; nothing is waited for.
class MediaListener {
 public:
  virtual ~MediaListener() = default;

  /// Opened, with the first frame in the session's queue.
  virtual void ready(const MediaDescription& description) = 0;
  virtual void described(const MediaDescription& description) = 0;

  /// It cannot go on, for the reason that the sentence gives.
  virtual void failed(const std::string& sentence) = 0;

  /// The seek under way has its first frame (or none is to come), or came to nothing.
  virtual void seekFinished(bool done) = 0;

  /// Waits for the network, so much of which is there; 1 when it no longer does.
  virtual void buffered(double fraction) = 0;

  /// Everything has come out of the decoders.
  virtual void ended() = 0;
};

struct MediaSeek {
  enum class Precision { Exact, NearestKey, KeyBefore, KeyAfter };
  /// Seconds in the item.
  double time = 0.0;
  /// What the item is played at from then on; above 0.
  double rate = 1.0;
  Precision precision = Precision::Exact;
};

/// An opened film. Main thread; nothing is waited for, the destructor included.
///
/// It puts frames into the session's queue, a sequence at its beginning and after each seek, and keeps them within the
/// queue's room. Unless the session is stepped it lets the session's timeline run when its clock does, and holds it
/// when that stops or a seek has arrived. It is made standing, and becomes ready or fails by itself.
class MediaPipeline {
 public:
  virtual ~MediaPipeline() = default;
  virtual void setPlaying(bool playing) = 0;

  /// One at a time: the next only after `MediaListener::seekFinished`.
  virtual void seek(const MediaSeek& seek) = 0;
  virtual void setVolume(double volume) = 0;
  virtual void setMuted(bool muted) = 0;
};

/// What stands behind players. Main thread.
class MediaDriver {
 public:
  virtual ~MediaDriver() = default;

  /// Does now what the first film would have to wait for.
  virtual void prepare() {}

  /// Never null: what cannot be opened fails through the listener.
  virtual std::unique_ptr<MediaPipeline> createPipeline(const std::string& url,
                                                        const std::shared_ptr<MediaSession>& session,
                                                        const std::shared_ptr<MediaListener>& listener) = 0;
};

/// One entry of the list of media drivers.
struct MediaDriverDescriptor {
  const char* name;
  /// Null, with one sentence in `error`, when it cannot work here.
  std::shared_ptr<MediaDriver> (*create)(std::string* error);
};

/// The media drivers that were built in, in the order in which they are tried.
const std::vector<MediaDriverDescriptor>& mediaDrivers();

/// The driver in use, opened on first use and kept for the process; null, with one sentence in `error`, without one.
/// Main thread.
std::shared_ptr<MediaDriver> activeMediaDriver(std::string* error);

/// Puts a driver in place of the built-in ones, for players that get an item from then on; null brings those back. For
/// tests. Main thread.
ZELPLATFORM_EXPORT void setMediaDriver(std::shared_ptr<MediaDriver> driver);

}  // namespace ZELPlatform
