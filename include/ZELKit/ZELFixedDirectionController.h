#pragma once

#include <ZELKit/ZELInteractionController.h>

#include <memory>

/// A controller that looks in one horizontal direction, optionally mirrored left to right. Main thread only.
///
/// It takes no touches and no motion. A change takes effect at the next update, whether or not the controller is
/// enabled; before the first update the matrix is all zeros.
class ZELKIT_EXPORT ZELFixedDirectionController final : public ZELInteractionController {
 public:
  static std::shared_ptr<ZELFixedDirectionController> create();

  /// Rotation about the vertical axis in radians; positive turns right.
  double angle() const { return angle_; }
  void setAngle(double angle) { angle_ = angle; }

  bool mirror() const { return mirror_; }
  void setMirror(bool mirror) { mirror_ = mirror; }

  /// These three do nothing.
  void attachToView(const std::shared_ptr<UIView>& view) override;
  void detach() override;
  void beginTransitionFromMatrix(GLKMatrix4 matrix) override;

  void updateWithDeltaTime(float deltaTime) override;
  GLKMatrix4 viewMatrix() const override { return viewMatrix_; }

  /// Stored only.
  std::shared_ptr<ZELInteractionControllerDelegate> delegate() const override { return delegate_.lock(); }
  void setDelegate(const std::shared_ptr<ZELInteractionControllerDelegate>& delegate) override { delegate_ = delegate; }
  bool enabled() const override { return enabled_; }
  void setEnabled(bool enabled) override { enabled_ = enabled; }

 private:
  ZELFixedDirectionController() = default;

  double angle_ = 0.0;
  bool mirror_ = false;
  bool enabled_ = false;
  std::weak_ptr<ZELInteractionControllerDelegate> delegate_;
  GLKMatrix4 viewMatrix_{};
};
