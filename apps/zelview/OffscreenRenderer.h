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
#include "apps/zelview/Options.h"
#include "apps/zelview/RepeatingSource.h"

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

  /// Off at first; with it, the kind of pictures that the network's model is chosen by. Flat frames that are to be
  /// enlarged need two planes.
  void setSuperResolution(SuperResolution mode, int64_t contentType);

  /// Of the last picture.
  ZELSuperResolutionStatus superResolutionStatus() const { return view_->superResolutionStatus(); }
  const ZELRenderView& view() const { return *view_; }

  /// The source's frame seen through the projection by the camera. `makeProjection` yields a new object at each call.
  /// Blocks until the picture is finished; throws `ViewerError` when it is not within half a minute.
  std::shared_ptr<CGImage> render(const std::shared_ptr<ZELPixelBufferSource>& source,
                                  const std::function<std::shared_ptr<ZELProjection>()>& makeProjection,
                                  const Camera& camera);

  /// What draws, for people; after the first picture it says how pictures reach the GPU, too.
  std::string rendererDescription() const { return view_->rendererDescription(); }

  OffscreenRenderer(const OffscreenRenderer&) = delete;
  OffscreenRenderer& operator=(const OffscreenRenderer&) = delete;

 private:
  std::shared_ptr<CGImage> renderOnce(const std::function<std::shared_ptr<ZELProjection>()>& makeProjection);
  void draw(const std::shared_ptr<ZELProjection>& projection);

  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<ZELRenderView> view_;
  std::shared_ptr<CameraController> controller_;
  SuperResolution superResolution_ = SuperResolution::Off;
  std::shared_ptr<RepeatingSource> frames_;
};

/// The left half of the one picture beside the right half of the other, which is of the same size, and a line
/// between the two.
std::shared_ptr<CGImage> joinHalves(const CGImage& left, const CGImage& right);

/// Says on standard error what the options' super-resolution came to, as far as it is to be said.
void reportSuperResolution(const Options& options, const OffscreenRenderer& renderer);

}  // namespace zelview
