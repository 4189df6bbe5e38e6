#include "drivers/gstreamer/Description.h"

#include "drivers/gstreamer/GstPointer.h"

#include <gst/pbutils/pbutils.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace ZELPlatform {
namespace {

/// The codec by its capabilities, or else by the container's tag.
std::string codecOf(GstStream* stream, const GstCaps* caps, const char* tagName) {
  if (caps && gst_caps_is_fixed(caps)) {
    const GText text(gst_pb_utils_get_codec_description(caps));
    if (text) return text.get();
  }
  const GstMiniPointer<GstTagList> tags(gst_stream_get_tags(stream));
  gchar* text = nullptr;
  if (!tags || !gst_tag_list_get_string(tags.get(), tagName, &text)) return "";
  const GText owned(text);
  return owned.get();
}

double frameRateOf(const GstCaps* caps) {
  int numerator = 0;
  int denominator = 1;
  if (!caps || gst_caps_is_empty(caps)) return 0.0;
  if (!gst_structure_get_fraction(gst_caps_get_structure(caps, 0), "framerate", &numerator, &denominator)) return 0.0;
  return numerator > 0 && denominator > 0 ? static_cast<double>(numerator) / denominator : 0.0;
}

}  // namespace

void describeTimes(GstElement* pipeline, MediaDescription* description) {
  gint64 duration = 0;
  const bool known = gst_element_query_duration(pipeline, GST_FORMAT_TIME, &duration) && duration > 0;
  description->duration = known ? std::optional(static_cast<double>(duration) / GST_SECOND) : std::nullopt;
  const GstMiniPointer<GstQuery> query(gst_query_new_seeking(GST_FORMAT_TIME));
  gboolean seekable = FALSE;
  if (gst_element_query(pipeline, query.get())) {
    gst_query_parse_seeking(query.get(), nullptr, &seekable, nullptr, nullptr);
  }
  description->seekable = seekable != FALSE;
}

std::vector<AVPlayerItemTrack> tracksOf(GstStreamCollection* streams, const std::optional<GstVideoInfo>& video) {
  std::vector<AVPlayerItemTrack> tracks;
  const guint count = streams ? gst_stream_collection_get_size(streams) : 0;
  for (guint index = 0; index < count; ++index) {
    GstStream* stream = gst_stream_collection_get_stream(streams, index);
    const GstStreamType type = gst_stream_get_stream_type(stream);
    const GstMiniPointer<GstCaps> caps(gst_stream_get_caps(stream));
    if (type & GST_STREAM_TYPE_VIDEO) {
      double rate = frameRateOf(caps.get());
      if (rate == 0.0 && video && video->fps_n > 0) rate = static_cast<double>(video->fps_n) / video->fps_d;
      tracks.push_back({AVMediaTypeVideo, codecOf(stream, caps.get(), GST_TAG_VIDEO_CODEC), rate});
    } else if (type & GST_STREAM_TYPE_AUDIO) {
      tracks.push_back({AVMediaTypeAudio, codecOf(stream, caps.get(), GST_TAG_AUDIO_CODEC), 0.0});
    } else if (type & GST_STREAM_TYPE_TEXT) {
      tracks.push_back({AVMediaTypeText, codecOf(stream, caps.get(), GST_TAG_SUBTITLE_CODEC), 0.0});
    }
  }
  return tracks;
}

CGSize presentationSizeOf(const GstVideoInfo& info) {
  const double aspect = info.par_n > 0 && info.par_d > 0 ? static_cast<double>(info.par_n) / info.par_d : 1.0;
  return CGSizeMake(std::round(GST_VIDEO_INFO_WIDTH(&info) * aspect), GST_VIDEO_INFO_HEIGHT(&info));
}

std::optional<AVVideoOrientation> orientationOf(const GstTagList* tags) {
  const gchar* text = nullptr;
  if (!gst_tag_list_peek_string_index(tags, GST_TAG_IMAGE_ORIENTATION, 0, &text)) return std::nullopt;
  // "rotate-90" and "flip-rotate-90", clockwise.
  const char* degrees = std::strrchr(text, '-');
  if (!degrees) return std::nullopt;
  return AVVideoOrientation{std::atoi(degrees + 1) % 360, std::strncmp(text, "flip", 4) == 0};
}

}  // namespace ZELPlatform
