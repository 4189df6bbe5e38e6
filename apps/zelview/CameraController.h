#pragma once

#include <ZELKit/ZELInteractionController.h>

#include <memory>

#include "apps/zelview/Camera.h"

namespace zelview {

/// A camera that stands still, roll and all, as the kit sees it: for pictures. Main thread.
class CameraController final : public ZELInteractionController {
 public:
  explicit CameraController(const Camera& camera) : matrix_(viewMatrixOf(camera)) {}

  void setCamera(const Camera& camera) { matrix_ = viewMatrixOf(camera); }

  /// Nobody moves it, so there is nothing to install or to advance.
  void attachToView(const std::shared_ptr<UIView>&) override {}
  void detach() override {}
  void beginTransitionFromMatrix(GLKMatrix4) override {}
  void updateWithDeltaTime(float) override {}
  GLKMatrix4 viewMatrix() const override { return matrix_; }

  std::shared_ptr<ZELInteractionControllerDelegate> delegate() const override { return delegate_.lock(); }
  void setDelegate(const std::shared_ptr<ZELInteractionControllerDelegate>& delegate) override { delegate_ = delegate; }
  bool enabled() const override { return enabled_; }
  void setEnabled(bool enabled) override { enabled_ = enabled; }

 private:
  GLKMatrix4 matrix_;
  bool enabled_ = false;
  std::weak_ptr<ZELInteractionControllerDelegate> delegate_;
};

}  // namespace zelview
