#pragma once

#include <ZELPlatform/CoreMedia.h>
#include <ZELPlatform/CoreVideo.h>
#include <ZELPlatform/Export.h>

#include <cstdint>
#include <memory>

class AVPlayerItemVideoOutput;
class DispatchQueue;

namespace ZELPlatform {
class ItemPlayback;
}

/// What the frames of an output are to be like.
struct AVVideoOutputAttributes {
  /// The one format that there is: two planes, 4:2:0, video range, with the matrix of BT.709.
  uint32_t pixelFormatType = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
  CVPixelBufferAttributes pixelBuffer;
};

/// Hears of what happens to an output. Messages come on the queue that was given with the delegate.
class ZELPLATFORM_EXPORT AVPlayerItemOutputPullDelegate {
 public:
  virtual ~AVPlayerItemOutputPullDelegate() = default;

  /// The frames that follow do not continue those before: the player seeks.
  virtual void outputSequenceWasFlushed(const std::shared_ptr<AVPlayerItemVideoOutput>& output) = 0;
};

/// Gives the frames of the item that it is attached to, chosen by time. Any thread.
///
/// Every decoded frame has its time in the item. The frame for a time is the newest one that is due; a frame that a
/// newer one overtakes is dropped. While the item plays, a frame is due from half the time between two questions before
/// its own time on, so that on an evenly refreshed display each is shown at the refresh nearest to it. The first frame
/// after a seek is due at once. When the item is paused or has ended, its last frame stays.
class ZELPLATFORM_EXPORT AVPlayerItemVideoOutput : public std::enable_shared_from_this<AVPlayerItemVideoOutput> {
 public:
  /// Null for a pixel format that it cannot give.
  static std::shared_ptr<AVPlayerItemVideoOutput> createWithPixelBufferAttributes(
      const AVVideoOutputAttributes& attributes = {});
  ~AVPlayerItemVideoOutput();

  const AVVideoOutputAttributes& pixelBufferAttributes() const { return attributes_; }

  /// Where the item will be at that host time (seconds, as `CACurrentMediaTime`) if it goes on as now: an answer for
  /// the moment at which a frame will be on the screen. A zero time without an item.
  CMTime itemTimeForHostTime(double hostTime);

  /// Whether the frame for that time is another than the one handed out last. Waits for the decoder only if the player
  /// was told to (`AVPlayer::setWaitsForFrames`).
  bool hasNewPixelBufferForItemTime(CMTime itemTime);

  /// The frame for that time, also when it was handed out before, or null when there is none yet. `itemTimeForDisplay`,
  /// if given, then gets the frame's own time. The frame borrows the decoder's memory where that can be: do not keep
  /// many.
  CVPixelBufferRef copyPixelBufferForItemTime(CMTime itemTime, CMTime* itemTimeForDisplay);

  /// Neither is held for good: the delegate weakly, the queue until the next call. Without a queue none is told.
  void setDelegate(std::weak_ptr<AVPlayerItemOutputPullDelegate> delegate, std::shared_ptr<DispatchQueue> queue);

  /// Called by items; for the library's own use. Attaching fails when it is attached already.
  bool attach(const std::shared_ptr<ZELPlatform::ItemPlayback>& playback);
  void detach(const std::shared_ptr<ZELPlatform::ItemPlayback>& playback);
  void noteFlush();

  AVPlayerItemVideoOutput(const AVPlayerItemVideoOutput&) = delete;
  AVPlayerItemVideoOutput& operator=(const AVPlayerItemVideoOutput&) = delete;

 private:
  struct State;
  explicit AVPlayerItemVideoOutput(const AVVideoOutputAttributes& attributes);

  const AVVideoOutputAttributes attributes_;
  const std::unique_ptr<State> state_;
};
