#include "drivers/gstreamer/VideoTap.h"

#include <ZELPlatform/Foundation.h>

#include <algorithm>
#include <utility>

namespace ZELPlatform {
namespace {

constexpr double kSecond = GST_SECOND;

constexpr gsize kPage = 4096;

/// For frames that say nothing of their length.
constexpr double kUsualFrameLength = 1.0 / 30.0;

/// Decoders are told to hurry, and leave frames out, only when frames come so much too late.
constexpr double kTolerableLateness = 0.08;

/// Frames that are held outside the decoder: in the sink, in the queue, chosen, and shown.
constexpr guint kFramesHeld = 1 + FrameQueue::kFramesAhead + 2;

double frameLength(const GstVideoInfo& info) {
  return info.fps_n > 0 && info.fps_d > 0 ? static_cast<double>(info.fps_d) / info.fps_n : kUsualFrameLength;
}

double runningTimeOf(const GstSegment& segment, GstClockTime position) {
  guint64 running = 0;
  const gint sign = gst_segment_to_running_time_full(&segment, GST_FORMAT_TIME, position, &running);
  return sign * static_cast<double>(running) / kSecond;
}

/// Tells decoders that frames may have rows of any length, so that they need not copy them into tight ones, that they
/// begin at a page, so that a GPU can take them as they are, and how many are held.
void answerAllocation(GstQuery* query) {
  GstCaps* caps = nullptr;
  gboolean needsPool = FALSE;
  gst_query_parse_allocation(query, &caps, &needsPool);
  GstVideoInfo info;
  const bool known = caps && gst_video_info_from_caps(&info, caps);
  gst_query_add_allocation_pool(query, nullptr, known ? static_cast<guint>(GST_VIDEO_INFO_SIZE(&info)) : 0, kFramesHeld,
                                0);
  GstAllocationParams atPages;
  gst_allocation_params_init(&atPages);
  atPages.align = kPage - 1;
  gst_query_add_allocation_param(query, nullptr, &atPages);
  gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
}

}  // namespace

VideoTap::VideoTap(std::shared_ptr<MediaSession> session, Events events)
    : session_(std::move(session)), events_(std::move(events)) {
  sink_.reset(GST_ELEMENT(gst_object_ref_sink(gst_element_factory_make("appsink", nullptr))));
  const GstMiniPointer<GstCaps> caps(gst_caps_new_empty_simple("video/x-raw"));
  g_object_set(sink_.get(), "sync", FALSE, "max-buffers", 1U, "drop", FALSE, "wait-on-eos", TRUE, "enable-last-sample",
               FALSE, "caps", caps.get(), nullptr);
  GstAppSinkCallbacks callbacks{};
  callbacks.eos = endOfStream;
  callbacks.new_preroll = newPreroll;
  callbacks.new_sample = newSample;
  gst_app_sink_set_callbacks(GST_APP_SINK(sink_.get()), &callbacks, this, nullptr);
  const GstPointer<GstPad> pad(gst_element_get_static_pad(sink_.get(), "sink"));
  const auto what = static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM | GST_PAD_PROBE_TYPE_EVENT_FLUSH |
                                                 GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM);
  gst_pad_add_probe(pad.get(), what, probe, this, nullptr);
  pumpThread_ = std::thread([this] { pump(); });
}

VideoTap::~VideoTap() { close(); }

void VideoTap::close() {
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    wakePump_.notify_all();
  }
  if (pumpThread_.joinable()) pumpThread_.join();
}

bool VideoTap::hasArrived() const {
  const std::lock_guard lock(mutex_);
  return arrived_;
}

bool VideoTap::hasBegun() const {
  const std::lock_guard lock(mutex_);
  return !expecting_ && !flushing_;
}

bool VideoTap::isDrained() const {
  const std::lock_guard lock(mutex_);
  return drained_;
}

void VideoTap::arriveAtGap() {
  {
    const std::lock_guard lock(mutex_);
    if (!atGap_ || arrived_ || expecting_ || flushing_) return;
    arrived_ = true;
    session_->frames.end(sequence_);
  }
  events_.arrived();
}

std::optional<VideoTap::Line> VideoTap::line() const {
  const std::lock_guard lock(mutex_);
  return line_;
}

std::optional<GstVideoInfo> VideoTap::videoInfo() const {
  const std::lock_guard lock(mutex_);
  return info_;
}

