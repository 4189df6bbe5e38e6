#pragma once

#include <ZELKit/ZEL360FreeMotionController.h>
#include <ZELKit/ZEL360RelativeMotionController.h>
#include <ZELKit/ZELFixedDirectionController.h>
#include <ZELPlatform/GameController.h>

#include <array>
#include <cstddef>
#include <memory>

#include "apps/zelview/Camera.h"
#include "apps/zelview/Direction.h"
#include "apps/zelview/EasedTurn.h"
#include "apps/zelview/EasedZoom.h"

namespace zelview {

/// Which of the kit's controllers turns the camera.
enum class ControllerChoice {
  /// Keeps the horizon level; adds the device's turns to the person's.
  Relative,
  /// Follows the device whole, roll included, with the person's turns around it.
  Free,
  /// Looks along the yaw that it was given; neither device nor person turns it.
  Fixed,
};

/// The camera of the window: one of the kit's controllers, and what the viewer adds to all of them.
///
/// It puts keys and sticks on top of the controller's panning, makes drags and flings finer when zoomed in, changes
/// controllers in flight, mirrors, and holds the zoom. To the view it is a controller like any other; the host attaches
/// it to the view that is touched. Everything moves by the host clock and nothing allocates between two events. Main
/// thread.
class CameraRig final : public ZELInteractionController {
 public:
  /// Looks where `start` says, without its roll: the horizon is the controllers' own matter. The free controller adds
  /// the device's attitude to that; the fixed one takes only the yaw.
  CameraRig(ControllerChoice choice, const Camera& start);

  ControllerChoice choice() const { return choice_; }

  /// Changes the controller. The new one eases, in a third of a second, from what is seen now to its own attitude in
  /// the same direction: the relative one drops the roll and keeps within its limits, the free one pans around the
  /// attitude of the device. A drag is cancelled, a fling ends. To the fixed one, which cannot ease, it is a jump.
  void choose(ControllerChoice choice);

  /// Eases the direction (but the fixed controller's) and the zoom to the camera's and takes over its mirroring. A drag
  /// is cancelled, a fling ends.
  void easeTo(const Camera& camera);

  bool isMirrored() const { return mirrored_; }
  void setMirrored(bool mirrored) { mirrored_ = mirrored; }

  /// The zoom as of the newest `advanceTo`.
  double zoom() const { return zoom_; }

  /// Multiplies what the zoom is going to. A factor that is not finite or not positive is ignored.
  void zoomBy(double factor);

  enum class Arrow : size_t { Left, Right, Up, Down };

  /// A tap turns by 5 degrees, a key that is held by 60 degrees per second; zoomed in, by as much less.
  void pressArrow(Arrow arrow);
  void releaseArrow(Arrow arrow);
  void releaseArrows();

  /// How far the sticks are pushed from now on, both the same: at the edge 90 degrees per second, much less near the
  /// middle.
  void pushSticks(GCThumbsticks sticks);

  /// Brings zoom and turns to where they are at this host time, at which the next picture is seen. To be called before
  /// the view updates the camera.
  void advanceTo(double time);

  void attachToView(const std::shared_ptr<UIView>& view) override;
  void detach() override;
  void updateWithDeltaTime(float deltaTime) override;

  /// Eases from the matrix to the present controller's own attitude in the same direction.
  void beginTransitionFromMatrix(GLKMatrix4 matrix) override;

  GLKMatrix4 viewMatrix() const override;

  std::shared_ptr<ZELInteractionControllerDelegate> delegate() const override { return delegate_.lock(); }
  void setDelegate(const std::shared_ptr<ZELInteractionControllerDelegate>& delegate) override;
  bool enabled() const override { return enabled_; }
  void setEnabled(bool enabled) override;

 private:
  void makeController(ControllerChoice choice);
  void replaceController(ControllerChoice choice, Direction direction);
  GLKVector3 panTowards(Direction direction);
  GLKVector3 pan() const;
  void setPan(GLKVector3 pan);
  bool fitPanToZoom();
  void turnBy(double yaw, double pitch);
  void setZoomTarget(double zoom);
  double turnAt(double time, Arrow forwards, Arrow backwards, const EasedTurn& stick) const;

  double fixedAngle_;
  ControllerChoice choice_ = ControllerChoice::Relative;
  /// One of the next two, or one that is fixed.
  std::shared_ptr<ZELInteractionController> controller_;
  std::shared_ptr<ZEL360RelativeMotionController> relative_;
  std::shared_ptr<ZEL360FreeMotionController> free_;

  /// The controller's panning as the rig last saw or set it.
  GLKVector3 pan_{};

  /// As of the newest update, not mirrored.
  GLKMatrix4 matrix_;
  bool mirrored_;

  EasedZoom easedZoom_;
  double zoom_;

  std::array<KeyTurn, 4> arrows_;
  EasedTurn stickYaw_;
  EasedTurn stickPitch_;
  /// The sums of keys and sticks that the controller's panning already has.
  double turnedYaw_ = 0.0;
  double turnedPitch_ = 0.0;

  std::weak_ptr<UIView> view_;
  std::weak_ptr<ZELInteractionControllerDelegate> delegate_;
  bool enabled_ = false;
};

}  // namespace zelview
