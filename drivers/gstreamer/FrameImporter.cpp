#include "drivers/gstreamer/FrameImporter.h"

#include "drivers/gstreamer/GstPointer.h"
#include "platform/corevideo/Counters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <thread>
#include <utility>

namespace ZELPlatform {
namespace {

/// The rows and row counts that let drivers import two-plane memory.
constexpr size_t kRowAlignment = 64;
constexpr size_t kRowCountAlignment = 4;
constexpr size_t kPage = 4096;

/// More threads than these convert no faster.
constexpr unsigned kMostThreads = 4;

/// Larger pictures without a tag count as high definition.
constexpr int kLargestStandardHeight = 576;

/// From this height on the decoders' base class takes untagged pictures for BT.2020.
constexpr int kUltraHeight = 2160;

size_t roundedUp(size_t value, size_t multiple) { return (value + multiple - 1) / multiple * multiple; }

/// A frame's memory as the processor sees it, until the last copy of the pointer goes.
class MappedFrame {
 public:
  static std::shared_ptr<MappedFrame> map(GstBuffer* buffer, const GstVideoInfo& info) {
    auto frame = std::make_shared<MappedFrame>();
    frame->isMapped_ = gst_video_frame_map(&frame->frame_, &info, buffer, GST_MAP_READ) != FALSE;
    return frame->isMapped_ ? frame : nullptr;
  }

  MappedFrame() = default;
  ~MappedFrame() {
    if (isMapped_) gst_video_frame_unmap(&frame_);
  }

  const GstVideoFrame& frame() const { return frame_; }
  uint8_t* plane(guint index) const { return static_cast<uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame_, index)); }
  size_t bytesPerRow(guint index) const {
    return static_cast<size_t>(std::max(0, GST_VIDEO_FRAME_PLANE_STRIDE(&frame_, index)));
  }

  MappedFrame(const MappedFrame&) = delete;
  MappedFrame& operator=(const MappedFrame&) = delete;

 private:
  GstVideoFrame frame_{};
  bool isMapped_ = false;
};

/// Sixteen bytes in one register, where the processor has such.
using Bytes = uint8_t __attribute__((vector_size(16)));

