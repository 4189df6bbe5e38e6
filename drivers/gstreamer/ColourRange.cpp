#include "drivers/gstreamer/ColourRange.h"

#include "drivers/gstreamer/GstPointer.h"

#include <gst/video/video.h>

namespace ZELPlatform {
namespace {

bool isVideoDecoder(GstElement* element) {
  GstElementFactory* factory = gst_element_get_factory(element);
  return factory && gst_element_factory_list_is_type(
                        factory, GST_ELEMENT_FACTORY_TYPE_DECODER | GST_ELEMENT_FACTORY_TYPE_MEDIA_VIDEO);
}

/// The same capabilities with an unknown range; null when they do not say video range.
GstMiniPointer<GstCaps> withoutRange(const GstCaps* caps) {
  const gchar* text = gst_structure_get_string(gst_caps_get_structure(caps, 0), "colorimetry");
  GstVideoColorimetry colours;
  if (!text || !gst_video_colorimetry_from_string(&colours, text)) return nullptr;
  if (colours.range != GST_VIDEO_COLOR_RANGE_16_235) return nullptr;
  colours.range = GST_VIDEO_COLOR_RANGE_UNKNOWN;
  const GText changed(gst_video_colorimetry_to_string(&colours));
  if (!changed) return nullptr;
  GstMiniPointer<GstCaps> copy(gst_caps_copy(caps));
  gst_caps_set_simple(copy.get(), "colorimetry", G_TYPE_STRING, changed.get(), nullptr);
  return copy;
}

GstPadProbeReturn changeCaps(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer /*data*/) {
  GstEvent* event = gst_pad_probe_info_get_event(info);
  if (GST_EVENT_TYPE(event) != GST_EVENT_CAPS) return GST_PAD_PROBE_OK;
  GstCaps* caps = nullptr;
  gst_event_parse_caps(event, &caps);
  const GstMiniPointer<GstCaps> changed = withoutRange(caps);
  if (!changed) return GST_PAD_PROBE_OK;
  GstEvent* replacement = gst_event_new_caps(changed.get());
  gst_event_set_seqnum(replacement, gst_event_get_seqnum(event));
  gst_event_unref(event);
  info->data = replacement;
  return GST_PAD_PROBE_OK;
}

}  // namespace

void leaveRangeToDecoder(GstBin* /*bin*/, GstBin* /*parent*/, GstElement* element, gpointer /*data*/) {
  if (!isVideoDecoder(element)) return;
  const GstPointer<GstPad> pad(gst_element_get_static_pad(element, "sink"));
  if (pad) gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, changeCaps, nullptr, nullptr);
}

}  // namespace ZELPlatform
