#include <gst/video/video.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "drivers/gstreamer/FrameImporter.h"
#include "platform/corevideo/Counters.h"
#include "player/Cinema.h"
#include "player/PlayerFixture.h"

// Colour bars come out as video-range BT.709, whatever the film was coded and tagged as.

namespace ZELTest {
namespace {

std::string tagged(const char* matrix, const char* range, const char* space, const char* pixels) {
  return std::string("-vf scale=out_color_matrix=") + matrix + ":out_range=" + range + ",format=" + pixels +
         " -colorspace " + space + " -color_range " + range;
}

struct Ycc {
  double y;
  double cb;
  double cr;
};

/// The definition of BT.709, video range, of eight bits.
Ycc bt709(const std::array<int, 3>& rgb) {
  const double r = rgb[0] / 255.0;
  const double g = rgb[1] / 255.0;
  const double b = rgb[2] / 255.0;
  const double y = 0.2126 * r + 0.7152 * g + 0.0722 * b;
  return {16 + 219 * y, 128 + 224 * (b - y) / 1.8556, 128 + 224 * (r - y) / 1.5748};
}

Ycc atBar(const CVPixelBufferRef& frame, size_t bar) {
  const size_t x = (2 * bar + 1) * frame->width() / 16;
  const size_t y = frame->height() / 2;
  const auto at = [&](size_t plane, size_t row, size_t byte) {
    const CVPixelBuffer::Plane p = frame->plane(plane);
    return static_cast<double>(static_cast<const uint8_t*>(p.baseAddress)[row * p.bytesPerRow + byte]);
  };
  return {at(0, y, x), at(1, y / 2, x / 2 * 2), at(1, y / 2, x / 2 * 2 + 1)};
}

struct Case {
  std::string name;
  std::string options;
  std::string kind;
  int width = 320;
  int height = 180;
};

std::vector<Case> cases() {
  const std::string h264 = " -c:v libx264 -preset ultrafast -qp 4";
  const std::string bt709 = " -color_primaries bt709 -color_trc bt709";
  return {
      {"Bt709Video", tagged("bt709", "tv", "bt709", "yuv420p") + bt709 + h264, "mp4"},
      {"Bt709MatrixAlone", tagged("bt709", "tv", "bt709", "yuv420p") + h264, "mp4"},
      {"Bt709Full", tagged("bt709", "pc", "bt709", "yuv420p") + bt709 + h264, "mp4"},
      {"Bt601Video", tagged("smpte170m", "tv", "smpte170m", "yuv420p") + h264, "mp4"},
      {"Bt601Full", tagged("smpte170m", "pc", "smpte170m", "yuv420p") + h264, "mp4"},
      {"Bt2020Video", tagged("bt2020", "tv", "bt2020nc", "yuv420p") + h264, "mp4"},
      {"Bt2020Full", tagged("bt2020", "pc", "bt2020nc", "yuv420p") + h264, "mp4"},
      {"Bt2020TenBits", tagged("bt2020", "tv", "bt2020nc", "yuv420p10le") + h264 + " -profile:v high10", "mp4"},
      {"Yuv422", tagged("bt709", "tv", "bt709", "yuv422p") + bt709 + h264, "mp4"},
      {"Yuv444OddSize", tagged("bt709", "tv", "bt709", "yuv444p") + bt709 + h264, "mp4", 321, 181},
      {"OddSize", tagged("smpte170m", "tv", "smpte170m", "yuv420p") + " -c:v ffv1", "mkv", 321, 181},
      {"Jpeg", "-vf scale=out_color_matrix=smpte170m:out_range=pc,format=yuvj420p -c:v mjpeg -q:v 1", "mkv"},
      {"RgbUncompressed", "-c:v rawvideo -pix_fmt bgr24", "avi"},
      {"UntaggedSmall", "-vf scale=out_color_matrix=smpte170m:out_range=tv,format=yuv420p" + h264, "mp4"},
      {"UntaggedLarge", "-vf scale=out_color_matrix=bt709:out_range=tv,format=yuv420p" + h264, "mp4", 1280, 640},
      {"UntaggedHuge", "-vf scale=out_color_matrix=bt709:out_range=tv,format=yuv420p" + h264, "mp4", 480, 2160},
  };
}

class Colours : public PlayerFixture, public testing::WithParamInterface<Case> {};

TEST_P(Colours, BarsAreVideoRangeBt709) {
  const Case& test = GetParam();
  const std::string path = barsFile(test.options, test.kind, test.width, test.height);
  ASSERT_NE(path, "") << "ffmpeg refuses " << test.options;
  Cinema cinema(path);
  ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
  const CVPixelBufferRef frame = cinema.output()->copyPixelBufferForItemTime(kCMTimeZero, nullptr);
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(frame->pixelFormatType(), kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
  EXPECT_EQ(frame->width(), static_cast<size_t>(test.width));
  EXPECT_EQ(frame->height(), static_cast<size_t>(test.height));
  for (size_t bar = 0; bar < kBars.size(); ++bar) {
    const Ycc expected = bt709(kBars[bar]);
    const Ycc actual = atBar(frame, bar);
    // Rounded to eight bits when the film was made, coded with some loss, and rounded again when it is converted. A
    // wrong matrix or range is off by ten and more.
    constexpr double kTolerance = 3.0;
    EXPECT_NEAR(actual.y, expected.y, kTolerance) << "bar " << bar;
    EXPECT_NEAR(actual.cb, expected.cb, kTolerance) << "bar " << bar;
    EXPECT_NEAR(actual.cr, expected.cr, kTolerance) << "bar " << bar;
  }
}

INSTANTIATE_TEST_SUITE_P(Tags, Colours, testing::ValuesIn(cases()), [](const auto& info) { return info.param.name; });

class Import : public PlayerFixture {
 protected:
  /// A frame of that format whose rows are longer than they need be, and not by even numbers.
  static GstBuffer* makeFrame(GstVideoFormat format, GstVideoInfo* info) {
    gst_video_info_set_format(info, format, 37, 21);
    gst_video_colorimetry_from_string(&info->colorimetry, GST_VIDEO_COLORIMETRY_BT709);
    const guint planes = GST_VIDEO_INFO_N_PLANES(info);
    gsize offsets[GST_VIDEO_MAX_PLANES] = {};
    gint strides[GST_VIDEO_MAX_PLANES] = {};
    gsize size = 0;
    for (guint plane = 0; plane < planes; ++plane) {
      offsets[plane] = size;
      strides[plane] = GST_VIDEO_INFO_PLANE_STRIDE(info, plane) + 13;
      size += static_cast<gsize>(strides[plane]) * static_cast<gsize>(GST_VIDEO_INFO_COMP_HEIGHT(info, plane));
    }
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, size, nullptr);
    gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, format, 37, 21, planes, offsets, strides);
    GstVideoFrame frame;
    gst_video_frame_map(&frame, info, buffer, GST_MAP_WRITE);
    for (guint component = 0; component < 3; ++component) {
      for (int y = 0; y < GST_VIDEO_FRAME_COMP_HEIGHT(&frame, component); ++y) {
        for (int x = 0; x < GST_VIDEO_FRAME_COMP_WIDTH(&frame, component); ++x) {
          auto* bytes = static_cast<uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&frame, component));
          bytes[y * GST_VIDEO_FRAME_COMP_STRIDE(&frame, component) +
                x * GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, component)] = valueAt(component, x, y);
        }
      }
    }
    gst_video_frame_unmap(&frame);
    return buffer;
  }

  static uint8_t valueAt(guint component, int x, int y) {
    return static_cast<uint8_t>(16 + (static_cast<int>(component) * 71 + x * 3 + y * 7) % 200);
  }
};

