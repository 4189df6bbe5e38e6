#include <ZELKit/ZELDirectPixelBufferSource.h>
#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/Foundation.h>

#include <utility>

namespace {

const mach_timebase_info_data_t& timebase() {
  static const mach_timebase_info_data_t info = [] {
    mach_timebase_info_data_t value{};
    mach_timebase_info(&value);
    return value;
  }();
  return info;
}

/// Now on the host clock in seconds, cut to whole microseconds.
double hostTimeInSeconds() {
  const mach_timebase_info_data_t& info = timebase();
  const uint64_t microseconds = mach_absolute_time() * info.numer / (uint64_t{info.denom} * 1000);
  return static_cast<double>(microseconds) / 1'000'000.0;
}

}  // namespace

std::shared_ptr<ZELDirectPixelBufferSource> ZELDirectPixelBufferSource::create() {
  return std::shared_ptr<ZELDirectPixelBufferSource>(new ZELDirectPixelBufferSource());
}

ZELDirectPixelBufferSource::ZELDirectPixelBufferSource()
    : lockQueue_(DispatchQueue::create("direct_pixel_buffer_lock")) {}

ZELDirectPixelBufferSource::~ZELDirectPixelBufferSource() = default;

void ZELDirectPixelBufferSource::updateWithPixelBuffer(CVPixelBufferRef pixelBuffer, CMTime /*time*/) {
  // The frame that was held goes away after the queue was left: a host's release callback must not run in there.
  lockQueue_->sync([&] {
    std::swap(pixelBuffer_, pixelBuffer);
    pixelBufferTime_ = hostTimeInSeconds();
  });
}

bool ZELDirectPixelBufferSource::hasNewPixelBufferForTime(double time) {
  bool isNew = false;
  lockQueue_->sync(
      [&] { isNew = time >= pixelBufferTime_ && pixelBufferTime_ > lastAccessTime_ && pixelBuffer_ != nullptr; });
  return isNew;
}

CVPixelBufferRef ZELDirectPixelBufferSource::copyPixelBufferForTime(double time) {
  // Not the test for a new frame: here the requested time, not the frame's, is compared with the last access. So a
  // frame that was taken is no longer new, but a later request still gets it.
  CVPixelBufferRef frame;
  lockQueue_->sync([&] {
    if (time > lastAccessTime_ && time >= pixelBufferTime_ && pixelBuffer_ != nullptr) {
      lastAccessTime_ = time;
      frame = pixelBuffer_;
    }
  });
  return frame;
}

void ZELDirectPixelBufferSource::notifyDisplaySizeChanged(CGSize /*size*/) {}
