#pragma once

#include <ZELKit/ZELPixelBufferSource.h>
#include <ZELPlatform/CoreMedia.h>

#include <memory>

class DispatchQueue;

/// A source for hosts that make frames themselves: it holds the latest frame pushed in. Any thread.
///
/// There is no queue: a frame is shown as soon as the display's time has passed the moment at which it was pushed, and
/// a newer one takes its place.
class ZELKIT_EXPORT ZELDirectPixelBufferSource final : public ZELPixelBufferSource {
 public:
  static std::shared_ptr<ZELDirectPixelBufferSource> create();
  ~ZELDirectPixelBufferSource() override;

  /// Publishes a frame; null empties the source. The media time is accepted and ignored: the frame is stamped with the
  /// host time of the call. Waits only for another short call of this object.
  void updateWithPixelBuffer(CVPixelBufferRef pixelBuffer, CMTime time);

  bool hasNewPixelBufferForTime(double time) override;

  /// Hands the frame out again for every later time, also when it is not new, so that it can be redrawn.
  CVPixelBufferRef copyPixelBufferForTime(double time) override;

  /// Does nothing.
  void notifyDisplaySizeChanged(CGSize size) override;

 private:
  ZELDirectPixelBufferSource();

  std::shared_ptr<DispatchQueue> lockQueue_;
  CVPixelBufferRef pixelBuffer_;
  double pixelBufferTime_ = 0.0;
  double lastAccessTime_ = 0.0;
};
