#pragma once

#include "drivers/gstreamer/FrameImporter.h"
#include "drivers/gstreamer/GstPointer.h"
#include "platform/avfoundation/MediaDriver.h"

#include <gst/app/gstappsink.h>
#include <gst/video/video.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace ZELPlatform {

/// The end of a film's video: takes decoded frames out of an app sink into the session's queue, as fast as there is
/// room.
///
/// The sink does not wait for the clock; it holds one frame, and lets the decoder wait. A thread of the tap's moves
/// frames on. Any thread, but for `close`.
class VideoTap {
 public:
  /// What the tap reports, from GStreamer's threads or its own; short, and without locks that are held around calls to
  /// the tap.
  struct Events {
    /// A sequence has its first frame, or ended without one.
    std::function<void()> arrived;
    /// The last frame of the sequence is in the queue.
    std::function<void()> drained;
    /// The frames have another size or rate.
    std::function<void()> changed;
  };

  VideoTap(std::shared_ptr<MediaSession> session, Events events);
  ~VideoTap();

  /// Owned by the tap.
  GstElement* sink() const { return sink_.get(); }

  /// Whether the newest sequence has had a frame, or its end.
  bool hasArrived() const;

  /// To be called when the sink has what it waited for: if that is a gap, where sound has no picture, the newest
  /// sequence has arrived and ends without a frame.
  void arriveAtGap();
  /// Whether the sequence that was expected last has begun.
  bool hasBegun() const;
  bool isDrained() const;

  /// A sequence is to follow: what arrived so far does not count for it.
  void expectSequence();

  /// It does not: frames go on where they stopped.
  void resumeSequence();

  /// Item time as a line over the running time of the pipeline's clock; none before the first sequence.
  struct Line {
    double runningTime = 0.0;
    double itemTime = 0.0;
    double rate = 1.0;
    double itemTimeAt(double time) const { return itemTime + (time - runningTime) * rate; }
  };
  std::optional<Line> line() const;

  /// The frames' format; nothing known before the first.
  std::optional<GstVideoInfo> videoInfo() const;

  /// Ends the tap's thread. To be called after the pipeline was stopped, or before it was started; the session's queue
  /// is closed by then or has room.
  void close();

  VideoTap(const VideoTap&) = delete;
  VideoTap& operator=(const VideoTap&) = delete;

 private:
  static GstFlowReturn newSample(GstAppSink* sink, gpointer tap);
  static GstFlowReturn newPreroll(GstAppSink* sink, gpointer tap);
  static void endOfStream(GstAppSink* sink, gpointer tap);
  static GstPadProbeReturn probe(GstPad* pad, GstPadProbeInfo* info, gpointer tap);

  void flushStarted();
  void segmentArrived(const GstSegment& segment);
  void noteAvailable();
  void pump();
  GstMiniPointer<GstSample> take(uint64_t* sequence);
  void deliver(GstSample* sample, uint64_t sequence);
  MediaFrame timed(GstSample* sample, const GstVideoInfo& info);
  void noteInfo(const GstVideoInfo& info);
  void sendLateness(const MediaFrame& frame);

  const std::shared_ptr<MediaSession> session_;
  const Events events_;
  GstPointer<GstElement> sink_;
  FrameImporter importer_;

  mutable std::mutex mutex_;
  std::condition_variable wakePump_;
  bool closed_ = false;
  /// Between the start of a flush and the next segment: what the sink holds is of the sequence before.
  bool flushing_ = true;
  /// A sequence was announced and has not begun.
  bool expecting_ = false;
  bool available_ = false;
  bool atEnd_ = false;
  bool atGap_ = false;
  bool arrived_ = false;
  bool drained_ = false;
  uint64_t sequence_ = 0;
  std::optional<Line> line_;
  std::optional<GstVideoInfo> info_;
  double lastTime_ = 0.0;
  double lastDuration_ = 0.0;
  /// A frame shown before playing goes through the sink again when playing starts. Compared, never read.
  const GstBuffer* prerolled_ = nullptr;

  std::thread pumpThread_;
};

}  // namespace ZELPlatform
