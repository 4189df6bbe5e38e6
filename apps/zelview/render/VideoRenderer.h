#pragma once

#include <ZELKit/ZELProjection.h>
#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/CoreVideo.h>

#include <memory>
#include <string>

#include "apps/zelview/Camera.h"

namespace zelview {

/// Draws one frame after the other into frames of another size. Main thread; needs the off-screen display to be
/// started.
class VideoRenderer {
 public:
  /// With the back end that was chosen: the explicit GPU draws planes, OpenGL ES a view whose pixels are converted.
  /// `size` in points, which are pixels at the screen's scale of 1. Throws `ViewerError`.
  static std::unique_ptr<VideoRenderer> create(CGSize size, std::shared_ptr<ZELProjection> projection);
  virtual ~VideoRenderer() = default;

  /// The frame as the camera sees it, into a frame of that size: two planes, video range, BT.709, as the frame itself.
  /// Blocks until it is drawn. Throws `ViewerError`.
  virtual void render(const CVPixelBufferRef& frame, const Camera& camera, const CVPixelBufferRef& target) = 0;

  /// What draws, for people.
  virtual std::string rendererDescription() const = 0;
};

}  // namespace zelview
