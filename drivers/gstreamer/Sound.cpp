#include "drivers/gstreamer/Sound.h"

#include "drivers/gstreamer/SoundStep.h"

#include <gst/audio/gstaudiobasesink.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace ZELPlatform {
namespace {

/// What is moved is out of line with what was played before; by itself the sink would put up with that for a second.
constexpr GstClockTime kDiscontinuityWait = 50 * GST_MSECOND;

bool exists(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(path, ignored);
}

bool hasSoundCard() {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator("/dev/snd", ignored)) {
    if (entry.path().filename().string().rfind("controlC", 0) == 0) return true;
  }
  return exists("/dev/dsp");
}

/// Without a sound server and a card it would take a while to try every kind of output, and each would complain on
/// standard error.
bool hasSoundOutput() {
  if (std::getenv("PULSE_SERVER")) return true;
  if (const char* folder = std::getenv("XDG_RUNTIME_DIR")) {
    const std::string runtime = folder;
    if (exists(runtime + "/pulse/native") || exists(runtime + "/pipewire-0")) return true;
  }
  return hasSoundCard();
}

/// On the thread that feeds the sink.
void correctSound(GstAudioBaseSink* /*sink*/, GstClockTime film, GstClockTime output, GstClockTimeDiff* wanted,
                  GstAudioBaseSinkDiscontReason /*reason*/, gpointer step) {
  auto* sound = static_cast<SoundStep*>(step);
  if (!wanted) return sound->forget();
  *wanted = sound->correction(static_cast<int64_t>(film), static_cast<int64_t>(output));
}

}  // namespace

GstElement* makeSoundSink() {
  GstElement* sink = hasSoundOutput() ? gst_element_factory_make("autoaudiosink", nullptr) : nullptr;
  if (sink) return sink;
  sink = gst_element_factory_make("fakesink", nullptr);
  if (sink) g_object_set(sink, "sync", TRUE, nullptr);
  return sink;
}

SoundFilter makeSoundFilter() {
  const GstPointer<GstElementFactory> pitchKeeper(gst_element_factory_find("scaletempo"));
  const std::string description = std::string("audioconvert ! ") + (pitchKeeper ? "scaletempo ! " : "") +
                                  "volume name=volume ! audioconvert ! audioresample";
  SoundFilter filter;
  filter.bin =
      gst_parse_bin_from_description_full(description.c_str(), TRUE, nullptr, GST_PARSE_FLAG_FATAL_ERRORS, nullptr);
  if (filter.bin) filter.volume.reset(gst_bin_get_by_name(GST_BIN(filter.bin), "volume"));
  return filter;
}

void keepSoundInStep(GstBin* /*bin*/, GstBin* /*parent*/, GstElement* element, gpointer /*data*/) {
  if (!GST_IS_AUDIO_BASE_SINK(element)) return;
  GstAudioBaseSink* sink = GST_AUDIO_BASE_SINK(element);
  gst_audio_base_sink_set_alignment_threshold(sink, SoundStep::kTolerance);
  gst_audio_base_sink_set_discont_wait(sink, kDiscontinuityWait);
  gst_audio_base_sink_set_slave_method(sink, GST_AUDIO_BASE_SINK_SLAVE_CUSTOM);
  gst_audio_base_sink_set_custom_slaving_callback(sink, correctSound, new SoundStep,
                                                  [](gpointer step) { delete static_cast<SoundStep*>(step); });
}

}  // namespace ZELPlatform
