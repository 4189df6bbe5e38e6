#pragma once

#include <ZELKit/ZELPixelBufferSource.h>

#include <cstdint>
#include <memory>
#include <mutex>

namespace zelview {

/// Another source's frames, of which the last can be handed out once more as a new one: what is decided when a frame
/// comes is then decided again also for a still picture, or a video that is paused. Any thread.
class RepeatingSource final : public ZELPixelBufferSource {
 public:
  explicit RepeatingSource(std::shared_ptr<ZELPixelBufferSource> source) : source_(std::move(source)) {}

  const std::shared_ptr<ZELPixelBufferSource>& source() const { return source_; }

  /// Has the next request hand out the last frame, or a newer one.
  void repeat();

  /// The frame that was handed out last, or null, and how many there were.
  CVPixelBufferRef lastFrame() const;
  uint64_t frameCount() const;

  bool hasNewPixelBufferForTime(double time) override;
  CVPixelBufferRef copyPixelBufferForTime(double time) override;
  void notifyDisplaySizeChanged(CGSize size) override { source_->notifyDisplaySizeChanged(size); }

 private:
  const std::shared_ptr<ZELPixelBufferSource> source_;
  mutable std::mutex mutex_;
  CVPixelBufferRef last_;
  uint64_t count_ = 0;
  bool repeats_ = false;
};

/// The left half of each frame that the other source handed out last, without a copy. Frames of one plane are passed on
/// as nothing. Any thread.
class LeftHalfSource final : public ZELPixelBufferSource {
 public:
  explicit LeftHalfSource(std::shared_ptr<RepeatingSource> source) : source_(std::move(source)) {}

  bool hasNewPixelBufferForTime(double time) override;
  CVPixelBufferRef copyPixelBufferForTime(double time) override;
  void notifyDisplaySizeChanged(CGSize) override {}

 private:
  const std::shared_ptr<RepeatingSource> source_;
  std::mutex mutex_;
  uint64_t seen_ = 0;
};

/// How many columns of a frame of that width are its left half: an even number, as two share a pixel of colour.
constexpr size_t leftHalf(size_t width) { return width / 4 * 2; }

}  // namespace zelview
