#include "apps/zelview/render/DecodedPixels.h"

#include <memory>

#include "apps/zelview/render/PlaneConversion.h"

namespace zelview {
namespace {

/// Rows and row counts that let drivers take two-plane memory as it is.
constexpr gsize kRowAlignment = 64;
constexpr gsize kRowCountAlignment = 4;
constexpr gsize kPage = 4096;

constexpr int kLargestStandardHeight = 576;
/// From this height on the decoders' base class takes untagged pictures for BT.2020.
constexpr int kUltraHeight = 2160;

gsize roundedUp(gsize value, gsize multiple) { return (value + multiple - 1) / multiple * multiple; }

GstPadProbeReturn answerAllocation(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer /*data*/) {
  GstQuery* query = gst_pad_probe_info_get_query(info);
  if (GST_QUERY_TYPE(query) != GST_QUERY_ALLOCATION) return GST_PAD_PROBE_OK;
  GstAllocationParams atPages;
  gst_allocation_params_init(&atPages);
  atPages.align = kPage - 1;
  gst_query_add_allocation_param(query, nullptr, &atPages);
  gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
  return GST_PAD_PROBE_HANDLED;
}

/// Whether the range and matrix were filled in by the decoders' base class.
bool isGuessed(const GstVideoInfo& info) {
  GstVideoColorimetry guess{};
  gst_video_colorimetry_from_string(&guess, GST_VIDEO_COLORIMETRY_BT2020);
  // Pictures that really are BT.2020 have ten bits.
  return info.colorimetry.matrix == GST_VIDEO_COLOR_MATRIX_UNKNOWN ||
         (GST_VIDEO_INFO_HEIGHT(&info) >= kUltraHeight && GST_VIDEO_INFO_COMP_DEPTH(&info, 0) == 8 &&
          gst_video_colorimetry_is_equal(&info.colorimetry, &guess));
}

/// Null where the capabilities are right. Primaries and transfer are left as they are everywhere, so what has the
/// matrix and range of BT.709 is called that, and passes unconverted.
GstCaps* correctedCaps(const GstCaps* caps) {
  GstVideoInfo info;
  if (!gst_video_info_from_caps(&info, caps) || !GST_VIDEO_INFO_IS_YUV(&info)) return nullptr;
  const bool guessed = isGuessed(info);
  const bool isVideoRange = guessed || info.colorimetry.range != GST_VIDEO_COLOR_RANGE_0_255;
  const bool isHigh = guessed ? GST_VIDEO_INFO_HEIGHT(&info) > kLargestStandardHeight
                              : info.colorimetry.matrix == GST_VIDEO_COLOR_MATRIX_BT709;
  if (!guessed && !(isHigh && isVideoRange)) return nullptr;
  GstCaps* corrected = gst_caps_copy(caps);
  gst_caps_set_simple(corrected, "colorimetry", G_TYPE_STRING,
                      isHigh ? GST_VIDEO_COLORIMETRY_BT709 : GST_VIDEO_COLORIMETRY_BT601, nullptr);
  return corrected;
}

GstPadProbeReturn correctCapsEvent(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer /*data*/) {
  GstEvent* event = gst_pad_probe_info_get_event(info);
  if (GST_EVENT_TYPE(event) != GST_EVENT_CAPS) return GST_PAD_PROBE_OK;
  GstCaps* caps = nullptr;
  gst_event_parse_caps(event, &caps);
  const GstPointer<GstCaps> corrected(correctedCaps(caps));
  if (!corrected) return GST_PAD_PROBE_OK;
  GstEvent* replacement = gst_event_new_caps(corrected.get());
  gst_event_set_seqnum(replacement, gst_event_get_seqnum(event));
  gst_event_unref(event);
  GST_PAD_PROBE_INFO_DATA(info) = replacement;
  return GST_PAD_PROBE_OK;
}

/// Frame and chroma as the processor sees them, until the last reference goes.
struct Mapped {
  GstVideoFrame frame{};
  bool hasFrame = false;
  GstBuffer* chroma = nullptr;
  GstMapInfo chromaMap{};
  bool hasChroma = false;

  Mapped() = default;
  ~Mapped() {
    if (hasFrame) gst_video_frame_unmap(&frame);
    if (hasChroma) gst_buffer_unmap(chroma, &chromaMap);
    if (chroma) gst_buffer_unref(chroma);
  }
  Mapped(const Mapped&) = delete;
  Mapped& operator=(const Mapped&) = delete;

