#pragma once

#include <ZELPlatform/CoreVideo.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ZELBench {

/// Frames of one format that are shown in turn.
///
/// Every sample of either side takes the next frame of the ring, so that each frame was last read equally long ago and
/// neither side finds its bytes in the processor's cache because the other has just read them.
class FrameRing {
 public:
  FrameRing(uint32_t pixelFormat, size_t width, size_t height, size_t count);

  const CVPixelBufferRef& next() { return frames_[nextIndex()]; }
  /// The same, by its place in the ring.
  size_t nextIndex() { return position_++ % frames_.size(); }
  const std::vector<CVPixelBufferRef>& all() const { return frames_; }
  uint32_t pixelFormat() const { return frames_.front()->pixelFormatType(); }

 private:
  std::vector<CVPixelBufferRef> frames_;
  size_t position_ = 0;
};

/// A frame of smooth colours with fine grain; `seed` tells one from another.
CVPixelBufferRef makeTestFrame(uint32_t pixelFormat, size_t width, size_t height, uint32_t seed);

}  // namespace ZELBench