TEST_F(Import, BorrowsTheDecodersMemoryUntilTheLastReferenceGoes) {
  for (const GstVideoFormat format : {GST_VIDEO_FORMAT_NV12, GST_VIDEO_FORMAT_I420, GST_VIDEO_FORMAT_YV12}) {
    ZELPlatform::FrameImporter importer;
    GstVideoInfo info;
    GstBuffer* buffer = makeFrame(format, &info);
    const uint64_t before = ZELPlatform::pixelCounters().rewrittenFrameBytes;
    CVPixelBufferRef frame = importer.import(buffer, info);
    ASSERT_NE(frame, nullptr);
    EXPECT_GT(GST_MINI_OBJECT_REFCOUNT_VALUE(buffer), 1);
    GstMapInfo map;
    gst_buffer_map(buffer, &map, GST_MAP_READ);
    EXPECT_EQ(frame->plane(0).baseAddress, map.data) << "the luma plane is never copied";
    EXPECT_EQ(frame->plane(0).bytesPerRow, 40U + 13);
    const bool twoPlanes = format == GST_VIDEO_FORMAT_NV12;
    const auto* chroma = static_cast<const uint8_t*>(frame->plane(1).baseAddress);
    EXPECT_EQ(chroma >= map.data && chroma < map.data + map.size, twoPlanes);
    EXPECT_EQ(ZELPlatform::pixelCounters().rewrittenFrameBytes - before, twoPlanes ? 0U : 2U * 19 * 11);
    gst_buffer_unmap(buffer, &map);
    for (int y = 0; y < 11; ++y) {
      for (int x = 0; x < 19; ++x) {
        const uint8_t* pixel = chroma + static_cast<size_t>(y) * frame->plane(1).bytesPerRow + 2 * x;
        ASSERT_EQ(pixel[0], valueAt(1, x, y));
        ASSERT_EQ(pixel[1], valueAt(2, x, y));
      }
    }
    frame = nullptr;
    EXPECT_EQ(GST_MINI_OBJECT_REFCOUNT_VALUE(buffer), 1);
    gst_buffer_unref(buffer);
  }
}

