#pragma once

#include <ZELKit/ZEL360BaseGyroController.h>

#include <memory>

/// A camera for 360-degree content that follows the device whole, roll included, with panning around it without limits.
///
/// Yaw turns about the world's vertical axis, pitch about the device's own level one, past the poles too. Drags and
/// flings have the scale and inertia of `ZEL360RelativeMotionController`. Main thread only.
class ZELKIT_EXPORT ZEL360FreeMotionController final : public ZEL360BaseGyroController {
 public:
  static std::shared_ptr<ZEL360FreeMotionController> create();

  void updateWithDeltaTime(float deltaTime) override;

  /// Also takes the matrix's yaw and pitch for its own panning, on top of the device's attitude.
  void beginTransitionFromMatrix(GLKMatrix4 matrix) override;

  /// What panning and inertia added; attaching to a view keeps it. The roll is kept but not shown.
  GLKVector3 touchYXZ() const { return touchYXZ_; }
  void setTouchYXZ(GLKVector3 angles) { touchYXZ_ = angles; }

 protected:
  void _didPan() override;

 private:
  ZEL360FreeMotionController() = default;

  GLKVector3 touchYXZ_{};
};
