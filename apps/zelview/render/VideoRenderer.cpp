#include "apps/zelview/render/VideoRenderer.h"

#include <ZELKit/ZELDirectPixelBufferSource.h>
#include <ZELKit/ZELFrameRenderer.h>
#include <ZELKit/ZELRenderView.h>
#include <ZELPlatform/CoreGraphics.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/QuartzCore.h>
#include <ZELPlatform/UIWindow.h>

#include <utility>

#include "apps/zelview/BackEnd.h"
#include "apps/zelview/CameraController.h"
#include "apps/zelview/ViewerError.h"
#include "apps/zelview/render/PlaneConversion.h"

namespace zelview {
namespace {

constexpr double kPeriod = 1.0 / 60.0;

/// Luma from luma and chroma from chroma.
class PlaneRenderer final : public VideoRenderer {
 public:
  PlaneRenderer(std::shared_ptr<ZELFrameRenderer> renderer, std::shared_ptr<ZELProjection> projection)
      : renderer_(std::move(renderer)), projection_(std::move(projection)) {}

  void render(const CVPixelBufferRef& frame, const Camera& camera, const CVPixelBufferRef& target) override {
    if (!renderer_->renderFrame(frame, target, projection_, viewMatrixOf(camera), camera.zoom)) {
      throw ViewerError("A frame cannot be drawn.");
    }
  }

  std::string rendererDescription() const override { return renderer_->rendererDescription() + ", plane by plane"; }

 private:
  const std::shared_ptr<ZELFrameRenderer> renderer_;
  const std::shared_ptr<ZELProjection> projection_;
};

/// A view off screen, of which snapshots are taken.
class ViewRenderer final : public VideoRenderer {
 public:
  ViewRenderer(CGSize size, std::shared_ptr<ZELProjection> projection)
      : controller_(std::make_shared<CameraController>(Camera{})), source_(ZELDirectPixelBufferSource::create()) {
    // The frames are the clock: each of them is newer than the one before, however fast they come.
    HostClock::setCurrent(clock_);
    DisplayRefresh::shared().setStepped(true);
    const CGRect frame = CGRectMake(0, 0, size.width, size.height);
    std::string error;
    window_ = UIWindow::create(frame, &error);
    if (!window_) throw ViewerError(error);
    view_ = makeRenderView(frame, BackEnd::Automatic);
    view_->setController(controller_);
    view_->setContentProjection(std::move(projection));
    view_->setContentSource(source_);
    window_->addSubview(view_);
    window_->makeKeyAndVisible();
    window_->layoutIfNeeded();
  }

  ~ViewRenderer() override {
    if (view_) view_->removeFromSuperview();
    if (window_) window_->close();
    DisplayRefresh::shared().setStepped(false);
    HostClock::setCurrent(nullptr);
  }

  void render(const CVPixelBufferRef& frame, const Camera& camera, const CVPixelBufferRef& target) override {
    // A refresh asks for the frame of one period later. What is pushed up to that time counts as seen already, so the
    // next frame has to come after it.
    clock_->advance(2 * kPeriod);
    source_->updateWithPixelBuffer(frame, CMTime{});
    controller_->setCamera(camera);
    view_->setZoom(camera.zoom);
    DisplayRefresh::shared().refresh(CACurrentMediaTime(), kPeriod);
    // Waits for the frame under way.
    const std::shared_ptr<UIImage> picture = view_->takeSnapshot();
    NSRunLoop::mainRunLoop().runPending();
    if (!picture || !picture->cgImage()) throw ViewerError("A rendered picture cannot be read back.");
    writePlanes(*picture->cgImage(), *target);
  }

  std::string rendererDescription() const override { return view_->rendererDescription(); }

 private:
  std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<ZELRenderView> view_;
  std::shared_ptr<CameraController> controller_;
  std::shared_ptr<ZELDirectPixelBufferSource> source_;
};

}  // namespace

std::unique_ptr<VideoRenderer> VideoRenderer::create(CGSize size, std::shared_ptr<ZELProjection> projection) {
  auto renderer = ZELRenderView::metalAllowed() ? ZELFrameRenderer::create() : nullptr;
  if (renderer) return std::make_unique<PlaneRenderer>(std::move(renderer), std::move(projection));
  return std::make_unique<ViewRenderer>(size, std::move(projection));
}

}  // namespace zelview
