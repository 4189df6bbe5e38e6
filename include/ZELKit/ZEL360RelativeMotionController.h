#pragma once

#include <ZELKit/ZEL360BaseGyroController.h>

#include <memory>

/// A camera for 360-degree content that keeps the horizon level: the device's turns are added to the person's panning.
///
/// It starts straight ahead wherever the device points, drops the device's roll, and looks at most 63 degrees (0.35 pi)
/// up and down. A drag turns by 0.0025 rad per point, so that the picture goes with the finger; a fling goes on and
/// loses 15 % of its speed every 1/60 s, at any frame rate. Main thread only.
class ZELKIT_EXPORT ZEL360RelativeMotionController final : public ZEL360BaseGyroController {
 public:
  static std::shared_ptr<ZEL360RelativeMotionController> create();

  /// Also looks straight ahead again, when it is attached to the same view too.
  void attachToView(const std::shared_ptr<UIView>& view) override;

  void updateWithDeltaTime(float deltaTime) override;

  /// Also takes the matrix's yaw and pitch for its own panning; the device's turns are kept.
  void beginTransitionFromMatrix(GLKMatrix4 matrix) override;

  /// The sum of the device's turns; roll 0.
  GLKVector3 deviceYXZ() const { return deviceYXZ_; }
  void setDeviceYXZ(GLKVector3 angles) { deviceYXZ_ = angles; }

  /// What panning and inertia added; roll 0.
  GLKVector3 touchYXZ() const { return touchYXZ_; }
  void setTouchYXZ(GLKVector3 angles) { touchYXZ_ = angles; }

 protected:
  void _didPan() override;

 private:
  ZEL360RelativeMotionController() = default;

  GLKVector3 deviceYXZ_{};
  GLKVector3 touchYXZ_{};
};