  CVPixelBuffer::Plane plane(guint index, size_t width, size_t height) const {
    return {GST_VIDEO_FRAME_PLANE_DATA(&frame, index), width, height,
            static_cast<size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(&frame, index))};
  }
  const uint8_t* row(guint plane, size_t y) const {
    return static_cast<const uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, plane)) +
           y * static_cast<size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(&frame, plane));
  }
};

}  // namespace

void answerAllocations(GstElement* sink) {
  const GstPointer<GstPad> pad(gst_element_get_static_pad(sink, "sink"));
  gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM, answerAllocation, nullptr, nullptr);
}

void correctColours(GstElement* element) {
  const GstPointer<GstPad> pad(gst_element_get_static_pad(element, "sink"));
  gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, correctCapsEvent, nullptr, nullptr);
}

CVPixelBufferRef writablePixelsOf(GstBuffer* buffer, const GstVideoInfo& info) {
  auto mapped = std::make_shared<Mapped>();
  mapped->hasFrame = gst_video_frame_map(&mapped->frame, &info, buffer, GST_MAP_WRITE) != FALSE;
  if (!mapped->hasFrame) return nullptr;
  const auto width = static_cast<size_t>(GST_VIDEO_INFO_WIDTH(&info));
  const auto height = static_cast<size_t>(GST_VIDEO_INFO_HEIGHT(&info));
  return CVPixelBuffer::createWithPlanarBytes(
      width, height, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange,
      {mapped->plane(0, width, height), mapped->plane(1, width / 2, height / 2)}, [mapped] {});
}

/// Null when memory is short.
GstBuffer* DecodedPixels::takeChroma(gsize bytes) {
  if (chromaBytes_ != bytes) {
    chromaPool_.reset(gst_buffer_pool_new());
    GstStructure* config = gst_buffer_pool_get_config(chromaPool_.get());
    GstAllocationParams atPages;
    gst_allocation_params_init(&atPages);
    atPages.align = kPage - 1;
    gst_buffer_pool_config_set_params(config, nullptr, static_cast<guint>(bytes), 0, 0);
    gst_buffer_pool_config_set_allocator(config, nullptr, &atPages);
    gst_buffer_pool_set_config(chromaPool_.get(), config);
    gst_buffer_pool_set_active(chromaPool_.get(), TRUE);
    chromaBytes_ = bytes;
  }
  GstBuffer* buffer = nullptr;
  return gst_buffer_pool_acquire_buffer(chromaPool_.get(), &buffer, nullptr) == GST_FLOW_OK ? buffer : nullptr;
}

CVPixelBufferRef DecodedPixels::pixelsOf(GstBuffer* buffer, const GstVideoInfo& info) {
  auto mapped = std::make_shared<Mapped>();
  mapped->hasFrame = gst_video_frame_map(&mapped->frame, &info, buffer, GST_MAP_READ) != FALSE;
  if (!mapped->hasFrame) return nullptr;
  const auto width = static_cast<size_t>(GST_VIDEO_INFO_WIDTH(&info));
  const auto height = static_cast<size_t>(GST_VIDEO_INFO_HEIGHT(&info));
  const size_t chromaWidth = (width + 1) / 2;
  const size_t chromaHeight = (height + 1) / 2;
  CVPixelBuffer::Plane chroma;
  if (GST_VIDEO_INFO_FORMAT(&info) == GST_VIDEO_FORMAT_NV12) {
    chroma = mapped->plane(1, chromaWidth, chromaHeight);
  } else {
    const gsize row = roundedUp(chromaWidth * 2, kRowAlignment);
    mapped->chroma = takeChroma(roundedUp(row * roundedUp(chromaHeight, kRowCountAlignment), kPage));
    mapped->hasChroma = mapped->chroma && gst_buffer_map(mapped->chroma, &mapped->chromaMap, GST_MAP_WRITE);
    if (!mapped->hasChroma) return nullptr;
    for (size_t y = 0; y < chromaHeight; ++y) {
      interleaveChroma(mapped->row(1, y), mapped->row(2, y), mapped->chromaMap.data + y * row, chromaWidth);
    }
    chroma = {mapped->chromaMap.data, chromaWidth, chromaHeight, row};
  }
  CVPixelBufferAttributes shared;
  shared.metalCompatibility = shared.openGLESCompatibility = shared.ioSurfaceProperties = true;
  return CVPixelBuffer::createWithPlanarBytes(
      width, height, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, {mapped->plane(0, width, height), chroma},
      [mapped] {}, shared);
}

}  // namespace zelview