TEST_F(Import, OfAWholeFilmOnlyTheSmallPlanesAreWrittenAndAllBeginAtPages) {
  constexpr int kFrames = 12;
  Clip clip;
  clip.width = 128;
  // Untagged pictures of such a height are BT.709.
  clip.height = 640;
  clip.frames = kFrames;
  const uint64_t before = ZELPlatform::pixelCounters().rewrittenFrameBytes;
  Cinema cinema(clipFile(clip), true);
  ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
  cinema.player()->play();
  // It waits until the film is over, and so for every frame.
  const CMTime end = CMTimeMakeWithSeconds(1.0, 1'000'000'000);
  const CVPixelBufferRef last = cinema.output()->copyPixelBufferForItemTime(end, nullptr);
  EXPECT_EQ(frameNumber(last), kFrames - 1);
  EXPECT_EQ(ZELPlatform::pixelCounters().rewrittenFrameBytes - before, kFrames * 128U * 640U / 2);
  for (const size_t plane : {0U, 1U}) {
    EXPECT_EQ(reinterpret_cast<uintptr_t>(last->plane(plane).baseAddress) % 4096, 0U) << "else it has to be uploaded";
  }
}

TEST_F(Import, ConvertedFramesLieInMemoryThatIsReused) {
  ZELPlatform::FrameImporter importer;
  GstVideoInfo info;
  GstBuffer* buffer = makeFrame(GST_VIDEO_FORMAT_Y444, &info);
  CVPixelBufferRef frame = importer.import(buffer, info);
  ASSERT_NE(frame, nullptr);
  const void* memory = frame->plane(0).baseAddress;
  EXPECT_EQ(reinterpret_cast<uintptr_t>(memory) % 4096, 0U);
  const CVPixelBufferRef second = importer.import(buffer, info);
  EXPECT_NE(second->plane(0).baseAddress, memory);
  frame = nullptr;
  EXPECT_EQ(importer.import(buffer, info)->plane(0).baseAddress, memory);
  gst_buffer_unref(buffer);
}

}  // namespace
}  // namespace ZELTest
