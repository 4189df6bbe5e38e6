#include "apps/zelview/RepeatingSource.h"

#include <utility>

namespace zelview {

void RepeatingSource::repeat() {
  const std::lock_guard lock(mutex_);
  repeats_ = true;
}

CVPixelBufferRef RepeatingSource::lastFrame() const {
  const std::lock_guard lock(mutex_);
  return last_;
}

uint64_t RepeatingSource::frameCount() const {
  const std::lock_guard lock(mutex_);
  return count_;
}

bool RepeatingSource::hasNewPixelBufferForTime(double time) {
  {
    const std::lock_guard lock(mutex_);
    if (repeats_ && last_) return true;
  }
  return source_->hasNewPixelBufferForTime(time);
}

CVPixelBufferRef RepeatingSource::copyPixelBufferForTime(double time) {
  CVPixelBufferRef frame = source_->copyPixelBufferForTime(time);
  const std::lock_guard lock(mutex_);
  if (std::exchange(repeats_, false) && !frame) frame = last_;
  if (!frame) return nullptr;
  // The frame before goes away after the lock.
  std::swap(last_, frame);
  ++count_;
  return last_;
}

bool LeftHalfSource::hasNewPixelBufferForTime(double) {
  const std::lock_guard lock(mutex_);
  return source_->frameCount() > seen_;
}

CVPixelBufferRef LeftHalfSource::copyPixelBufferForTime(double) {
  {
    const std::lock_guard lock(mutex_);
    seen_ = source_->frameCount();
  }
  const CVPixelBufferRef whole = source_->lastFrame();
  if (!whole || whole->planeCount() != 2 || leftHalf(whole->width()) == 0) return nullptr;
  CVPixelBuffer::Plane luma = whole->plane(0);
  CVPixelBuffer::Plane chroma = whole->plane(1);
  luma.width = leftHalf(whole->width());
  chroma.width = luma.width / 2;
  return CVPixelBuffer::createWithPlanarBytes(luma.width, whole->height(), whole->pixelFormatType(), {luma, chroma},
                                              [whole] {});
}

}  // namespace zelview
