#include "apps/zelview/render/Transcoder.h"

#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include <atomic>
#include <cmath>
#include <mutex>

#include "apps/zelview/ViewerError.h"
#include "apps/zelview/render/DecodedPixels.h"
#include "apps/zelview/render/GstOwned.h"

namespace zelview {
namespace {

/// Decoded frames, and pictures that wait for the encoder: each of them may be of 12 MB and more.
constexpr guint kFramesAhead = 3;
constexpr GstClockTime kPatience = 60 * GST_SECOND;
/// How long an interruption goes unnoticed at most.
constexpr GstClockTime kGlance = 50 * GST_MSECOND;
constexpr double kDefaultRate = 30.0;

/// The encoders that a container may hold, the best first; each with its settings for a quality of 1 to 100.
struct Encoder {
  const char* element;
  const char* package;
  std::string (*settings)(int quality);
  /// What makes its output fit for the muxers.
  const char* tail;
};

/// From 40 (a quality of 1) down to 10, on the 0 to 51 scale of H.264's quantiser.
double quantiser(int quality) { return 40.0 - 0.3 * quality; }

std::string x264Settings(int quality) {
  return "pass=qual quantizer=" + std::to_string(std::lround(quantiser(quality))) +
         " speed-preset=veryfast trellis=false vbv-buf-capacity=0 key-int-max=60";
}
std::string openH264Settings(int quality) {
  const auto level = std::to_string(std::lround(quantiser(quality)));
  return "rate-control=off qp-min=" + level + " qp-max=" + level + " gop-size=60";
}
std::string vp8Settings(int quality) {
  // The scale of VP8's quantiser goes to 63.
  return "deadline=1 cpu-used=4 end-usage=cq target-bitrate=50000000 cq-level=" +
         std::to_string(std::lround(quantiser(quality) * 63.0 / 51.0));
}

// The parser comes in the same package as the encoder that needs it.
constexpr Encoder kH264Encoders[] = {
    {"x264enc", "gstreamer1.0-plugins-ugly", x264Settings, " ! video/x-h264,profile=high,stream-format=avc"},
    {"openh264enc", "gstreamer1.0-plugins-bad", openH264Settings, " ! h264parse"}};
constexpr Encoder kWebMEncoders[] = {{"vp8enc", "gstreamer1.0-plugins-good", vp8Settings, ""}};

bool exists(const char* element) {
  GstElementFactory* factory = gst_element_factory_find(element);
  if (!factory) return false;
  gst_object_unref(factory);
  return true;
}

template <size_t Count>
std::string encoderDescription(const Encoder (&encoders)[Count], int quality) {
  for (const Encoder& encoder : encoders) {
    if (exists(encoder.element)) {
      return std::string("videoconvert ! ") + encoder.element + " " + encoder.settings(quality) + encoder.tail;
    }
  }
  throw ViewerError(std::string("The encoder ") + encoders[0].element + " is missing (it is in the package " +
                    encoders[0].package + ").");
}

/// What comes after the pictures, up to the muxer. Who takes three planes only has the chroma plane taken apart.
std::string encodingBranch(const TranscoderSettings& settings) {
  if (settings.container == ".y4m") return "videoconvert";
  return settings.container == ".webm" ? encoderDescription(kWebMEncoders, settings.quality)
                                       : encoderDescription(kH264Encoders, settings.quality);
}

const char* muxerOf(const std::string& container) {
  if (container == ".webm") return "webmmux";
  if (container == ".y4m") return "y4menc";
  return container == ".mkv" ? "matroskamux" : "mp4mux";
}

bool startsWith(GstPad* pad, const char* kind) {
  GstPointer<GstCaps> caps(gst_pad_get_current_caps(pad));
  if (!caps) caps.reset(gst_pad_query_caps(pad, nullptr));
  return gst_caps_get_size(caps.get()) > 0 &&
         g_str_has_prefix(gst_structure_get_name(gst_caps_get_structure(caps.get(), 0)), kind);
}

/// A bin of that description. Its open ends are those of the elements `first` and, if there is one, `last`: the
/// parser's own choice may be a pad that is to be linked later.
GstElement* makeBranch(const std::string& description, GError** error) {
  GstElement* branch = gst_parse_bin_from_description(description.c_str(), FALSE, error);
  if (!branch) return nullptr;
  for (const auto& [element, pad] : {std::pair("first", "sink"), std::pair("last", "src")}) {
    const GstPointer<GstElement> end(gst_bin_get_by_name(GST_BIN(branch), element));
    if (!end) continue;
    const GstPointer<GstPad> inner(gst_element_get_static_pad(end.get(), pad));
    gst_element_add_pad(branch, gst_ghost_pad_new(pad, inner.get()));
  }
  return branch;
}

}  // namespace

struct Transcoder::Pipeline {
  explicit Pipeline(const TranscoderSettings& wanted) : settings(wanted) {}

