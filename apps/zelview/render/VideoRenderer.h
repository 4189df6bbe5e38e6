#pragma once

#include <ZELKit/ZELDirectPixelBufferSource.h>
#include <ZELKit/ZELRenderView.h>
#include <ZELPlatform/CoreGraphics.h>
#include <ZELPlatform/CoreVideo.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIWindow.h>

#include <memory>
#include <string>

#include "apps/zelview/Camera.h"
#include "apps/zelview/CameraController.h"

namespace zelview {

/// Draws one frame after the other into memory. Main thread; needs the off-screen display to be started.
class VideoRenderer {
 public:
  /// `size` in points, which are pixels at the screen's scale of 1. Throws `ViewerError`.
  VideoRenderer(CGSize size, std::shared_ptr<ZELProjection> projection);
  ~VideoRenderer();

  /// The frame as the camera sees it. Blocks until it is drawn.
  std::shared_ptr<CGImage> render(const CVPixelBufferRef& frame, const Camera& camera);

  /// What draws, for people.
  std::string rendererDescription() const;

  VideoRenderer(const VideoRenderer&) = delete;
  VideoRenderer& operator=(const VideoRenderer&) = delete;

 private:
  std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<ZELRenderView> view_;
  std::shared_ptr<CameraController> controller_;
  std::shared_ptr<ZELDirectPixelBufferSource> source_;
};

}  // namespace zelview
