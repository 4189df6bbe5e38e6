#pragma once

#include <ZELPlatform/CoreVideo.h>
#include <gst/video/video.h>

#include "apps/zelview/render/GstOwned.h"

namespace zelview {

/// The formats that need no conversion, as capabilities.
inline constexpr const char* kDecodedCaps = "video/x-raw,format={I420,NV12},colorimetry=bt709";

/// Lets decoders write frames where the sink's user takes them, in rows of any length and at the beginning of a page,
/// so that neither they nor a GPU have to copy.
void answerAllocations(GstElement* sink);

/// Corrects what the capabilities that reach an element say of colours nobody told them: what has no tag is BT.709
/// above 576 rows, and BT.601 below. Without it large pictures of eight bits count as BT.2020.
void correctColours(GstElement* element);

/// A two-plane frame to write into, which keeps the memory until it goes. Null when it cannot be written.
CVPixelBufferRef writablePixelsOf(GstBuffer* buffer, const GstVideoInfo& info);

/// Makes pixel buffers of frames with `kDecodedCaps`. The decoder's memory is held until the buffer goes; of three
/// planes the two of chroma are written into one. One thread.
class DecodedPixels {
 public:
  /// Null when the memory cannot be read.
  CVPixelBufferRef pixelsOf(GstBuffer* buffer, const GstVideoInfo& info);

 private:
  GstBuffer* takeChroma(gsize bytes);

  /// Page-aligned memory for chroma, used again.
  GstPointer<GstBufferPool> chromaPool_;
  gsize chromaBytes_ = 0;
};

}  // namespace zelview