  ~Pipeline() {
    if (pipeline) gst_element_set_state(pipeline.get(), GST_STATE_NULL);
  }

  GstPointer<GstElement> named(const char* name) const {
    return GstPointer<GstElement>(gst_bin_get_by_name(GST_BIN(pipeline.get()), name));
  }

  void build();
  void start();
  void padAdded(GstPad* pad);
  void linkVideo(GstPad* pad);
  void linkSound(GstPad* pad);
  void readFormat(GstSample* sample);
  GstPointer<GstSample> pull();
  bool hasFailed() const;
  void checkInterrupted() const;
  [[noreturn]] void fail();
  std::string messageText();

  TranscoderSettings settings;
  GstPointer<GstElement> pipeline;
  GstPointer<GstElement> sink;
  GstPointer<GstElement> source;
  GstPointer<GstElement> muxer;
  std::atomic<bool> hasVideo{false};
  std::atomic<bool> hasSound{false};
  std::atomic<bool> soundCopied{false};
  /// Whether `sink` is there.
  std::atomic<bool> videoReady{false};
  /// Whether the whole input was read.
  std::atomic<bool> drained{false};

  GstVideoInfo info{};
  DecodedPixels pixels;
  GstVideoInfo written{};
  /// What the encoder takes.
  GstPointer<GstBufferPool> picturePool;
  GstPointer<GstBuffer> picture;
  GstPointer<GstSample> next;
  GstClockTime firstTime = GST_CLOCK_TIME_NONE;
  GstClockTime frameTime = 0;
  GstClockTime frameDuration = 0;
};

void Transcoder::Pipeline::build() {
  gst_init(nullptr, nullptr);
  const std::string text = std::string("filesrc name=in ! parsebin name=parse ") + muxerOf(settings.container) +
                           " name=mux ! filesink name=out async=false appsrc name=pictures format=time ! " +
                           encodingBranch(settings) + " ! queue ! mux.";
  GError* error = nullptr;
  pipeline.reset(gst_parse_launch(text.c_str(), &error));
  if (error) {
    const std::string reason = error->message;
    g_error_free(error);
    throw ViewerError("The video cannot be written: " + reason + ".");
  }
  g_object_set(named("in").get(), "location", settings.input.c_str(), nullptr);
  g_object_set(named("out").get(), "location", settings.output.c_str(), nullptr);
  source = named("pictures");
  muxer = named("mux");
  g_object_set(source.get(), "block", TRUE, "max-buffers", guint64{kFramesAhead}, "max-bytes", guint64{0}, nullptr);

  const GstPointer<GstElement> parser = named("parse");
  g_signal_connect(
      parser.get(), "pad-added",
      G_CALLBACK(+[](GstElement*, GstPad* pad, gpointer self) { static_cast<Pipeline*>(self)->padAdded(pad); }), this);
  g_signal_connect(parser.get(), "drained",
                   G_CALLBACK(+[](GstElement*, gpointer self) { static_cast<Pipeline*>(self)->drained = true; }), this);
}

void Transcoder::Pipeline::padAdded(GstPad* pad) {
  if (startsWith(pad, "video/") && !hasVideo.exchange(true)) return linkVideo(pad);
  const bool takesSound = settings.container != ".y4m";
  if (takesSound && startsWith(pad, "audio/") && !hasSound.exchange(true)) return linkSound(pad);
  // Further tracks, and what is neither: to nowhere.
  GstElement* nowhere = gst_element_factory_make("fakesink", nullptr);
  g_object_set(nowhere, "sync", FALSE, "async", FALSE, nullptr);
  gst_bin_add(GST_BIN(pipeline.get()), nowhere);
  gst_element_sync_state_with_parent(nowhere);
  const GstPointer<GstPad> target(gst_element_get_static_pad(nowhere, "sink"));
  gst_pad_link(pad, target.get());
}

/// Decoded, converted where the stream is of another kind, and taken by the program.
void Transcoder::Pipeline::linkVideo(GstPad* pad) {
  std::string text =
      "decodebin name=first ! queue max-size-buffers=2 max-size-bytes=0 max-size-time=0 ! "
      "videoconvert name=converter n-threads=2 ! ";
  std::string caps = kDecodedCaps;
  if (settings.framesPerSecond) {
    text += "videorate ! ";
    gint numerator = 0;
    gint denominator = 1;
    gst_util_double_to_fraction(*settings.framesPerSecond, &numerator, &denominator);
    caps += ",framerate=" + std::to_string(numerator) + "/" + std::to_string(denominator);
  }
  text += caps + " ! appsink name=frames sync=false async=false max-buffers=" + std::to_string(kFramesAhead);
  GstElement* branch = makeBranch(text, nullptr);
  sink.reset(gst_bin_get_by_name(GST_BIN(branch), "frames"));
  answerAllocations(sink.get());
  correctColours(GstPointer<GstElement>(gst_bin_get_by_name(GST_BIN(branch), "converter")).get());
  gst_bin_add(GST_BIN(pipeline.get()), branch);
  gst_element_sync_state_with_parent(branch);
  const GstPointer<GstPad> target(gst_element_get_static_pad(branch, "sink"));
  gst_pad_link(pad, target.get());
  videoReady = true;
}

/// Into the container as it is, if that takes it; else encoded anew. The queue holds whatever comes before the
/// pictures.
void Transcoder::Pipeline::linkSound(GstPad* pad) {
  const std::string queue = "queue name=last max-size-buffers=0 max-size-bytes=0 max-size-time=0";
  const bool webm = settings.container == ".webm";
  GstPointer<GstCaps> caps(gst_pad_query_caps(pad, nullptr));
  GstPointer<GstPad> mouth(gst_element_request_pad_simple(muxer.get(), "audio_%u"));
  const GstPointer<GstCaps> accepted(gst_pad_query_caps(mouth.get(), nullptr));
  soundCopied = gst_caps_can_intersect(caps.get(), accepted.get());
  const std::string text = soundCopied ? "identity name=first ! " + queue
                                       : "decodebin name=first ! audioconvert ! audioresample ! " +
                                             std::string(webm ? "opusenc" : "avenc_aac ! aacparse") + " ! " + queue;
  GError* error = nullptr;
  GstElement* branch = makeBranch(text, &error);
  if (!branch) {
    GST_ELEMENT_ERROR(pipeline.get(), CORE, MISSING_PLUGIN, ("%s", error->message), (nullptr));
    g_error_free(error);
    return;
  }
  gst_bin_add(GST_BIN(pipeline.get()), branch);
  const GstPointer<GstPad> out(gst_element_get_static_pad(branch, "src"));
  gst_pad_link(out.get(), mouth.get());
  gst_element_sync_state_with_parent(branch);
  const GstPointer<GstPad> in(gst_element_get_static_pad(branch, "sink"));
  gst_pad_link(pad, in.get());
}

std::string Transcoder::Pipeline::messageText() {
  GstBus* bus = gst_element_get_bus(pipeline.get());
  const GstPointer<GstMessage> message(gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR));
  gst_object_unref(bus);
  if (!message) return {};
  GError* error = nullptr;
  gst_message_parse_error(message.get(), &error, nullptr);
  std::string text = error->message;
  g_error_free(error);
  while (!text.empty() && text.back() == '.') text.pop_back();
  return text;
}

