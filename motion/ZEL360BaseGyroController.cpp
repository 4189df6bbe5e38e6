#include <ZELKit/ZEL360BaseGyroController.h>

#include <ZELKit/ZELOrientationMath.h>
#include <ZELPlatform/CMMotionManager.h>
#include <ZELPlatform/UIApplication.h>

namespace {

/// Turns the device's reference frame, whose Z is vertical, into the view's, whose Y is up: a quarter turn about X.
constexpr GLKQuaternion kVerticalToView = {0.70710677F, 0.0F, 0.0F, 0.70710677F};

/// How long a transition lasts, in seconds: the float 0.33, widened.
constexpr double kTransitionDuration = 0.33000001311302185;

int64_t interfaceOrientation() { return UIApplication::sharedApplication().statusBarOrientation(); }

}  // namespace

/// Answers the recogniser in the controller's place, as the controller's own references are the host's.
class ZEL360BaseGyroController::PanDelegate final : public UIGestureRecognizerDelegate {
 public:
  explicit PanDelegate(ZEL360BaseGyroController& controller) : controller_(controller) {}

  bool gestureRecognizer(UIGestureRecognizer& /*recognizer*/, const UITouch& touch) override {
    const std::shared_ptr<ZELInteractionControllerDelegate> delegate = controller_.delegate();
    return !delegate || delegate->interactionController(controller_, touch);
  }

  bool gestureRecognizer(UIGestureRecognizer& /*recognizer*/, UIGestureRecognizer& /*other*/) override { return false; }

 private:
  ZEL360BaseGyroController& controller_;
};

std::shared_ptr<ZEL360BaseGyroController> ZEL360BaseGyroController::create() {
  return std::shared_ptr<ZEL360BaseGyroController>(new ZEL360BaseGyroController());
}

ZEL360BaseGyroController::~ZEL360BaseGyroController() { ZEL360BaseGyroController::detach(); }

// Attaching.

void ZEL360BaseGyroController::attachToView(const std::shared_ptr<UIView>& view) {
  const std::shared_ptr<UIView> present = panGestureRecognizer_ ? panGestureRecognizer_->view() : nullptr;
  if (present != view) {
    _attachGestureRecognizerToView(view);
  }
}

void ZEL360BaseGyroController::_attachGestureRecognizerToView(const std::shared_ptr<UIView>& view) {
  _detachGestureRecognizer();
  panGestureRecognizer_ = UIPanGestureRecognizer::create([weak = weak_from_this()] {
    if (const std::shared_ptr<ZEL360BaseGyroController> controller = weak.lock()) {
      controller->_didPan();
    }
  });
  panDelegate_ = std::make_shared<PanDelegate>(*this);
  if (view) {
    view->addGestureRecognizer(panGestureRecognizer_);
  }
  panGestureRecognizer_->setDelegate(panDelegate_);
  _updateEnabled();
}

void ZEL360BaseGyroController::_detachGestureRecognizer() {
  if (!panGestureRecognizer_) {
    return;
  }
  // Kept to the end: a gesture under way is cancelled here, which calls back.
  const std::shared_ptr<UIPanGestureRecognizer> recognizer = panGestureRecognizer_;
  if (const std::shared_ptr<UIView> view = recognizer->view()) {
    view->removeGestureRecognizer(recognizer);
  }
  panGestureRecognizer_.reset();
  panDelegate_.reset();
}

void ZEL360BaseGyroController::detach() {
  _deactivateMotion();
  _detachGestureRecognizer();
}

// Switches.

void ZEL360BaseGyroController::setEnabled(bool enabled) {
  if (enabled_ != enabled) {
    enabled_ = enabled;
    _updateEnabled();
  }
}

void ZEL360BaseGyroController::setTouchEnabled(bool enabled) {
  if (touchEnabled_ != enabled) {
    touchEnabled_ = enabled;
    _updateEnabled();
  }
}

