#pragma once

#include "platform/avfoundation/Timeline.h"

#include <ZELPlatform/CoreVideo.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

namespace ZELPlatform {

/// A decoded frame and its place in the item, in seconds.
struct MediaFrame {
  CVPixelBufferRef buffer;
  double time = 0.0;
  double duration = 0.0;
};

/// Between the decoder, which is ahead by a few frames, and the display, which asks for the frame of a time.
///
/// Frames come in sequences: a seek ends one, and what is late of it is refused by its number. Of a sequence the first
/// frame is due at once, the others at their times; of those that are due the newest is chosen, and stays chosen until
/// a newer one is due, also beyond its sequence: what was found while a person drags along a film is shown. Any thread;
/// buffers are let go outside the lock.
class FrameQueue {
 public:
  /// Frames that wait for their time.
  static constexpr size_t kFramesAhead = 3;

  /// How long a frame that is overdue is still kept for a display that is late; then, with the queue full, it is
  /// dropped, so that sound goes on while nobody looks.
  static constexpr double kPatience = 0.25;

  explicit FrameQueue(size_t capacity = kFramesAhead) : capacity_(capacity) {}

  /// Forgets the frames that wait and refuses more until a new sequence begins.
  void discard();

  /// Begins a sequence and returns its number, never 0.
  uint64_t begin();

  /// Adds a frame, whether there is room or not. False when it belongs to another sequence or the queue is closed.
  ///
  /// Times that go back or are not numbers are taken for the time of the frame before.
  bool push(uint64_t sequence, MediaFrame frame);

  /// No frame follows in this sequence; one that does all the same, after a gap, takes that back.
  void end(uint64_t sequence);

  /// For good: nobody waits any longer, nothing is taken. What is chosen stays.
  void close();

  /// Waits until another frame has room; false when the queue is closed. While the timeline runs, overdue frames make
  /// room; without one, only those who ask do.
  bool waitForRoom(const Timeline* timeline);

  /// Has everybody who waits look again: the timeline changed.
  void wake();

  /// The frame for that time. The number tells frames apart and is 0 when there is none.
  struct Choice {
    uint64_t number = 0;
    MediaFrame frame;
  };
  Choice choose(double time);

  /// The same, but first waits until that frame is known: until there is a later one, or none follows. With
  /// `firstWillDo`, the sequence's first is enough. Gives up after `seconds` of real time.
  Choice chooseWaiting(double time, bool firstWillDo, double seconds);

  /// While hidden, no frame is chosen: the playing is to begin elsewhere.
  void setHidden(bool hidden);

  /// Notes that the frame was handed out.
  void noteShown(uint64_t number);

  /// Whether anybody wants the frames: those that nobody wants are not counted as dropped.
  void setWatched(bool watched);

  uint64_t droppedCount() const;
  uint64_t shownCount() const;

  /// Whether the newest sequence has had a frame, and whether it is over.
  bool hasFrames() const;
  bool isEnded() const;

  /// The end of the newest sequence's last frame so far; 0 before the first.
  double lastFrameEnd() const;

  size_t waitingCount() const;

 private:
  using Dropped = std::vector<MediaFrame>;

  void takeNext(Dropped* dropped);
  void advance(double time, Dropped* dropped);
  Choice chosen() const;
  void endSequence(Dropped* dropped);

  const size_t capacity_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool closed_ = false;
  bool watched_ = false;

  uint64_t sequence_ = 0;
  bool accepting_ = false;
  bool hidden_ = false;
  /// Whether the sequence's first frame has not been chosen yet.
  bool awaitsFirst_ = true;
  bool ended_ = false;
  bool hasFrames_ = false;
  double lastTime_ = 0.0;
  double lastEnd_ = 0.0;
  std::deque<MediaFrame> waiting_;

  uint64_t number_ = 0;
  std::optional<MediaFrame> current_;
  uint64_t lastShown_ = 0;
  uint64_t droppedCount_ = 0;
  uint64_t shownCount_ = 0;
};

}  // namespace ZELPlatform
