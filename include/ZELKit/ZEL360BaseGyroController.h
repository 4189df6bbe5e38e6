#pragma once

#include <ZELKit/ZELInteractionController.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIGestureRecognizer.h>

#include <cstdint>
#include <memory>
#include <optional>

class CMMotionManager;

/// A camera that points where the device points: what the two controllers for 360-degree content have in common.
///
/// It polls the device's attitude once per update and owns a pan recogniser, which it ignores by itself; the classes
/// below add panning, inertia and the transition. It starts disabled, with touch and motion allowed. All angles are in
/// radians and single precision; a triple of angles is (yaw, pitch, roll). Main thread only; nothing blocks.
class ZELKIT_EXPORT ZEL360BaseGyroController : public ZELInteractionController,
                                               public std::enable_shared_from_this<ZEL360BaseGyroController> {
 public:
  static std::shared_ptr<ZEL360BaseGyroController> create();
  /// Detaches.
  ~ZEL360BaseGyroController() override;

  /// Adds a pan recogniser of its own to the view, leaving the view of before. Attaching to the same view again keeps
  /// the recogniser.
  void attachToView(const std::shared_ptr<UIView>& view) override;

  /// Stops device motion and takes the recogniser away.
  void detach() override;

  /// Takes one sample and turns the camera to the device's attitude, whatever the time.
  void updateWithDeltaTime(float deltaTime) override;

  /// For 0.33 s from now the camera eases from the matrix's attitude to its own. The base keeps the attitude but does
  /// not show it.
  void beginTransitionFromMatrix(GLKMatrix4 matrix) override;

  GLKMatrix4 viewMatrix() const override { return viewMatrix_; }

  std::shared_ptr<ZELInteractionControllerDelegate> delegate() const override { return delegate_.lock(); }
  void setDelegate(const std::shared_ptr<ZELInteractionControllerDelegate>& delegate) override { delegate_ = delegate; }

  /// Switches device motion and the recogniser as far as the two below allow them. Attitudes are kept.
  bool enabled() const override { return enabled_; }
  void setEnabled(bool enabled) override;

  /// Whether panning is allowed.
  bool touchEnabled() const { return touchEnabled_; }
  void setTouchEnabled(bool enabled);

  /// Whether device motion is allowed.
  bool motionEnabled() const { return motionEnabled_; }
  void setMotionEnabled(bool enabled);

  ZEL360BaseGyroController(const ZEL360BaseGyroController&) = delete;
  ZEL360BaseGyroController& operator=(const ZEL360BaseGyroController&) = delete;

 protected:
  ZEL360BaseGyroController() = default;

  /// The recogniser moved on; the base ignores it.
  virtual void _didPan();
  /// The first sample of the controller's life arrived; the base ignores it.
  virtual void _firstDeviceOrientation(GLKVector3 orientation);

  /// Takes one sample, if motion is on and there is one.
  void _updateDeviceMotion();
  /// The newest attitude as the interface is turned.
  GLKQuaternion _getAbsoluteDeviceAttitude() const;
  GLKVector3 _getAbsoluteDeviceOrientation() const;
  /// How the device turned from the sample before to the newest one; zero before the second sample.
  GLKVector3 _getRelativeDeviceMotion() const;
  /// Eases from the transition's start to `attitude` while a transition is under way.
  GLKQuaternion _applyTransitionToAttitude(GLKQuaternion attitude) const;

  UIPanGestureRecognizer* panGestureRecognizer() const { return panGestureRecognizer_.get(); }
  void setViewMatrix(GLKMatrix4 matrix) { viewMatrix_ = matrix; }

  /// The pan translation that was used up, scaled to radians.
  GLKVector3 touchOrigin_{};
  /// What is left of a fling, in radians per second.
  GLKVector3 touchVelocity_{};

 private:
  class PanDelegate;

  void _activateMotion();
  void _deactivateMotion();
  void _attachGestureRecognizerToView(const std::shared_ptr<UIView>& view);
  void _detachGestureRecognizer();
  void _updateEnabled();

  bool enabled_ = false;
  bool touchEnabled_ = true;
  bool motionEnabled_ = true;
  std::weak_ptr<ZELInteractionControllerDelegate> delegate_;

  std::shared_ptr<CMMotionManager> motionManager_;
  bool motionActive_ = false;
  GLKQuaternion lastDeviceAttitude_ = GLKQuaternionIdentity;
  GLKQuaternion nextDeviceAttitude_ = GLKQuaternionIdentity;
  int64_t deviceAttitudeMeasurementCount_ = 0;

  std::shared_ptr<UIPanGestureRecognizer> panGestureRecognizer_;
  std::shared_ptr<UIGestureRecognizerDelegate> panDelegate_;

  std::optional<NSDate> transitionStart_;
  GLKQuaternion transitionViewAttitude_{};
  GLKMatrix4 viewMatrix_{};
};
