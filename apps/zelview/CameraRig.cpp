#include "apps/zelview/CameraRig.h"

#include <ZELKit/ZELOrientationMath.h>
#include <ZELPlatform/Foundation.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace zelview {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kArrowRate = 60.0 * kDegree;
constexpr double kStickRate = 90.0 * kDegree;

/// The last float within the relative controller's limit of 0.35 pi.
constexpr float kPitchLimit = 1.0995574F;

/// Both sticks together, with fine control near the middle.
double push(double left, double right) {
  const double pushed = std::clamp(left + right, -1.0, 1.0);
  return pushed * std::abs(pushed);
}

}  // namespace

CameraRig::CameraRig(ControllerChoice choice, const Camera& start)
    : fixedAngle_(start.yaw * kDegree),
      matrix_(viewMatrixOf({.yaw = start.yaw, .pitch = start.pitch})),
      mirrored_(start.mirror),
      easedZoom_(start.zoom),
      zoom_(easedZoom_.target()) {
  makeController(choice);
  setPan(panOf({start.yaw * kDegree, start.pitch * kDegree}));
  setZoomTarget(start.zoom);
}

// The controller.

void CameraRig::makeController(ControllerChoice choice) {
  choice_ = choice;
  relative_ = nullptr;
  free_ = nullptr;
  if (choice == ControllerChoice::Relative) {
    controller_ = relative_ = ZEL360RelativeMotionController::create();
  } else if (choice == ControllerChoice::Free) {
    controller_ = free_ = ZEL360FreeMotionController::create();
  } else {
    const auto fixed = ZELFixedDirectionController::create();
    fixed->setAngle(fixedAngle_);
    controller_ = fixed;
  }
}

void CameraRig::replaceController(ControllerChoice choice, Direction direction) {
  // A new one even when it is of the same kind: it has no fling, and the device's turns so far are the old one's.
  const std::shared_ptr<ZELInteractionController> before = controller_;
  makeController(choice);
  controller_->setDelegate(delegate());
  // Before the old one stops: somebody wants samples all the while, so that no sensor falls asleep.
  controller_->setEnabled(enabled_);
  before->detach();
  if (const std::shared_ptr<UIView> view = view_.lock()) controller_->attachToView(view);
  const GLKVector3 pan = panTowards(direction);
  controller_->beginTransitionFromMatrix(matrix_);
  setPan(pan);
}

GLKVector3 CameraRig::panTowards(Direction direction) {
  if (!free_) return panOf(direction);
  // Without panning the free controller shows the attitude of the device and nothing else.
  free_->setTouchYXZ(GLKVector3Make(0, 0, 0));
  free_->updateWithDeltaTime(0.0F);
  return panAroundDevice(free_->viewMatrix(), direction);
}

GLKVector3 CameraRig::pan() const {
  if (relative_) return relative_->touchYXZ();
  return free_ ? free_->touchYXZ() : GLKVector3Make(0, 0, 0);
}

void CameraRig::setPan(GLKVector3 pan) {
  if (relative_) {
    // The limit is for the camera as a whole, and the device has its part in that.
    const float device = relative_->deviceYXZ().y;
    const float pitch = clampf(-kPitchLimit, kPitchLimit, device + pan.y);
    relative_->setTouchYXZ(GLKVector3Make(pan.x, pitch - device, 0));
  } else if (free_) {
    free_->setTouchYXZ(pan);
  }
  pan_ = this->pan();
}

/// The controllers pan by one angle per point, however narrow the view is: what a drag or a fling added since the last
/// time is divided by the zoom, so that the picture goes with the finger as well as it does unzoomed.
bool CameraRig::fitPanToZoom() {
  const GLKVector3 way = GLKVector3Subtract(pan(), pan_);
  if (way.x == 0.0F && way.y == 0.0F) return false;
  setPan(GLKVector3Add(pan_, GLKVector3MultiplyScalar(way, static_cast<float>(1.0 / zoom_))));
  return zoom_ != 1.0;
}

