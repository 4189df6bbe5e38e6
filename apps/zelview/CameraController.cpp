#include "apps/zelview/CameraController.h"

namespace zelview {

void CameraController::setCamera(const Camera& camera) {
  camera_ = camera;
  grabbed_.reset();
}

void CameraController::beginDrag(GLKVector3 ray) { grabbed_ = worldDirection(camera_, ray); }

void CameraController::dragTo(GLKVector3 ray) {
  if (!grabbed_) return;
  // At a pole the camera stops while the pointer goes on: take hold of what is now under the pointer, so that the way
  // back starts at once.
  if (!turnCameraTo(camera_, *grabbed_, ray)) beginDrag(ray);
}

void CameraController::updateWithDeltaTime(float) { matrix_ = viewMatrixOf(camera_); }

}  // namespace zelview
