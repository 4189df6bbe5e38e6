#pragma once

#include <ZELKit/ZELExport.h>
#include <ZELPlatform/GLKMath.h>
#include <ZELPlatform/UITouch.h>
#include <ZELPlatform/UIView.h>

#include <memory>

class ZELInteractionController;

/// Decides which touches a controller may take.
class ZELKIT_EXPORT ZELInteractionControllerDelegate {
 public:
  virtual ~ZELInteractionControllerDelegate() = default;

  /// Asked for every touch that the controller's pan recogniser is about to receive.
  virtual bool interactionController(ZELInteractionController& controller, const UITouch& shouldReceiveTouch) = 0;
};

/// Turns device motion and touches into the rotation of the camera. Main thread only.
///
/// The view calls `updateWithDeltaTime` and then reads `viewMatrix` once per refresh while its projection is spherical,
/// and switches `enabled` with the projection. Attaching and detaching are the host's work.
class ZELKIT_EXPORT ZELInteractionController {
 public:
  virtual ~ZELInteractionController() = default;

  /// Starts listening to the view (gestures) and to device motion as the controller sees fit.
  virtual void attachToView(const std::shared_ptr<UIView>& view) = 0;

  /// Stops listening and undoes what attaching installed.
  virtual void detach() = 0;

  /// Advances the controller's own animation by that many seconds.
  virtual void updateWithDeltaTime(float deltaTime) = 0;

  /// Starts a smooth transition from the given view matrix to the controller's own orientation.
  virtual void beginTransitionFromMatrix(GLKMatrix4 matrix) = 0;

  /// Held weakly.
  virtual std::shared_ptr<ZELInteractionControllerDelegate> delegate() const = 0;
  virtual void setDelegate(const std::shared_ptr<ZELInteractionControllerDelegate>& delegate) = 0;

  /// The camera's rotation as of the last update: it turns a ray of the view (x right, y up, z ahead) into one of the
  /// world. Column-major.
  virtual GLKMatrix4 viewMatrix() const = 0;

  virtual bool enabled() const = 0;
  virtual void setEnabled(bool enabled) = 0;
};
