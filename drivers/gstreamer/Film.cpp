#include "drivers/gstreamer/Film.h"

#include "drivers/gstreamer/ColourRange.h"
#include "drivers/gstreamer/Description.h"
#include "drivers/gstreamer/Reasons.h"
#include "drivers/gstreamer/Sound.h"
#include "drivers/gstreamer/Startup.h"
#include "drivers/gstreamer/Tasks.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ZELPlatform {
namespace {

// What playbin is to do, by the numbers of its "flags" property, which has no header.
constexpr guint kPlayVideo = 0x1;
constexpr guint kPlayAudio = 0x2;
/// Nothing of its own converts sound and pictures on their way: the filter does (what converts sound there is not
/// freed with the playbin, seen with GStreamer 1.22), and the tap takes pictures as they are.
constexpr guint kNativeAudio = 0x20;
constexpr guint kNativeVideo = 0x40;
constexpr guint kBuffering = 0x100;

constexpr double kSecond = GST_SECOND;

/// Between two looks at a file that is being opened, how often nobody, or nobody but queues, may be found at work on
/// it, and how often it is opened again then.
constexpr double kOpeningCheck = 0.1;
constexpr int kMostIdleChecks = 4;
constexpr int kMostDrainingChecks = 20;
constexpr int kMostReopenings = 2;

/// Seconds after which a server that sends nothing is given up.
constexpr guint kServerPatience = 10;

/// For the signal "source-setup".
void limitSilence(GstElement* /*playbin*/, GstElement* source, gpointer /*data*/) {
  const GParamSpec* timeout = g_object_class_find_property(G_OBJECT_GET_CLASS(source), "timeout");
  // Sources that count it in another unit have another type for it.
  if (timeout && timeout->value_type == G_TYPE_UINT) g_object_set(source, "timeout", kServerPatience, nullptr);
}

GstSeekFlags flagsOf(MediaSeek::Precision precision) {
  switch (precision) {
    case MediaSeek::Precision::NearestKey:
      return static_cast<GstSeekFlags>(GST_SEEK_FLAG_KEY_UNIT | GST_SEEK_FLAG_SNAP_NEAREST);
    case MediaSeek::Precision::KeyBefore:
      return static_cast<GstSeekFlags>(GST_SEEK_FLAG_KEY_UNIT | GST_SEEK_FLAG_SNAP_BEFORE);
    case MediaSeek::Precision::KeyAfter:
      return static_cast<GstSeekFlags>(GST_SEEK_FLAG_KEY_UNIT | GST_SEEK_FLAG_SNAP_AFTER);
    default:
      return GST_SEEK_FLAG_ACCURATE;
  }
}

}  // namespace

Film::Film(std::string url, std::shared_ptr<MediaSession> session, std::shared_ptr<MediaListener> listener)
    : url_(std::move(url)),
      session_(std::move(session)),
      listener_(std::move(listener)),
      queue_(DispatchQueue::create("AVPlayerItem")) {}

Film::~Film() = default;

void Film::order(void (Film::*step)()) {
  queue_->async([self = shared_from_this(), step] { (self.get()->*step)(); });
}

void Film::open() { order(&Film::start); }

void Film::close() { order(&Film::stop); }

void Film::setPlaying(bool playing) {
  {
    const std::lock_guard lock(mutex_);
    wantsPlaying_ = playing;
  }
  order(&Film::applyPlaying);
}

void Film::seek(const MediaSeek& seek) {
  {
    const std::lock_guard lock(mutex_);
    seeking_ = true;
    isPrerolled_ = false;
  }
  queue_->async([self = shared_from_this(), seek] { self->applySeek(seek); });
}

void Film::setVolume(double volume) {
  {
    const std::lock_guard lock(mutex_);
    volume_ = volume;
  }
  queue_->async([self = shared_from_this(), volume] {
    if (self->volumeControl_) g_object_set(self->volumeControl_.get(), "volume", volume, nullptr);
  });
}

