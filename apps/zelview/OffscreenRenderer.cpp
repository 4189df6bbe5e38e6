#include "apps/zelview/OffscreenRenderer.h"

#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIScreen.h>

#include <algorithm>
#include <cmath>

#include "apps/zelview/ViewerError.h"

namespace zelview {
namespace {

constexpr double kTimeLimit = 30.0;
/// A refresh that comes while a picture is being drawn is dropped, so refreshes are repeated at about this pace.
constexpr double kRefreshPause = 0.004;
constexpr double kRefreshPeriod = 1.0 / 60.0;

}  // namespace

void checkPictureSize(CGSize size) {
  const double scale = UIScreen::mainScreen().nativeScale();
  const double limit = static_cast<double>(maximumTextureSize());
  const double width = std::ceil(size.width * scale);
  const double height = std::ceil(size.height * scale);
  if (std::max(width, height) <= limit) return;
  throw ViewerError("A picture of " + std::to_string(static_cast<long>(width)) + "x" +
                    std::to_string(static_cast<long>(height)) + " pixels is too large (the limit is " +
                    std::to_string(static_cast<long>(limit)) + " a side).");
}

OffscreenRenderer::OffscreenRenderer(CGSize size, BackEnd backEnd)
    : controller_(std::make_shared<CameraController>(Camera{})) {
  checkPictureSize(size);
  DisplayRefresh::shared().setStepped(true);
  const CGRect frame = CGRectMake(0, 0, size.width, size.height);
  std::string error;
  window_ = UIWindow::create(frame, &error);
  if (!window_) throw ViewerError(error);
  view_ = makeRenderView(frame, backEnd);
  view_->setController(controller_);
  window_->addSubview(view_);
  window_->makeKeyAndVisible();
  window_->layoutIfNeeded();
}

OffscreenRenderer::~OffscreenRenderer() {
  view_->removeFromSuperview();
  window_->close();
}

std::shared_ptr<CGImage> OffscreenRenderer::render(
    const std::shared_ptr<ZELPixelBufferSource>& source,
    const std::function<std::shared_ptr<ZELProjection>()>& makeProjection, const Camera& camera) {
  source_ = source;
  controller_->setCamera(camera);
  view_->setZoom(camera.zoom);
  draw(makeProjection());
  // A picture is reported between its drawing and its presentation. Pictures follow each other in order, so when the
  // same one is reported once more, the first is what a snapshot sees.
  draw(makeProjection());
  ZELRenderView::flushGPU();
  const std::shared_ptr<UIImage> snapshot = view_->takeSnapshot();
  if (!snapshot || !snapshot->cgImage()) throw ViewerError("The rendered picture cannot be read back.");
  return snapshot->cgImage();
}

void OffscreenRenderer::draw(const std::shared_ptr<ZELProjection>& projection) {
  // A new projection object makes the view draw even if all else is as before; setting the source makes it report.
  view_->setContentProjection(projection);
  view_->setContentSource(source_);
  const double deadline = CACurrentMediaTime() + kTimeLimit;
  const auto ready = [this] { return view_->readyForDisplay(); };
  while (!ready()) {
    if (CACurrentMediaTime() > deadline) throw ViewerError("The picture is not drawn after 30 seconds.");
    DisplayRefresh::shared().refresh(CACurrentMediaTime(), kRefreshPeriod);
    NSRunLoop::mainRunLoop().runUntil(ready, kRefreshPause);
  }
}

}  // namespace zelview
