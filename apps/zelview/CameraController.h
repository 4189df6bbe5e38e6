#pragma once

#include <ZELKit/ZELInteractionController.h>

#include <memory>
#include <optional>

#include "apps/zelview/Camera.h"

namespace zelview {

/// The viewer's camera as the kit sees it: turned by dragging, without inertia or motion sensors. Main thread.
class CameraController final : public ZELInteractionController {
 public:
  explicit CameraController(const Camera& camera) : camera_(camera) { updateWithDeltaTime(0); }

  const Camera& camera() const { return camera_; }

  /// Takes effect at the next refresh; ends a drag.
  void setCamera(const Camera& camera);

  /// Takes hold of what is seen along that ray.
  void beginDrag(GLKVector3 ray);

  /// Turns so that what was taken hold of is seen along that ray. Does nothing without a drag.
  void dragTo(GLKVector3 ray);

  void endDrag() { grabbed_.reset(); }

  /// Touches arrive through the viewer's own view, so attaching has nothing to install.
  void attachToView(const std::shared_ptr<UIView>&) override {}
  void detach() override {}
  void beginTransitionFromMatrix(GLKMatrix4) override {}

  void updateWithDeltaTime(float deltaTime) override;
  GLKMatrix4 viewMatrix() const override { return matrix_; }

  std::shared_ptr<ZELInteractionControllerDelegate> delegate() const override { return delegate_.lock(); }
  void setDelegate(const std::shared_ptr<ZELInteractionControllerDelegate>& delegate) override { delegate_ = delegate; }
  bool enabled() const override { return enabled_; }
  void setEnabled(bool enabled) override { enabled_ = enabled; }

 private:
  Camera camera_;
  GLKMatrix4 matrix_{};
  std::optional<GLKVector3> grabbed_;
  bool enabled_ = false;
  std::weak_ptr<ZELInteractionControllerDelegate> delegate_;
};

}  // namespace zelview