void interleaveRow(const uint8_t* u, const uint8_t* v, uint8_t* out, size_t width) {
  size_t x = 0;
  for (; x + sizeof(Bytes) <= width; x += sizeof(Bytes)) {
    Bytes us;
    Bytes vs;
    std::memcpy(&us, u + x, sizeof us);
    std::memcpy(&vs, v + x, sizeof vs);
    const Bytes low = __builtin_shufflevector(us, vs, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
    const Bytes high = __builtin_shufflevector(us, vs, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
    std::memcpy(out + 2 * x, &low, sizeof low);
    std::memcpy(out + 2 * x + sizeof low, &high, sizeof high);
  }
  for (; x < width; ++x) {
    out[2 * x] = u[x];
    out[2 * x + 1] = v[x];
  }
}

/// Where two planes lie in one piece of memory that drivers can import.
struct Layout {
  explicit Layout(const GstVideoInfo& info)
      : width(static_cast<size_t>(GST_VIDEO_INFO_WIDTH(&info))),
        height(static_cast<size_t>(GST_VIDEO_INFO_HEIGHT(&info))),
        chromaWidth((width + 1) / 2),
        chromaHeight((height + 1) / 2),
        lumaRow(roundedUp(width, kRowAlignment)),
        chromaRow(roundedUp(chromaWidth * 2, kRowAlignment)),
        lumaBytes(roundedUp(lumaRow * roundedUp(height, kRowCountAlignment), kPage)),
        chromaBytes(roundedUp(chromaRow * roundedUp(chromaHeight, kRowCountAlignment), kPage)) {}

  size_t width;
  size_t height;
  size_t chromaWidth;
  size_t chromaHeight;
  size_t lumaRow;
  size_t chromaRow;
  size_t lumaBytes;
  size_t chromaBytes;
};

CVPixelBufferRef wrap(const Layout& layout, CVPixelBuffer::Plane luma, CVPixelBuffer::Plane chroma,
                      std::function<void()> release) {
  CVPixelBufferAttributes attributes;
  attributes.metalCompatibility = attributes.openGLESCompatibility = attributes.ioSurfaceProperties = true;
  return CVPixelBuffer::createWithPlanarBytes(layout.width, layout.height,
                                              kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, {luma, chroma},
                                              std::move(release), attributes);
}

bool canBorrow(const GstVideoInfo& info) {
  const GstVideoFormat format = GST_VIDEO_INFO_FORMAT(&info);
  const bool layout =
      format == GST_VIDEO_FORMAT_NV12 || format == GST_VIDEO_FORMAT_I420 || format == GST_VIDEO_FORMAT_YV12;
  return layout && info.colorimetry.range == GST_VIDEO_COLOR_RANGE_16_235 &&
         info.colorimetry.matrix == GST_VIDEO_COLOR_MATRIX_BT709;
}

/// Video range for every value of full range; `swing` is that of video range.
std::array<uint8_t, 256> narrowingTable(double zeroFrom, double zeroTo, double swing) {
  std::array<uint8_t, 256> table{};
  for (size_t i = 0; i < table.size(); ++i) {
    table[i] = static_cast<uint8_t>(std::lround((static_cast<double>(i) - zeroFrom) * swing / 255.0 + zeroTo));
  }
  return table;
}

void narrow(uint8_t* row, size_t bytes, const std::array<uint8_t, 256>& table) {
  for (size_t i = 0; i < bytes; ++i) row[i] = table[row[i]];
}

/// GStreamer's converter takes two ranges of one matrix for the same where it only has to move samples.
bool needsNarrowing(const GstVideoInfo& info) {
  return GST_VIDEO_INFO_IS_YUV(&info) && info.colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255 &&
         info.colorimetry.matrix == GST_VIDEO_COLOR_MATRIX_BT709;
}

void narrowPlanes(const Layout& layout, uint8_t* luma, uint8_t* chroma) {
  static const std::array<uint8_t, 256> lumaTable = narrowingTable(0.0, 16.0, 219.0);
  static const std::array<uint8_t, 256> chromaTable = narrowingTable(128.0, 128.0, 224.0);
  for (size_t y = 0; y < layout.height; ++y) narrow(luma + y * layout.lumaRow, layout.width, lumaTable);
  for (size_t y = 0; y < layout.chromaHeight; ++y) {
    narrow(chroma + y * layout.chromaRow, 2 * layout.chromaWidth, chromaTable);
  }
}

}  // namespace

GstVideoInfo withSensibleColours(const GstVideoInfo& info) {
  GstVideoInfo sensible = info;
  if (!GST_VIDEO_INFO_IS_YUV(&info)) return sensible;
  GstVideoColorimetry& colours = sensible.colorimetry;
  // The guess of the base class for large pictures. Those that really are BT.2020 have ten bits; those of eight bits
  // that do not say otherwise are BT.709, as every player takes them.
  GstVideoColorimetry guess{};
  gst_video_colorimetry_from_string(&guess, GST_VIDEO_COLORIMETRY_BT2020);
  const bool isGuess = GST_VIDEO_INFO_HEIGHT(&info) >= kUltraHeight && GST_VIDEO_INFO_COMP_DEPTH(&info, 0) == 8 &&
                       gst_video_colorimetry_is_equal(&colours, &guess);
  if (colours.matrix == GST_VIDEO_COLOR_MATRIX_UNKNOWN || isGuess) {
    colours.matrix = GST_VIDEO_INFO_HEIGHT(&info) > kLargestStandardHeight ? GST_VIDEO_COLOR_MATRIX_BT709
                                                                           : GST_VIDEO_COLOR_MATRIX_BT601;
  }
  if (colours.range == GST_VIDEO_COLOR_RANGE_UNKNOWN) colours.range = GST_VIDEO_COLOR_RANGE_16_235;
  return sensible;
}

CVPixelBufferRef FrameImporter::import(GstBuffer* buffer, const GstVideoInfo& info) {
  const GstVideoInfo sensible = withSensibleColours(info);
  return canBorrow(sensible) ? borrow(buffer, sensible) : convert(buffer, sensible);
}

CVPixelBufferRef FrameImporter::borrow(GstBuffer* buffer, const GstVideoInfo& info) {
  std::shared_ptr<MappedFrame> frame = MappedFrame::map(buffer, info);
  if (!frame) return nullptr;
  const Layout layout(info);
  const CVPixelBuffer::Plane luma{frame->plane(0), layout.width, layout.height, frame->bytesPerRow(0)};
  if (GST_VIDEO_INFO_FORMAT(&info) == GST_VIDEO_FORMAT_NV12) {
    const CVPixelBuffer::Plane chroma{frame->plane(1), layout.chromaWidth, layout.chromaHeight, frame->bytesPerRow(1)};
    return wrap(layout, luma, chroma, [frame] {});
  }
  const std::shared_ptr<uint8_t> memory = pool_.take(layout.chromaBytes);
  if (!memory) return nullptr;
  const bool vFirst = GST_VIDEO_INFO_FORMAT(&info) == GST_VIDEO_FORMAT_YV12;
  const guint u = vFirst ? 2 : 1;
  const guint v = vFirst ? 1 : 2;
  for (size_t y = 0; y < layout.chromaHeight; ++y) {
    interleaveRow(frame->plane(u) + y * frame->bytesPerRow(u), frame->plane(v) + y * frame->bytesPerRow(v),
                  memory.get() + y * layout.chromaRow, layout.chromaWidth);
  }
  pixelCounters().rewrittenFrameBytes += 2 * layout.chromaWidth * layout.chromaHeight;
  const CVPixelBuffer::Plane chroma{memory.get(), layout.chromaWidth, layout.chromaHeight, layout.chromaRow};
  return wrap(layout, luma, chroma, [frame, memory] {});
}

GstVideoConverter* FrameImporter::converterFor(const GstVideoInfo& info) {
  if (converter_ && gst_video_info_is_equal(&info, &convertedFrom_)) return converter_.get();
  GstVideoInfo target;
  gst_video_info_set_format(&target, GST_VIDEO_FORMAT_NV12, static_cast<guint>(GST_VIDEO_INFO_WIDTH(&info)),
                            static_cast<guint>(GST_VIDEO_INFO_HEIGHT(&info)));
  gst_video_colorimetry_from_string(&target.colorimetry, GST_VIDEO_COLORIMETRY_BT709);
  target.chroma_site = GST_VIDEO_CHROMA_SITE_H_COSITED;
  // Converters refuse to change these.
  target.fps_n = info.fps_n;
  target.fps_d = info.fps_d;
  target.interlace_mode = info.interlace_mode;
  const guint threads = std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads);
  GstStructure* options = gst_structure_new("options", GST_VIDEO_CONVERTER_OPT_THREADS, G_TYPE_UINT, threads, nullptr);
  converter_.reset(gst_video_converter_new(&info, &target, options));
  convertedFrom_ = info;
  return converter_.get();
}