void VideoTap::expectSequence() {
  const std::lock_guard lock(mutex_);
  arrived_ = drained_ = false;
  expecting_ = true;
}

void VideoTap::resumeSequence() {
  const std::lock_guard lock(mutex_);
  expecting_ = false;
  sequence_ = session_->frames.begin();
  arrived_ = true;
  // The end is found again.
  available_ = true;
  wakePump_.notify_all();
}

// What happens in the sink, on GStreamer's threads.

GstPadProbeReturn VideoTap::probe(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer tap) {
  auto* self = static_cast<VideoTap*>(tap);
  if (info->type & GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM) {
    GstQuery* query = gst_pad_probe_info_get_query(info);
    if (GST_QUERY_TYPE(query) != GST_QUERY_ALLOCATION) return GST_PAD_PROBE_OK;
    answerAllocation(query);
    return GST_PAD_PROBE_HANDLED;
  }
  GstEvent* event = gst_pad_probe_info_get_event(info);
  if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_START) {
    self->flushStarted();
  } else if (GST_EVENT_TYPE(event) == GST_EVENT_SEGMENT) {
    const GstSegment* segment = nullptr;
    gst_event_parse_segment(event, &segment);
    self->segmentArrived(*segment);
  } else if (GST_EVENT_TYPE(event) == GST_EVENT_GAP) {
    const std::lock_guard lock(self->mutex_);
    self->atGap_ = true;
  }
  return GST_PAD_PROBE_OK;
}

void VideoTap::flushStarted() {
  const std::lock_guard lock(mutex_);
  flushing_ = true;
  available_ = atEnd_ = atGap_ = arrived_ = drained_ = false;
  sequence_ = 0;
  session_->frames.discard();
}

/// Only the first segment after a flush begins a sequence; frames of a later one lie on the same line, as the clock
/// runs on through it.
void VideoTap::segmentArrived(const GstSegment& segment) {
  const std::lock_guard lock(mutex_);
  if (!std::exchange(flushing_, false) || segment.format != GST_FORMAT_TIME) return;
  const guint64 begin = segment.rate < 0.0 ? segment.stop : segment.start;
  const guint64 item = gst_segment_to_stream_time(&segment, GST_FORMAT_TIME, begin);
  line_ = Line{runningTimeOf(segment, begin), GST_CLOCK_TIME_IS_VALID(item) ? static_cast<double>(item) / kSecond : 0.0,
               segment.rate * segment.applied_rate};
  sequence_ = session_->frames.begin();
  expecting_ = false;
  lastTime_ = line_->itemTime;
  lastDuration_ = 0.0;
  prerolled_ = nullptr;
}

void VideoTap::noteAvailable() {
  const std::lock_guard lock(mutex_);
  available_ = true;
  wakePump_.notify_all();
}

GstFlowReturn VideoTap::newSample(GstAppSink* /*sink*/, gpointer tap) {
  static_cast<VideoTap*>(tap)->noteAvailable();
  return GST_FLOW_OK;
}

/// Standing, the first frame of a sequence is all that comes, and it is wanted at once.
GstFlowReturn VideoTap::newPreroll(GstAppSink* sink, gpointer tap) {
  auto* self = static_cast<VideoTap*>(tap);
  const GstMiniPointer<GstSample> sample(gst_app_sink_try_pull_preroll(sink, 0));
  if (!sample) return GST_FLOW_OK;
  uint64_t sequence = 0;
  {
    const std::lock_guard lock(self->mutex_);
    // Later in a sequence other frames are still on their way before this one.
    if (self->arrived_ || self->flushing_) return GST_FLOW_OK;
    self->prerolled_ = gst_sample_get_buffer(sample.get());
    sequence = self->sequence_;
  }
  self->deliver(sample.get(), sequence);
  return GST_FLOW_OK;
}

void VideoTap::endOfStream(GstAppSink* /*sink*/, gpointer tap) {
  auto* self = static_cast<VideoTap*>(tap);
  {
    const std::lock_guard lock(self->mutex_);
    self->atEnd_ = self->available_ = true;
    self->wakePump_.notify_all();
  }
}

// The tap's own thread.

void VideoTap::pump() {
  const Timeline* timeline = session_->isStepped ? nullptr : &session_->timeline;
  while (session_->frames.waitForRoom(timeline)) {
    uint64_t sequence = 0;
    const GstMiniPointer<GstSample> sample = take(&sequence);
    if (!sample) return;
    deliver(sample.get(), sequence);
  }
}