void Transcoder::Pipeline::checkInterrupted() const {
  if (settings.interrupted && settings.interrupted()) throw Interruption{};
}

/// None at the end, or after a failure.
GstPointer<GstSample> Transcoder::Pipeline::pull() {
  GstPointer<GstSample> sample;
  for (GstClockTime waited = 0; !sample && waited < kPatience; waited += kGlance) {
    checkInterrupted();
    sample.reset(gst_app_sink_try_pull_sample(GST_APP_SINK(sink.get()), kGlance));
    if (!sample && (gst_app_sink_is_eos(GST_APP_SINK(sink.get())) || hasFailed())) break;
  }
  return sample;
}

bool Transcoder::Pipeline::hasFailed() const {
  GstBus* bus = gst_element_get_bus(pipeline.get());
  const GstPointer<GstMessage> message(gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR));
  // It is read again by whoever says what went wrong.
  if (message) gst_bus_post(bus, gst_message_ref(message.get()));
  gst_object_unref(bus);
  return message != nullptr;
}

void Transcoder::Pipeline::fail() {
  const std::string reason = messageText();
  throw ViewerError("The video \"" + settings.input +
                    "\" cannot be rendered: " + (reason.empty() ? "it stalls for a minute" : reason) + ".");
}

void Transcoder::Pipeline::start() {
  gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
  GstBus* bus = gst_element_get_bus(pipeline.get());
  const gint64 deadline = g_get_monotonic_time() + static_cast<gint64>(kPatience / 1000);
  std::string reason;
  while (!videoReady && !drained && reason.empty() && g_get_monotonic_time() < deadline) {
    const GstPointer<GstMessage> message(gst_bus_timed_pop_filtered(bus, 10 * GST_MSECOND, GST_MESSAGE_ERROR));
    checkInterrupted();
    if (!message) continue;
    GError* error = nullptr;
    gst_message_parse_error(message.get(), &error, nullptr);
    reason = error->message;
    g_error_free(error);
  }
  gst_object_unref(bus);
  while (!reason.empty() && reason.back() == '.') reason.pop_back();
  if (!reason.empty()) throw ViewerError("The video \"" + settings.input + "\" cannot be rendered: " + reason + ".");
  // The parser shows all tracks before it lets go of the first byte of any.
  if (!videoReady) throw ViewerError("The file \"" + settings.input + "\" has no video track.");
  next = pull();
  if (!next) fail();
  readFormat(next.get());
}