void Film::setMuted(bool muted) {
  {
    const std::lock_guard lock(mutex_);
    muted_ = muted;
  }
  queue_->async([self = shared_from_this(), muted] {
    if (self->volumeControl_) g_object_set(self->volumeControl_.get(), "mute", static_cast<gboolean>(muted), nullptr);
  });
}

// Orders, on the film's queue.

void Film::start() {
  std::string problem = startGStreamer();
  if (problem.empty()) problem = problemOfFile(url_);
  if (problem.empty()) problem = openPlaybin();
  if (!problem.empty()) {
    fail(problem);
    return;
  }
  const GstStateChangeReturn result = gst_element_set_state(playbin_.get(), GST_STATE_PAUSED);
  // What went wrong is on the bus.
  if (result == GST_STATE_CHANGE_FAILURE) fail("it cannot be opened");
  if (result == GST_STATE_CHANGE_ASYNC) {
    openingTimer_ = std::make_unique<PeriodicTimer>(kOpeningCheck, [weak = weak_from_this()] {
      if (const auto film = weak.lock()) film->order(&Film::watchOpening);
    });
  }
  if (result != GST_STATE_CHANGE_NO_PREROLL) return;
  // A camera or a live stream gives its first frame only when it runs.
  {
    const std::lock_guard lock(mutex_);
    isLive_ = true;
  }
  gst_element_set_state(playbin_.get(), GST_STATE_PLAYING);
}

/// Returns why there is none, or an empty string.
std::string Film::openPlaybin() {
  const std::string url = asURL(url_);
  if (url.empty()) return "its name is not one that a file can have";
  GstElement* playbin = gst_element_factory_make("playbin3", nullptr);
  if (!playbin)
    return "the element playbin3 is not installed (on Debian, the package gstreamer1.0-plugins-base has it)";
  playbin_.reset(GST_ELEMENT(gst_object_ref_sink(playbin)));
  tap_ = std::make_unique<VideoTap>(session_, VideoTap::Events{[this] { sequenceArrived(); }, [this] { reportEnd(); },
                                                               [weak = weak_from_this()] {
                                                                 if (const auto film = weak.lock())
                                                                   film->order(&Film::describeAgain);
                                                               }});
  gate_ = std::make_unique<PluggingGate>();
  gate_->watch(playbin);
  const guint sound = session_->isStepped ? 0 : kPlayAudio | kNativeAudio | kBuffering;
  g_signal_connect(playbin, "deep-element-added", G_CALLBACK(keepSoundInStep), nullptr);
  g_signal_connect(playbin, "deep-element-added", G_CALLBACK(leaveRangeToDecoder), nullptr);
  g_signal_connect(playbin, "source-setup", G_CALLBACK(limitSilence), nullptr);
  g_object_set(playbin, "uri", url.c_str(), "flags", kPlayVideo | kNativeVideo | sound, "video-sink", tap_->sink(),
               nullptr);
  SoundFilter filter = makeSoundFilter();
  if (filter.volume) {
    const std::lock_guard lock(mutex_);
    g_object_set(filter.volume.get(), "volume", volume_, "mute", static_cast<gboolean>(muted_), nullptr);
  }
  g_object_set(playbin, "audio-sink", makeSoundSink(), "audio-filter", filter.bin, nullptr);
  volumeControl_ = std::move(filter.volume);
  // The clock that host time comes from; sound is made to follow it.
  const GstPointer<GstClock> clock(gst_system_clock_obtain());
  gst_pipeline_use_clock(GST_PIPELINE(playbin), clock.get());
  const GstPointer<GstBus> bus(gst_element_get_bus(playbin));
  gst_bus_set_sync_handler(bus.get(), message, this, nullptr);
  return "";
}