/// The next frame, waited for; null when the tap is closed.
GstMiniPointer<GstSample> VideoTap::take(uint64_t* sequence) {
  std::unique_lock lock(mutex_);
  for (;;) {
    wakePump_.wait(lock, [&] { return closed_ || (available_ && !flushing_); });
    if (closed_) return nullptr;
    GstMiniPointer<GstSample> sample(gst_app_sink_try_pull_sample(GST_APP_SINK(sink_.get()), 0));
    *sequence = sequence_;
    if (sample) {
      const bool again = prerolled_ && gst_sample_get_buffer(sample.get()) == prerolled_;
      prerolled_ = nullptr;
      if (again) continue;
      return sample;
    }
    available_ = false;
    if (!atEnd_ || drained_) continue;
    const bool first = !std::exchange(arrived_, true);
    drained_ = true;
    session_->frames.end(sequence_);
    lock.unlock();
    if (first) events_.arrived();
    events_.drained();
    lock.lock();
  }
}

void VideoTap::deliver(GstSample* sample, uint64_t sequence) {
  GstVideoInfo info;
  GstCaps* caps = gst_sample_get_caps(sample);
  GstBuffer* buffer = gst_sample_get_buffer(sample);
  if (!caps || !buffer || !gst_video_info_from_caps(&info, caps)) return;
  noteInfo(info);
  MediaFrame frame = timed(sample, info);
  frame.buffer = importer_.import(buffer, info);
  if (!frame.buffer) return;
  const MediaFrame timing{nullptr, frame.time, frame.duration};
  if (!session_->frames.push(sequence, std::move(frame))) return;
  bool first = false;
  {
    const std::lock_guard lock(mutex_);
    if (sequence != sequence_) return;
    first = !std::exchange(arrived_, true);
  }
  if (first) events_.arrived();
  sendLateness(timing);
}

/// Where the frame lies in the item. One without a time follows the frame before it.
MediaFrame VideoTap::timed(GstSample* sample, const GstVideoInfo& info) {
  const GstBuffer* buffer = gst_sample_get_buffer(sample);
  const std::lock_guard lock(mutex_);
  MediaFrame frame;
  frame.time = GST_BUFFER_PTS_IS_VALID(buffer) && line_
                   ? line_->itemTimeAt(runningTimeOf(*gst_sample_get_segment(sample), GST_BUFFER_PTS(buffer)))
                   : lastTime_ + lastDuration_;
  const bool says = GST_BUFFER_DURATION_IS_VALID(buffer) && GST_BUFFER_DURATION(buffer) > 0;
  frame.duration = says ? static_cast<double>(GST_BUFFER_DURATION(buffer)) / kSecond : frameLength(info);
  lastTime_ = frame.time;
  lastDuration_ = frame.duration;
  return frame;
}

void VideoTap::noteInfo(const GstVideoInfo& info) {
  {
    const std::lock_guard lock(mutex_);
    if (info_ && gst_video_info_is_equal(&*info_, &info)) return;
    info_ = info;
    if (!arrived_) return;
  }
  events_.changed();
}

/// A decoder that falls behind leaves out what nobody would see. It leaves out twice what it is told, so it is told of
/// one frame at most: else a decoder that is too slow for the film would hand out one frame a second and nothing
/// between.
void VideoTap::sendLateness(const MediaFrame& frame) {
  const double rate = session_->timeline.rate();
  if (session_->isStepped || rate <= 0.0) return;
  const double whole = session_->timeline.itemTimeAt(CACurrentMediaTime()) - frame.time;
  const std::optional<Line> line = this->line();
  if (whole < kTolerableLateness || !line) return;
  const double late = std::min(whole, std::max(frame.duration, kUsualFrameLength));
  const double running = line->runningTime + (frame.time - line->itemTime) / line->rate;
  const GstPointer<GstPad> pad(gst_element_get_static_pad(sink_.get(), "sink"));
  const double proportion = 1.0 + late / std::max(frame.duration, kUsualFrameLength);
  gst_pad_push_event(pad.get(), gst_event_new_qos(GST_QOS_TYPE_UNDERFLOW, proportion,
                                                  static_cast<GstClockTimeDiff>(late / rate * kSecond),
                                                  static_cast<GstClockTime>(std::max(running, 0.0) * kSecond)));
}

}  // namespace ZELPlatform