void CameraRig::choose(ControllerChoice choice) { replaceController(choice, directionOf(matrix_)); }

void CameraRig::easeTo(const Camera& camera) {
  replaceController(choice_, {camera.yaw * kDegree, camera.pitch * kDegree});
  mirrored_ = camera.mirror;
  setZoomTarget(camera.zoom);
}

void CameraRig::attachToView(const std::shared_ptr<UIView>& view) {
  view_ = view;
  // The relative controller looks straight ahead once it is attached.
  const GLKVector3 direction = pan();
  controller_->attachToView(view);
  setPan(direction);
}

void CameraRig::detach() {
  view_.reset();
  controller_->detach();
}

void CameraRig::beginTransitionFromMatrix(GLKMatrix4 matrix) {
  matrix_ = matrix;
  choose(choice_);
}

void CameraRig::updateWithDeltaTime(float deltaTime) {
  controller_->updateWithDeltaTime(deltaTime);
  if (fitPanToZoom()) controller_->updateWithDeltaTime(0.0F);
  matrix_ = controller_->viewMatrix();
}

GLKMatrix4 CameraRig::viewMatrix() const {
  GLKMatrix4 matrix = matrix_;
  if (mirrored_) {
    for (size_t element = 0; element < 16; element += 4) matrix.m[element] = -matrix.m[element];
  }
  return matrix;
}

void CameraRig::setDelegate(const std::shared_ptr<ZELInteractionControllerDelegate>& delegate) {
  delegate_ = delegate;
  controller_->setDelegate(delegate);
}

void CameraRig::setEnabled(bool enabled) {
  enabled_ = enabled;
  controller_->setEnabled(enabled);
}

// Zoom.

void CameraRig::setZoomTarget(double zoom) {
  const double now = CACurrentMediaTime();
  easedZoom_.setTarget(zoom, now);
  for (KeyTurn& arrow : arrows_) arrow.setRate(kArrowRate / std::max(easedZoom_.target(), 1.0), now);
}

void CameraRig::zoomBy(double factor) { setZoomTarget(easedZoom_.target() * factor); }

// Keys and sticks.

void CameraRig::pressArrow(Arrow arrow) { arrows_[static_cast<size_t>(arrow)].press(CACurrentMediaTime()); }

void CameraRig::releaseArrow(Arrow arrow) { arrows_[static_cast<size_t>(arrow)].release(CACurrentMediaTime()); }

void CameraRig::releaseArrows() {
  for (KeyTurn& arrow : arrows_) arrow.release(CACurrentMediaTime());
}

void CameraRig::pushSticks(GCThumbsticks sticks) {
  const double now = CACurrentMediaTime();
  const double rate = kStickRate / std::max(easedZoom_.target(), 1.0);
  stickYaw_.setVelocity(rate * push(sticks.left.x, sticks.right.x), now);
  stickPitch_.setVelocity(rate * push(sticks.left.y, sticks.right.y), now);
}

double CameraRig::turnAt(double time, Arrow forwards, Arrow backwards, const EasedTurn& stick) const {
  return arrows_[static_cast<size_t>(forwards)].angleAt(time) - arrows_[static_cast<size_t>(backwards)].angleAt(time) +
         stick.angleAt(time);
}

void CameraRig::advanceTo(double time) {
  zoom_ = easedZoom_.zoomAt(time);
  const double yaw = turnAt(time, Arrow::Right, Arrow::Left, stickYaw_);
  const double pitch = turnAt(time, Arrow::Up, Arrow::Down, stickPitch_);
  turnBy(yaw - turnedYaw_, pitch - turnedPitch_);
  turnedYaw_ = yaw;
  turnedPitch_ = pitch;
}

void CameraRig::turnBy(double yaw, double pitch) {
  if (!enabled_ || (yaw == 0.0 && pitch == 0.0)) return;
  setPan(GLKVector3Add(pan(), panOf({yaw, pitch})));
}

}  // namespace zelview