/// When a demuxer finds nothing in a file within the moment in which it is plugged in, its complaint is lost in the bin
/// that plugs it, and the pipeline opens for ever: seen from here, nobody is at work and nothing has come of it. It
/// also opens for ever when there is no decoder for its picture. A file that is so short that all of it has been read
/// before the decoder was plugged in now and then opens for ever too (seen with GStreamer 1.22), with only the threads
/// of queues left, and is opened again; but a large first frame also takes its time then.
void Film::watchOpening() {
  if (closed_ || !openingTimer_) return;
  std::string missing;
  {
    const std::lock_guard lock(mutex_);
    if (opening_ != Opening::Underway || finishing_) {
      openingTimer_ = nullptr;
      return;
    }
    if (missesPicture_) missing = missing_;
  }
  const Work work = missing.empty() && isFile(url_) ? workIn(GST_BIN(playbin_.get())) : Work::Moving;
  const bool isStuck = !missing.empty() || work != Work::Moving;
  idleChecks_ = isStuck ? idleChecks_ + 1 : 0;
  if (idleChecks_ < (work == Work::Draining ? kMostDrainingChecks : kMostIdleChecks)) return;
  if (missing.empty() && !tap_->hasBegun() && reopenings_ < kMostReopenings) {
    ++reopenings_;
    idleChecks_ = 0;
    openingTimer_ = nullptr;
    // Its parts cannot be started twice from where they stand.
    dropPlaybin();
    start();
    return;
  }
  if (work == Work::Draining) return;
  openingTimer_ = nullptr;
  fail(missing.empty() ? "it is damaged or incomplete" : missing);
}

void Film::stop() {
  closed_ = true;
  openingTimer_ = nullptr;
  session_->frames.close();
  dropPlaybin();
}

void Film::dropPlaybin() {
  if (!playbin_) return;
  gate_->close();
  gst_element_set_state(playbin_.get(), GST_STATE_NULL);
  const GstPointer<GstBus> bus(gst_element_get_bus(playbin_.get()));
  gst_bus_set_sync_handler(bus.get(), nullptr, nullptr, nullptr);
  tap_->close();
  playbin_ = nullptr;
  volumeControl_ = nullptr;
  tap_ = nullptr;
  gate_ = nullptr;
}

void Film::applyPlaying() {
  if (closed_ || !playbin_) return;
  bool playing = false;
  {
    const std::lock_guard lock(mutex_);
    if (opening_ != Opening::Ready) return;
    playing = wantsPlaying_;
    if (!playing) isPlaying_ = false;
  }
  gst_element_set_state(playbin_.get(), playing ? GST_STATE_PLAYING : GST_STATE_PAUSED);
  if (!playing) holdTimeline();
}

void Film::applySeek(const MediaSeek& seek) {
  if (closed_ || !playbin_) return;
  tap_->expectSequence();
  const auto flags = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | flagsOf(seek.precision));
  const auto position = static_cast<gint64>(std::llround(seek.time * kSecond));
  if (gst_element_seek(playbin_.get(), seek.rate, GST_FORMAT_TIME, flags, GST_SEEK_TYPE_SET, position,
                       GST_SEEK_TYPE_NONE, 0)) {
    return;
  }
  tap_->resumeSequence();
  bool playing = false;
  {
    const std::lock_guard lock(mutex_);
    seeking_ = false;
    playing = isPlaying_;
  }
  if (playing) {
    clockStarted(playbin_.get());
  } else {
    holdTimeline();
  }
  listener_->seekFinished(false);
}

void Film::describeAgain() {
  if (closed_ || !playbin_) return;
  {
    const std::lock_guard lock(mutex_);
    if (opening_ != Opening::Ready) return;
  }
  listener_->described(describe());
}

void Film::fail(const std::string& reason) {
  bool wasReady = false;
  {
    const std::lock_guard lock(mutex_);
    wasReady = opening_ == Opening::Ready;
    if (std::exchange(opening_, Opening::Failed) == Opening::Failed) return;
  }
  listener_->failed("The video \"" + url_ + "\" cannot be played" + (wasReady ? " any further: " : ": ") + reason +
                    ".");
}

