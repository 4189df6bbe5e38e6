#include "bench/KitStage.h"

#include "bench/Statistics.h"
#include "gl/ZELGLRenderView.h"
#include "platform/quartzcore/LayerContents.h"

#include <GLES2/gl2.h>
#include <ZELPlatform/CoreMedia.h>
#include <ZELPlatform/EAGL.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/MTLDevice.h>
#include <ZELPlatform/QuartzCore.h>
#include <ZELPlatform/UIApplication.h>

namespace ZELBench {

namespace {

/// Finds out in which context the kit draws: a source is asked for frames with that context current. Never has a frame.
class ContextProbe final : public ZELPixelBufferSource {
 public:
  bool hasNewPixelBufferForTime(double) override {
    display_ = eglGetCurrentDisplay();
    context_ = eglGetCurrentContext();
    return false;
  }
  CVPixelBufferRef copyPixelBufferForTime(double) override { return nullptr; }
  void notifyDisplaySizeChanged(CGSize) override {}

  EGLDisplay display() const { return display_; }
  EGLContext context() const { return context_; }

 private:
  EGLDisplay display_ = EGL_NO_DISPLAY;
  EGLContext context_ = EGL_NO_CONTEXT;
};

}  // namespace

std::unique_ptr<KitStage> KitStage::create(CGSize size, bool metal, std::string* error) {
  UIApplicationOptions options;
  options.displayDriver = "offscreen";
  options.offscreenSize = size;
  *error = UIApplication::start(options);
  if (error->empty()) *error = metal ? MTLUnavailableReason() : EAGLContext::unavailableReason();
  if (!error->empty()) return nullptr;

  DisplayRefresh::shared().setStepped(true);
  std::unique_ptr<KitStage> stage(new KitStage);
  stage->metal_ = metal;
  ZELRenderView::setMetalAllowed(metal);
  const CGRect frame = CGRectMake(0, 0, size.width, size.height);
  stage->window_ = UIWindow::create(frame, error);
  stage->view_ = ZELRenderView::create(frame);
  if (!stage->window_ || !stage->view_) return nullptr;
  stage->window_->addSubview(stage->view_);
  stage->window_->makeKeyAndVisible();
  stage->window_->layoutIfNeeded();
  stage->controller_ = ZELFixedDirectionController::create();
  stage->view_->setController(stage->controller_);
  if (stage->view_->usesMetal() != metal || (!metal && !stage->findContext())) {
    *error = metal ? "The view does not draw with Metal." : "The view does not draw with OpenGL ES.";
    return nullptr;
  }
  stage->source_ = ZELDirectPixelBufferSource::create();
  stage->view_->setContentSource(stage->source_);
  return stage;
}

bool KitStage::findContext() {
  const auto probe = std::make_shared<ContextProbe>();
  view_->setContentProjection(ZELProjection::equirectangular());
  view_->setContentSource(probe);
  refreshUnchanged();
  display_ = probe->display();
  context_ = probe->context();
  return context_ != EGL_NO_CONTEXT;
}

KitStage::~KitStage() {
  window_->close();
  view_->removeFromSuperview();
}

void KitStage::setProjection(const std::shared_ptr<ZELProjection>& projection) {
  view_->setContentProjection(projection);
}

void KitStage::moveCamera(size_t step) {
  constexpr double kStep = 0.12;  // radians, about 7 degrees
  controller_->setAngle(kStep * static_cast<double>(step));
  view_->setZoom(step % 2 == 0 ? 1.0 : 1.001);
}

Camera KitStage::camera() const {
  const CGSize size = view_->bounds().size;
  const double aspectRatio = size.width / size.height;
  const double scale = view_->contentProjection()->zoomScaleForAspectRatio(aspectRatio, aspectRatio > 1.0);
  return {controller_->viewMatrix(), view_->zoom() * scale};
}

KitTimes KitStage::drawFrame(const CVPixelBufferRef& frame) {
  KitTimes times;
  const Stopwatch whole;
  if (frame) source_->updateWithPixelBuffer(frame, CMTimeMake(0, 1));
  const double syncTime = CACurrentMediaTime();
  const Stopwatch mainThread;
  view_->displayAtSyncTime(syncTime);
  times.mainThread = mainThread.milliseconds();
  waitForTheGpu();
  times.whole = whole.milliseconds();
  // Outside the time: what the frame left for the main queue.
  NSRunLoop::mainRunLoop().runPending();
  return times;
}

void KitStage::waitForTheGpu() const {
  if (metal_) {
    view_->renderView()->flushGPU();
  } else {
    withContext([] { glFinish(); });
  }
}

double KitStage::refreshUnchanged() {
  const Stopwatch stopwatch;
  view_->displayAtSyncTime(CACurrentMediaTime());
  if (!metal_) ZELGLRenderView::_sharedRenderQueue()->sync([] {});
  return stopwatch.milliseconds();
}

void KitStage::withContext(const std::function<void()>& task) const {
  ZELGLRenderView::_sharedRenderQueue()->sync([&] {
    eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context_);
    task();
    eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  });
}

uint64_t KitStage::presentCount() const { return view_->renderView()->layer()->contentsStore()->presentCount(); }

std::vector<uint8_t> KitStage::readBack() const {
  const auto image = view_->renderView()->layer()->contentsStore()->front();
  const auto picture = image ? image->readBack() : nullptr;
  if (!picture) return {};
  std::vector<uint8_t> pixels;
  for (size_t row = 0; row < picture->height(); ++row) {
    const uint8_t* bytes = picture->bytes() + row * picture->bytesPerRow();
    pixels.insert(pixels.end(), bytes, bytes + picture->width() * 4);
  }
  return pixels;
}

}  // namespace ZELBench