void Transcoder::Pipeline::readFormat(GstSample* sample) {
  gst_video_info_from_caps(&info, gst_sample_get_caps(sample));
  const bool hasRate = info.fps_n > 0 && info.fps_d > 0;
  const int numerator = hasRate ? info.fps_n : static_cast<int>(kDefaultRate);
  const int denominator = hasRate ? info.fps_d : 1;
  frameDuration = gst_util_uint64_scale(GST_SECOND, denominator, numerator);
  const GstPointer<GstCaps> caps(gst_caps_new_simple(
      "video/x-raw", "format", G_TYPE_STRING, "NV12", "width", G_TYPE_INT, static_cast<int>(settings.width), "height",
      G_TYPE_INT, static_cast<int>(settings.height), "framerate", GST_TYPE_FRACTION, numerator, denominator,
      "pixel-aspect-ratio", GST_TYPE_FRACTION, 1, 1, "interlace-mode", G_TYPE_STRING, "progressive", "colorimetry",
      G_TYPE_STRING, GST_VIDEO_COLORIMETRY_BT709, nullptr));
  gst_app_src_set_caps(GST_APP_SRC(source.get()), caps.get());
  gst_video_info_from_caps(&written, caps.get());
  picturePool.reset(gst_video_buffer_pool_new());
  GstStructure* config = gst_buffer_pool_get_config(picturePool.get());
  gst_buffer_pool_config_set_params(config, caps.get(), static_cast<guint>(GST_VIDEO_INFO_SIZE(&written)), 0, 0);
  gst_buffer_pool_set_config(picturePool.get(), config);
  gst_buffer_pool_set_active(picturePool.get(), TRUE);
}

Transcoder::Transcoder(const TranscoderSettings& settings) : pipeline_(std::make_unique<Pipeline>(settings)) {
  pipeline_->build();
  pipeline_->start();
}