MediaDescription Film::describe() {
  MediaDescription description;
  describeTimes(playbin_.get(), &description);
  const std::optional<GstVideoInfo> info = tap_->videoInfo();
  if (info) description.presentationSize = presentationSizeOf(*info);
  const std::lock_guard lock(mutex_);
  if (isLive_) description.seekable = false;
  description.tracks = tracksOf(streams_.get(), info);
  description.orientation = orientation_;
  return description;
}

/// The pipeline has all that it needs to play.
void Film::finishOpening() {
  if (closed_ || !playbin_) return;
  if (!tap_->videoInfo()) {
    std::string missing;
    {
      const std::lock_guard lock(mutex_);
      missing = missing_;
    }
    fail(missing.empty() ? "it has no video track" : missing);
    return;
  }
  const MediaDescription description = describe();
  bool standsNow = false;
  {
    const std::lock_guard lock(mutex_);
    if (opening_ != Opening::Underway) return;
    opening_ = Opening::Ready;
    standsNow = isLive_ && !wantsPlaying_;
  }
  if (standsNow) applyPlaying();
  listener_->ready(description);
}

// Reports, on GStreamer's threads.

GstBusSyncReply Film::message(GstBus* /*bus*/, GstMessage* message, gpointer film) {
  static_cast<Film*>(film)->handle(message);
  gst_message_unref(message);
  return GST_BUS_DROP;
}

void Film::handle(GstMessage* message) {
  // The playbin is the only one in itself.
  const bool fromPipeline = GST_IS_PIPELINE(GST_MESSAGE_SRC(message));
  switch (GST_MESSAGE_TYPE(message)) {
    case GST_MESSAGE_ERROR: {
      std::string missing;
      {
        const std::lock_guard lock(mutex_);
        missing = missing_;
      }
      fail(missing.empty() ? reasonOf(message) : missing);
      break;
    }
    case GST_MESSAGE_ELEMENT: {
      std::string missing = missingPlugin(message);
      const std::lock_guard lock(mutex_);
      if (!missing.empty()) missing_ = std::move(missing);
      missesPicture_ = missesPicture_ || missesPictureDecoder(message);
      break;
    }
    case GST_MESSAGE_STREAM_COLLECTION: {
      GstStreamCollection* streams = nullptr;
      gst_message_parse_stream_collection(message, &streams);
      const std::lock_guard lock(mutex_);
      streams_.reset(streams);
      break;
    }
    case GST_MESSAGE_TAG: {
      GstTagList* raw = nullptr;
      gst_message_parse_tag(message, &raw);
      const GstMiniPointer<GstTagList> tags(raw);
      const auto orientation = orientationOf(tags.get());
      const std::lock_guard lock(mutex_);
      if (orientation) orientation_ = *orientation;
      break;
    }
    case GST_MESSAGE_STATE_CHANGED: {
      GstState now = GST_STATE_VOID_PENDING;
      gst_message_parse_state_changed(message, nullptr, &now, nullptr);
      if (fromPipeline && now == GST_STATE_PLAYING) clockStarted(GST_ELEMENT(GST_MESSAGE_SRC(message)));
      break;
    }
    case GST_MESSAGE_ASYNC_DONE:
      if (fromPipeline) prerolled();
      break;
    case GST_MESSAGE_BUFFERING:
      noteBuffering(message);
      break;
    case GST_MESSAGE_EOS: {
      {
        const std::lock_guard lock(mutex_);
        if (seeking_) break;
        atEnd_ = true;
      }
      reportEnd();
      break;
    }
    case GST_MESSAGE_LATENCY:
      queue_->async([self = shared_from_this()] {
        if (self->playbin_) gst_bin_recalculate_latency(GST_BIN(self->playbin_.get()));
      });
      break;
    case GST_MESSAGE_DURATION_CHANGED:
      order(&Film::describeAgain);
      break;
    default:
      break;
  }
}