CVPixelBufferRef FrameImporter::convert(GstBuffer* buffer, const GstVideoInfo& decoded) {
  GstVideoInfo info = decoded;
  const bool narrows = needsNarrowing(decoded);
  if (narrows) info.colorimetry.range = GST_VIDEO_COLOR_RANGE_16_235;
  const std::shared_ptr<MappedFrame> source = MappedFrame::map(buffer, info);
  const Layout layout(info);
  const size_t bytes = layout.lumaBytes + layout.chromaBytes;
  std::shared_ptr<uint8_t> memory = pool_.take(bytes);
  if (!source || !memory) return nullptr;

  GstVideoInfo target;
  gst_video_info_set_format(&target, GST_VIDEO_FORMAT_NV12, static_cast<guint>(layout.width),
                            static_cast<guint>(layout.height));
  gsize offsets[GST_VIDEO_MAX_PLANES] = {0, layout.lumaBytes};
  gint strides[GST_VIDEO_MAX_PLANES] = {static_cast<gint>(layout.lumaRow), static_cast<gint>(layout.chromaRow)};
  const GstMiniPointer<GstBuffer> wrapped(
      gst_buffer_new_wrapped_full(GstMemoryFlags{}, memory.get(), bytes, 0, bytes, nullptr, nullptr));
  gst_buffer_add_video_meta_full(wrapped.get(), GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_FORMAT_NV12,
                                 static_cast<guint>(layout.width), static_cast<guint>(layout.height), 2, offsets,
                                 strides);
  GstVideoFrame written;
  if (!gst_video_frame_map(&written, &target, wrapped.get(), GST_MAP_WRITE)) return nullptr;
  {
    const std::lock_guard lock(mutex_);
    GstVideoConverter* converter = converterFor(info);
    if (converter) gst_video_converter_frame(converter, &source->frame(), &written);
    gst_video_frame_unmap(&written);
    if (!converter) return nullptr;
  }
  if (narrows) narrowPlanes(layout, memory.get(), memory.get() + layout.lumaBytes);
  pixelCounters().rewrittenFrameBytes += layout.width * layout.height + 2 * layout.chromaWidth * layout.chromaHeight;
  const CVPixelBuffer::Plane luma{memory.get(), layout.width, layout.height, layout.lumaRow};
  const CVPixelBuffer::Plane chroma{memory.get() + layout.lumaBytes, layout.chromaWidth, layout.chromaHeight,
                                    layout.chromaRow};
  return wrap(layout, luma, chroma, [memory] {});
}

}  // namespace ZELPlatform
