#include "drivers/gstreamer/Sound.h"

#include <cstdlib>
#include <filesystem>
#include <string>

namespace ZELPlatform {
namespace {

/// Sound is moved back into step when it is off by so many microseconds: half of what people notice.
constexpr gint64 kSoundTolerance = 20'000;

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
  if (g_object_class_find_property(G_OBJECT_GET_CLASS(element), "drift-tolerance")) {
    g_object_set(element, "drift-tolerance", kSoundTolerance, nullptr);
  }
}

}  // namespace ZELPlatform
