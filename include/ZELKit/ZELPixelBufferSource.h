#pragma once

#include <ZELKit/ZELExport.h>
#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/CoreVideo.h>

/// A producer of frames. Times are seconds of host time: the moment at which the frame would be on the screen.
///
/// A back end calls the first two from its render path, the view calls the third from the main thread.
class ZELKIT_EXPORT ZELPixelBufferSource {
 public:
  virtual ~ZELPixelBufferSource() = default;

  /// Whether there is a frame for that time that is newer than the last one handed out.
  virtual bool hasNewPixelBufferForTime(double time) = 0;

  /// The frame for that time, or null. Normally preceded by a true answer to the query for the same time, but a bare
  /// call must be answered too.
  virtual CVPixelBufferRef copyPixelBufferForTime(double time) = 0;

  /// Tells the size in points at which flat content is now shown.
  virtual void notifyDisplaySizeChanged(CGSize size) = 0;
};