/// The pipeline's clock goes: from now on item time does too.
void Film::clockStarted(GstElement* playbin) {
  bool isLive = false;
  {
    const std::lock_guard lock(mutex_);
    isLive = isLive_;
    isPlaying_ = true;
    if (seeking_ || session_->isStepped || (opening_ == Opening::Ready && !wantsPlaying_)) return;
  }
  const std::optional<VideoTap::Line> line = tap_->line();
  if (!line) return;
  double latency = 0.0;
  if (isLive) {
    const GstMiniPointer<GstQuery> query(gst_query_new_latency());
    GstClockTime least = 0;
    if (gst_element_query(playbin, query.get())) {
      gst_query_parse_latency(query.get(), nullptr, &least, nullptr);
    }
    latency = static_cast<double>(least) / kSecond;
  }
  const double base = static_cast<double>(gst_element_get_base_time(playbin)) / kSecond;
  session_->timeline.run(base + latency + line->runningTime, line->itemTime, line->rate);
  session_->frames.wake();
}

/// Holds item time where the pipeline stopped.
void Film::holdTimeline() {
  const std::optional<VideoTap::Line> line = tap_->line();
  {
    const std::lock_guard lock(mutex_);
    if (seeking_ || session_->isStepped || !line) return;
  }
  const GstClockTime stopped = gst_element_get_start_time(playbin_.get());
  if (GST_CLOCK_TIME_IS_VALID(stopped)) {
    session_->timeline.hold(line->itemTimeAt(static_cast<double>(stopped) / kSecond));
    session_->frames.wake();
  }
}

/// Every sink has something: the film is open, or a seek has arrived.
void Film::prerolled() {
  const bool arrived = tap_->hasArrived();
  // A pause may report this while a seek is still to begin.
  const bool begun = tap_->hasBegun();
  {
    const std::lock_guard lock(mutex_);
    if (opening_ == Opening::Underway) {
      // Without a first frame a live film only waits for it; another has no picture.
      if ((arrived || !isLive_) && !std::exchange(finishing_, true)) order(&Film::finishOpening);
      return;
    }
    isPrerolled_ = isPrerolled_ || begun;
  }
  tap_->arriveAtGap();
  finishSeek();
}

/// A seek has arrived when the pipeline says so and the tap has a frame, or the end: which of them comes first is
/// chance.
void Film::finishSeek() {
  const bool arrived = tap_->hasArrived();
  {
    const std::lock_guard lock(mutex_);
    if (opening_ != Opening::Ready || !arrived || !isPrerolled_ || !std::exchange(seeking_, false)) return;
    atEnd_ = false;
  }
  if (const std::optional<VideoTap::Line> line = tap_->line(); line && !session_->isStepped) {
    session_->timeline.hold(line->itemTime);
    session_->frames.wake();
  }
  listener_->seekFinished(true);
}

void Film::sequenceArrived() {
  bool isOpen = false;
  {
    const std::lock_guard lock(mutex_);
    isOpen = opening_ != Opening::Underway;
    // Live films do not tell in any other way that they run.
    if (!isOpen && (!isLive_ || std::exchange(finishing_, true))) return;
  }
  if (isOpen) return finishSeek();
  order(&Film::finishOpening);
}

void Film::noteBuffering(GstMessage* message) {
  gint percent = 100;
  gst_message_parse_buffering(message, &percent);
  {
    const std::lock_guard lock(mutex_);
    if (isLive_ || session_->isStepped) return;
  }
  listener_->buffered(std::clamp(percent, 0, 100) / 100.0);
}

/// The end is there when the pipeline says so and the last frame has come through the tap.
void Film::reportEnd() {
  if (!tap_->isDrained()) return;
  {
    const std::lock_guard lock(mutex_);
    if (!atEnd_) return;
  }
  listener_->ended();
}

}  // namespace ZELPlatform
