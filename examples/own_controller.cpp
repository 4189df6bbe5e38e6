// A controller of one's own: the camera circles slowly until somebody touches the picture; then the library's own
// controller takes over, without a jump.
//
// Usage: example_own_controller PICTURE [SECONDS]

#include <ZELKit/ZELKit.h>
#include <ZELPlatform/UIKit.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

/// Turns to the right at a steady speed. A controller is stepped once per refresh and tells a rotation; the rest of
/// what it is asked for it may leave out.
class CirclingController final : public ZELInteractionController {
 public:
  void updateWithDeltaTime(float deltaTime) override {
    constexpr float kTurn = 6.2831853F;
    constexpr float kSecondsPerTurn = 30.0F;
    yaw_ = std::fmod(yaw_ + deltaTime * kTurn / kSecondsPerTurn, kTurn);
  }
  GLKMatrix4 viewMatrix() const override { return GLKMatrix4MakeWithQuaternion(YXZToQuaternion(yaw_, 0, 0)); }

  bool enabled() const override { return enabled_; }
  void setEnabled(bool enabled) override { enabled_ = enabled; }

  // It listens to nobody, so there is nothing to attach and no touch to ask about.
  void attachToView(const std::shared_ptr<UIView>&) override {}
  void detach() override {}
  std::shared_ptr<ZELInteractionControllerDelegate> delegate() const override { return nullptr; }
  void setDelegate(const std::shared_ptr<ZELInteractionControllerDelegate>&) override {}
  void beginTransitionFromMatrix(GLKMatrix4) override {}

 private:
  float yaw_ = 0;
  bool enabled_ = false;
};

/// Decides at each touch who has the camera, and closes the window.
class Host final : public UIWindowDelegate, public ZELInteractionControllerDelegate {
 public:
  explicit Host(std::shared_ptr<ZELRenderView> view) : view_(std::move(view)) {}

  void windowDidRequestClose(UIWindow&) override { NSRunLoop::mainRunLoop().stop(); }

  /// Asked before a touch may pan: the moment to take over.
  bool interactionController(ZELInteractionController& controller, const UITouch&) override {
    if (view_->controller().get() != &controller) {
      controller.beginTransitionFromMatrix(view_->controller()->viewMatrix());
      view_->setController(controller_);
    }
    return true;
  }

  void setController(std::shared_ptr<ZELInteractionController> controller) { controller_ = std::move(controller); }

 private:
  std::shared_ptr<ZELRenderView> view_;
  std::shared_ptr<ZELInteractionController> controller_;
};

}  // namespace

int main(int argc, char** argv) {
  const auto picture = argc > 1 ? CGImageCreateWithContentsOfFile(argv[1]).image : nullptr;
  const auto window = UIWindow::create(CGRectMake(0, 0, 1280, 720));
  const auto view = picture && window ? ZELRenderView::create(window->bounds()) : nullptr;
  if (!view) {
    std::fprintf(stderr,
                 "usage: example_own_controller PICTURE [SECONDS] (a picture that can be read, and a display)\n");
    return 1;
  }
  const auto source = ZELDirectPixelBufferSource::create();
  source->updateWithPixelBuffer(
      CVPixelBuffer::createWithBytes(picture->width(), picture->height(), kCVPixelFormatType_32RGBA,
                                     const_cast<uint8_t*>(picture->bytes()), picture->bytesPerRow(), [picture] {}),
      CMTime{});
  view->setContentSource(source);
  view->setContentProjection(ZELProjection::equirectangular());
  window->addSubview(view);

  // The one that takes over listens from the start, so that the touch that stops the circling is its first.
  const auto host = std::make_shared<Host>(view);
  const auto panning = ZEL360RelativeMotionController::create();
  panning->attachToView(view);
  panning->setDelegate(host);
  panning->setEnabled(true);
  host->setController(panning);
  view->setController(std::make_shared<CirclingController>());

  window->setDelegate(host);
  window->makeKeyAndVisible();
  if (argc > 2) {
    NSRunLoop::mainRunLoop().runFor(std::atof(argv[2]));
  } else {
    NSRunLoop::mainRunLoop().run();
  }
  return view->readyForDisplay() ? 0 : 1;
}
