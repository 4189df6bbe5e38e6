#include <ZELKit/ZEL360FreeMotionController.h>

#include "motion/Panning.h"

std::shared_ptr<ZEL360FreeMotionController> ZEL360FreeMotionController::create() {
  return std::shared_ptr<ZEL360FreeMotionController>(new ZEL360FreeMotionController());
}

void ZEL360FreeMotionController::_didPan() {
  const UIPanGestureRecognizer& recognizer = *panGestureRecognizer();
  if (recognizer.state() == UIGestureRecognizerState::Began) {
    touchOrigin_ = GLKVector3Make(0, 0, 0);
    touchVelocity_ = GLKVector3Make(0, 0, 0);
  } else if (recognizer.state() == UIGestureRecognizerState::Ended) {
    touchVelocity_ = flingVelocity(recognizer);
  }
  const GLKVector3 translation = panTranslation(recognizer);
  touchYXZ_ = GLKVector3Add(touchYXZ_, GLKVector3Subtract(translation, touchOrigin_));
  touchOrigin_ = translation;
}

void ZEL360FreeMotionController::beginTransitionFromMatrix(GLKMatrix4 matrix) {
  ZEL360BaseGyroController::beginTransitionFromMatrix(matrix);
  const GLKVector3 angles = quaternionToYXZ(GLKQuaternionMakeWithMatrix4(matrix));
  touchYXZ_ = GLKVector3Make(angles.x, angles.y, 0);
}

void ZEL360FreeMotionController::updateWithDeltaTime(float deltaTime) {
  _updateDeviceMotion();
  touchYXZ_ = GLKVector3Add(touchYXZ_, displacement(touchVelocity_, deltaTime, kInertiaBase, kInertiaRate));
  touchVelocity_ = decelerate(touchVelocity_, deltaTime, kInertiaBase, kInertiaRate);

  const GLKQuaternion yaw = GLKQuaternionMakeWithAngleAndAxis(touchYXZ_.x, 0, 1, 0);
  const GLKQuaternion pitch = GLKQuaternionMakeWithAngleAndAxis(touchYXZ_.y, 1, 0, 0);
  GLKQuaternion attitude = GLKQuaternionMultiply(GLKQuaternionMultiply(yaw, _getAbsoluteDeviceAttitude()), pitch);
  attitude = _applyTransitionToAttitude(GLKQuaternionNormalize(attitude));
  setViewMatrix(GLKMatrix4MakeWithQuaternion(GLKQuaternionNormalize(attitude)));
}