void ZEL360BaseGyroController::setMotionEnabled(bool enabled) {
  if (motionEnabled_ != enabled) {
    motionEnabled_ = enabled;
    _updateEnabled();
  }
}

void ZEL360BaseGyroController::_updateEnabled() {
  if (panGestureRecognizer_) {
    panGestureRecognizer_->setEnabled(enabled_ && touchEnabled_);
  }
  if (enabled_ && motionEnabled_) {
    _activateMotion();
  } else {
    _deactivateMotion();
  }
}

// Device motion.

void ZEL360BaseGyroController::_activateMotion() {
  if (motionActive_) {
    return;
  }
  if (!motionManager_) {
    motionManager_ = CMMotionManager::create();
  }
  motionManager_->startDeviceMotionUpdatesUsingReferenceFrame(CMAttitudeReferenceFrameXArbitraryZVertical);
  motionActive_ = true;
}

void ZEL360BaseGyroController::_deactivateMotion() {
  if (!motionActive_) {
    return;
  }
  motionManager_->stopDeviceMotionUpdates();
  motionActive_ = false;
}

void ZEL360BaseGyroController::_updateDeviceMotion() {
  if (!enabled_ || !motionEnabled_) {
    return;
  }
  _activateMotion();
  const std::optional<CMDeviceMotion> motion = motionManager_->deviceMotion();
  if (!motion) {
    return;
  }
  lastDeviceAttitude_ = nextDeviceAttitude_;
  nextDeviceAttitude_ = GLKQuaternionMultiply(kVerticalToView, attitudeToQuaternion(motion->attitude));
  if (deviceAttitudeMeasurementCount_ == 0) {
    _firstDeviceOrientation(_getAbsoluteDeviceOrientation());
  }
  ++deviceAttitudeMeasurementCount_;
}

GLKQuaternion ZEL360BaseGyroController::_getAbsoluteDeviceAttitude() const {
  return quaternionApplyInterfaceOrientation(interfaceOrientation(), false, nextDeviceAttitude_);
}

GLKVector3 ZEL360BaseGyroController::_getAbsoluteDeviceOrientation() const {
  return quaternionToYXZ(_getAbsoluteDeviceAttitude());
}

GLKVector3 ZEL360BaseGyroController::_getRelativeDeviceMotion() const {
  if (deviceAttitudeMeasurementCount_ < 2) {
    return GLKVector3Make(0, 0, 0);
  }
  const GLKQuaternion turn =
      GLKQuaternionNormalize(GLKQuaternionMultiply(GLKQuaternionConjugate(lastDeviceAttitude_), nextDeviceAttitude_));
  return quaternionToYXZ(quaternionApplyInterfaceOrientation(interfaceOrientation(), true, turn));
}

void ZEL360BaseGyroController::_firstDeviceOrientation(GLKVector3 /*orientation*/) {}

void ZEL360BaseGyroController::_didPan() {}

// The camera.

void ZEL360BaseGyroController::beginTransitionFromMatrix(GLKMatrix4 matrix) {
  transitionStart_ = NSDate::date();
  transitionViewAttitude_ = GLKQuaternionMakeWithMatrix4(matrix);
}

GLKQuaternion ZEL360BaseGyroController::_applyTransitionToAttitude(GLKQuaternion attitude) const {
  if (!transitionStart_) {
    return attitude;
  }
  // Not above 0 once begun. The elapsed time alone ends a transition.
  const double interval = transitionStart_->timeIntervalSinceNow();
  if (interval <= -kTransitionDuration || interval > 0.0) {
    return attitude;
  }
  const float share = smoothstepf(static_cast<float>(interval / -kTransitionDuration));
  return GLKQuaternionSlerp(transitionViewAttitude_, attitude, share);
}

void ZEL360BaseGyroController::updateWithDeltaTime(float /*deltaTime*/) {
  _updateDeviceMotion();
  setViewMatrix(GLKMatrix4MakeWithQuaternion(GLKQuaternionNormalize(_getAbsoluteDeviceAttitude())));
}
