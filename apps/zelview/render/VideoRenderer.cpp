#include "apps/zelview/render/VideoRenderer.h"

#include <ZELPlatform/QuartzCore.h>

#include "apps/zelview/BackEnd.h"
#include "apps/zelview/ViewerError.h"

namespace zelview {
namespace {

constexpr double kPeriod = 1.0 / 60.0;

}  // namespace

VideoRenderer::VideoRenderer(CGSize size, std::shared_ptr<ZELProjection> projection)
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

VideoRenderer::~VideoRenderer() {
  if (view_) view_->removeFromSuperview();
  if (window_) window_->close();
  DisplayRefresh::shared().setStepped(false);
  HostClock::setCurrent(nullptr);
}

std::string VideoRenderer::rendererDescription() const { return view_->rendererDescription(); }

std::shared_ptr<CGImage> VideoRenderer::render(const CVPixelBufferRef& frame, const Camera& camera) {
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
  return picture->cgImage();
}

}  // namespace zelview
