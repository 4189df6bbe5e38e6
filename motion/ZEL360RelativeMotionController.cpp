#include <ZELKit/ZEL360RelativeMotionController.h>

#include "motion/Panning.h"

namespace {

/// 0.35 pi. Panning and inertia are held against it in double precision; the camera itself in single precision.
constexpr double kPitchLimit = 1.0995574287564276;
constexpr float kPitchClamp = 1.0995574F;

bool isWithinPitchLimit(double pitch) { return pitch > -kPitchLimit && pitch < kPitchLimit; }

}  // namespace

std::shared_ptr<ZEL360RelativeMotionController> ZEL360RelativeMotionController::create() {
  return std::shared_ptr<ZEL360RelativeMotionController>(new ZEL360RelativeMotionController());
}

void ZEL360RelativeMotionController::attachToView(const std::shared_ptr<UIView>& view) {
  ZEL360BaseGyroController::attachToView(view);
  deviceYXZ_ = GLKVector3Make(0, 0, 0);
  touchYXZ_ = GLKVector3Make(0, 0, 0);
}

void ZEL360RelativeMotionController::_didPan() {
  const UIPanGestureRecognizer& recognizer = *panGestureRecognizer();
  if (recognizer.state() == UIGestureRecognizerState::Began) {
    touchOrigin_ = GLKVector3Make(0, 0, 0);
    touchVelocity_ = GLKVector3Make(0, 0, 0);
  } else if (recognizer.state() == UIGestureRecognizerState::Ended) {
    touchVelocity_ = flingVelocity(recognizer);
  }
  const GLKVector3 translation = panTranslation(recognizer);
  const float dx = translation.x - touchOrigin_.x;
  const float dy = translation.y - touchOrigin_.y;
  const float pitch = deviceYXZ_.y + (dy + touchYXZ_.y);
  touchYXZ_.x += dx;
  if (isWithinPitchLimit(pitch)) {
    touchYXZ_.y += dy;
  } else if (dy * pitch < 0.0F) {
    // Back in from beyond the limit: from the limit itself, so that a drag that went too far leaves no dead way.
    const double limit = pitch > 0.0F ? kPitchLimit : -kPitchLimit;
    touchYXZ_.y = static_cast<float>(dy + (limit - deviceYXZ_.y));
  }
  touchOrigin_ = translation;
}

void ZEL360RelativeMotionController::beginTransitionFromMatrix(GLKMatrix4 matrix) {
  ZEL360BaseGyroController::beginTransitionFromMatrix(matrix);
  const GLKVector3 angles = quaternionToYXZ(GLKQuaternionMakeWithMatrix4(matrix));
  touchYXZ_ = GLKVector3Make(angles.x, angles.y, 0);
}

void ZEL360RelativeMotionController::updateWithDeltaTime(float deltaTime) {
  _updateDeviceMotion();
  // The device's roll is left out: the horizon stays level.
  const GLKVector3 turn = _getRelativeDeviceMotion();
  deviceYXZ_ = GLKVector3Add(deviceYXZ_, GLKVector3Make(turn.x, turn.y, 0));

  const GLKVector3 way = displacement(touchVelocity_, deltaTime, kInertiaBase, kInertiaRate);
  touchVelocity_ = decelerate(touchVelocity_, deltaTime, kInertiaBase, kInertiaRate);
  if (isWithinPitchLimit(deviceYXZ_.y + touchYXZ_.y)) {
    touchYXZ_ = GLKVector3Add(touchYXZ_, way);
  } else {
    // At the limit the vertical part of a fling ends and the horizontal one goes on.
    touchYXZ_ = GLKVector3Make(touchYXZ_.x + way.x, touchYXZ_.y, 0);
    touchVelocity_ = GLKVector3Make(touchVelocity_.x, 0, 0);
  }

  const float yaw = deviceYXZ_.x + touchYXZ_.x;
  const float pitch = clampf(-kPitchClamp, kPitchClamp, deviceYXZ_.y + touchYXZ_.y);
  const float roll = deviceYXZ_.z + touchYXZ_.z;
  const GLKQuaternion attitude = _applyTransitionToAttitude(YXZToQuaternion(yaw, pitch, roll));
  setViewMatrix(GLKMatrix4MakeWithQuaternion(GLKQuaternionNormalize(attitude)));
}
