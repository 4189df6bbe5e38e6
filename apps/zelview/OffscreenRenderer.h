#pragma once

#include <ZELKit/ZELPixelBufferSource.h>
#include <ZELKit/ZELProjection.h>
#include <ZELKit/ZELRenderView.h>
#include <ZELPlatform/CoreGraphics.h>
#include <ZELPlatform/UIWindow.h>

#include <functional>
#include <memory>
#include <string>

#include "apps/zelview/BackEnd.h"
#include "apps/zelview/Camera.h"
#include "apps/zelview/CameraController.h"

namespace zelview {

/// Throws `ViewerError` when a picture of that many points at the screen's scale is larger than the GPU can draw. Needs
/// the display to be started.
void checkPictureSize(CGSize size);

/// Renders pictures into memory, one at a time. Main thread; needs the off-screen display to be started.
class OffscreenRenderer {
 public:
  /// Throws `ViewerError` when the picture (points times the screen's scale) is too large or nothing can draw.
  OffscreenRenderer(CGSize size, BackEnd backEnd);
  ~OffscreenRenderer();

  /// The source's frame seen through the projection by the camera. `makeProjection` is called twice and yields a new
  /// object each time. Blocks until the picture is finished; throws `ViewerError` when it is not within half a minute.
  std::shared_ptr<CGImage> render(const std::shared_ptr<ZELPixelBufferSource>& source,
                                  const std::function<std::shared_ptr<ZELProjection>()>& makeProjection,
                                  const Camera& camera);

  /// What draws, for people; after the first picture it says how pictures reach the GPU, too.
  std::string rendererDescription() const { return view_->rendererDescription(); }

  OffscreenRenderer(const OffscreenRenderer&) = delete;
  OffscreenRenderer& operator=(const OffscreenRenderer&) = delete;

 private:
  void draw(const std::shared_ptr<ZELProjection>& projection);

  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<ZELRenderView> view_;
  std::shared_ptr<CameraController> controller_;
  std::shared_ptr<ZELPixelBufferSource> source_;
};

}  // namespace zelview
