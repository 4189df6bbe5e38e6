#include <ZELKit/ZELRenderView.h>

#include <ZELKit/internal/ZELInternalRenderState.h>
#include <ZELKit/internal/ZELInternalRenderView.h>
#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIScreen.h>

#include <cmath>
#include <utility>

#include "frontend/ZELDisplayLink.h"

namespace {

/// Both landscape values; anything else, unknown included, counts as portrait.
bool isLandscape(UIInterfaceOrientation orientation) {
  return static_cast<uint64_t>(orientation) - static_cast<uint64_t>(UIInterfaceOrientationLandscapeRight) < 2;
}

}  // namespace

ZELRenderView::ZELRenderView(Key key) : UIView(key) {}

ZELRenderView::~ZELRenderView() {
  if (displayLink_) displayLink_->invalidate();
}

std::shared_ptr<ZELRenderView> ZELRenderView::create(CGRect frame) { return createView<ZELRenderView>(frame); }

bool ZELRenderView::initWithFrame(CGRect frame) {
  if (!UIView::initWithFrame(frame)) return false;
  _setupInternalView(_createInternalView());
  displayLink_ = ZELDisplayLink::createWithDisplayable(std::static_pointer_cast<ZELRenderView>(shared_from_this()));
  zoom_ = 1.0;
  return true;
}

void ZELRenderView::_setupInternalView(std::shared_ptr<ZELInternalRenderView> view) {
  if (renderView_) renderView_->removeFromSuperview();
  renderView_ = std::move(view);
  if (!renderView_) return;
  addSubview(renderView_);
  _trackInternalView(renderView_);
}

void ZELRenderView::setContentSource(std::shared_ptr<ZELPixelBufferSource> source) {
  setReadyForDisplay(false);
  // The last reported display size stays: the new source hears of a size only when that next changes.
  contentSource_ = std::move(source);
}

void ZELRenderView::setReadyForDisplay(bool ready) {
  if (ready == readyForDisplay_) return;
  readyForDisplay_ = ready;
  if (readyObserver_) readyObserver_(ready);
}

void ZELRenderView::layoutSubviews() {
  if (renderView_) renderView_->setFrame(bounds());
}

void ZELRenderView::willMoveToWindow(const std::shared_ptr<UIWindow>& window) {
  if (window) {
    // So that the first step after a pause is short, not as long as the pause.
    lastRenderTime_ = NSDate::date();
    displayLink_->resume();
  } else {
    displayLink_->pause();
  }
}

std::shared_ptr<UIImage> ZELRenderView::takeSnapshot() {
  if (!renderView_) return nullptr;
  // A frame is reported as displayed between its draw and its presentation: a host that takes a snapshot as soon as the
  // view is ready means that frame.
  renderView_->waitUntilPresented();
  UIGraphicsBeginImageContextWithOptions(renderView_->bounds().size, true, 0.0);
  renderView_->drawViewHierarchyInRect(renderView_->bounds(), false);
  std::shared_ptr<UIImage> image = UIGraphicsGetImageFromCurrentImageContext();
  UIGraphicsEndImageContext();
  return image;
}

float ZELRenderView::advanceClock() {
  float deltaTime = 0.0F;
  if (lastRenderTime_) deltaTime = -static_cast<float>(lastRenderTime_->timeIntervalSinceNow());
  lastRenderTime_ = NSDate::date();
  return deltaTime;
}

GLKMatrix4 ZELRenderView::cameraMatrix(float deltaTime) {
  if (!controller_) return GLKMatrix4Identity;
  const bool flat = !contentProjection_ || contentProjection_->type() == ZELProjectionTypeFlat;
  if (flat) {
    if (controller_->enabled()) controller_->setEnabled(false);
    return GLKMatrix4Identity;
  }
  if (!controller_->enabled()) controller_->setEnabled(true);
  controller_->updateWithDeltaTime(deltaTime);
  return controller_->viewMatrix();
}

std::shared_ptr<ZELInternalRenderState> ZELRenderView::makeState(const GLKMatrix4& viewMatrix, double syncTime) {
  const bool landscape = isLandscape(UIApplication::sharedApplication().statusBarOrientation());
  const CGSize size = bounds().size;
  const double aspectRatio = size.height > 0.0 ? size.width / size.height : 1.0;
  const double zoomScale =
      contentProjection_ ? contentProjection_->zoomScaleForAspectRatio(aspectRatio, landscape) : 0.0;

  auto state = std::make_shared<ZELInternalRenderState>();
  state->viewMatrix = viewMatrix;
  state->nearPlane = zoom_ * zoomScale;
  state->size = CGSizeMake(std::ceil(size.width), std::ceil(size.height));
  state->nativeScale = UIScreen::mainScreen().nativeScale();
  state->srContentType = superResolutionContentType_;
  state->srEncoderType = superResolutionEncoderType_;
  state->srEnabled = superResolutionEnabled_;
  state->projection = contentProjection_;
  state->syncTime = syncTime;
  if (!readyForDisplay_) state->frameDisplayed = makeFrameDisplayedCallback();
  return state;
}

std::function<void()> ZELRenderView::makeFrameDisplayedCallback() {
  return [view = std::static_pointer_cast<ZELRenderView>(shared_from_this())] {
    DispatchQueue::mainQueue()->async([view] {
      if (!view->readyForDisplay()) view->setReadyForDisplay(true);
    });
  };
}

void ZELRenderView::displayAtSyncTime(double syncTime) {
  const float deltaTime = advanceClock();
  const GLKMatrix4 viewMatrix = cameraMatrix(deltaTime);
  const std::shared_ptr<ZELInternalRenderState> state = makeState(viewMatrix, syncTime);
  if (renderView_) renderView_->renderWithPixelBufferSource(contentSource_, state);

  const bool flat = !contentProjection_ || contentProjection_->type() == ZELProjectionTypeFlat;
  if (flat && !CGSizeEqualToSize(lastDisplaySize_, state->size)) {
    if (contentSource_) contentSource_->notifyDisplaySizeChanged(state->size);
    lastDisplaySize_ = state->size;
  }
}