Transcoder::~Transcoder() = default;

size_t Transcoder::inputWidth() const { return static_cast<size_t>(pipeline_->info.width); }
size_t Transcoder::inputHeight() const { return static_cast<size_t>(pipeline_->info.height); }

double Transcoder::duration() const {
  gint64 duration = 0;
  // The muxer knows nothing of it yet: the question goes to the side that reads.
  const bool known = gst_element_query_duration(pipeline_->sink.get(), GST_FORMAT_TIME, &duration) && duration > 0;
  return known ? static_cast<double>(duration) / GST_SECOND : 0.0;
}

std::string Transcoder::soundDescription() const {
  if (!pipeline_->hasSound) return "none";
  return pipeline_->soundCopied ? "copied" : "encoded anew";
}

std::optional<DecodedFrame> Transcoder::nextFrame() {
  Pipeline& p = *pipeline_;
  GstPointer<GstSample> sample = std::move(p.next);
  if (!sample) sample = p.pull();
  if (!sample) {
    if (gst_app_sink_is_eos(GST_APP_SINK(p.sink.get()))) return std::nullopt;
    p.fail();
  }
  // A stream may change its size in the middle.
  gst_video_info_from_caps(&p.info, gst_sample_get_caps(sample.get()));
  GstBuffer* buffer = gst_sample_get_buffer(sample.get());
  const GstClockTime time =
      gst_segment_to_running_time(gst_sample_get_segment(sample.get()), GST_FORMAT_TIME, GST_BUFFER_PTS(buffer));
  // A frame without a time follows the one before.
  p.frameTime = GST_CLOCK_TIME_IS_VALID(time)          ? time
                : GST_CLOCK_TIME_IS_VALID(p.firstTime) ? p.frameTime + p.frameDuration
                                                       : 0;
  if (!GST_CLOCK_TIME_IS_VALID(p.firstTime)) p.firstTime = p.frameTime;
  DecodedFrame frame{p.pixels.pixelsOf(buffer, p.info),
                     static_cast<double>(p.frameTime - std::min(p.firstTime, p.frameTime)) / GST_SECOND};
  if (!frame.pixels) throw ViewerError("A frame of the video \"" + p.settings.input + "\" cannot be read.");
  return frame;
}

CVPixelBufferRef Transcoder::takePicture() {
  Pipeline& p = *pipeline_;
  GstBuffer* buffer = nullptr;
  if (gst_buffer_pool_acquire_buffer(p.picturePool.get(), &buffer, nullptr) != GST_FLOW_OK) p.fail();
  p.picture.reset(buffer);
  CVPixelBufferRef pixels = writablePixelsOf(buffer, p.written);
  if (!pixels) p.fail();
  return pixels;
}

void Transcoder::pushPicture() {
  Pipeline& p = *pipeline_;
  GST_BUFFER_PTS(p.picture.get()) = p.frameTime;
  GST_BUFFER_DURATION(p.picture.get()) = p.frameDuration;
  if (gst_app_src_push_buffer(GST_APP_SRC(p.source.get()), p.picture.release()) != GST_FLOW_OK) p.fail();
}

void Transcoder::finish() {
  gst_app_src_end_of_stream(GST_APP_SRC(pipeline_->source.get()));
  GstBus* bus = gst_element_get_bus(pipeline_->pipeline.get());
  const auto ends = static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR);
  GstPointer<GstMessage> message;
  for (GstClockTime waited = 0; !message && waited < 5 * kPatience; waited += kGlance) {
    if (pipeline_->settings.interrupted && pipeline_->settings.interrupted()) break;
    message.reset(gst_bus_timed_pop_filtered(bus, kGlance, ends));
  }
  if (message && GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ERROR)
    gst_bus_post(bus, gst_message_ref(message.get()));
  gst_object_unref(bus);
  if (!message) pipeline_->checkInterrupted();
  if (!message || GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ERROR) pipeline_->fail();
  gst_element_set_state(pipeline_->pipeline.get(), GST_STATE_NULL);
}

}  // namespace zelview
