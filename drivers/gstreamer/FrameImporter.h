#pragma once

#include "drivers/gstreamer/MemoryPool.h"

#include <ZELPlatform/CoreVideo.h>
#include <gst/video/video.h>

#include <memory>
#include <mutex>

namespace ZELPlatform {

/// Makes pixel buffers of decoded frames: two planes, video range, matrix of BT.709.
///
/// What has that range and matrix keeps the decoder's memory: all of it where the decoder writes two planes; of three
/// planes the luma one, and the two chroma planes are written into one. Everything else is converted. Any thread.
class FrameImporter {
 public:
  /// Null when the memory cannot be read or the format cannot be converted.
  CVPixelBufferRef import(GstBuffer* buffer, const GstVideoInfo& info);

 private:
  CVPixelBufferRef borrow(GstBuffer* buffer, const GstVideoInfo& info);
  CVPixelBufferRef convert(GstBuffer* buffer, const GstVideoInfo& decoded);
  GstVideoConverter* converterFor(const GstVideoInfo& info);

  struct ConverterFree {
    void operator()(GstVideoConverter* converter) const { gst_video_converter_free(converter); }
  };

  MemoryPool pool_;
  std::mutex mutex_;
  GstVideoInfo convertedFrom_{};
  std::unique_ptr<GstVideoConverter, ConverterFree> converter_;
};

/// The range and matrix that the frames really have: an untagged one is guessed.
GstVideoInfo withSensibleColours(const GstVideoInfo& info);

}  // namespace ZELPlatform
