#pragma once

#include <ZELKit/ZELOrientationMath.h>
#include <ZELPlatform/UIGestureRecognizer.h>

/// How a pan turns the camera, the same in both controllers that pan.

/// Radians per point of translation; negative, so that the picture goes with the finger.
inline constexpr float kPanScale = -0.0025F;

/// Radians per second per point per second at the end of a pan; deliberately less than the scale of the pan itself.
inline constexpr float kFlingScale = -0.002F;

/// A fling's speed is multiplied by the base once per 1/rate seconds.
inline constexpr float kInertiaBase = 0.85F;
inline constexpr float kInertiaRate = 60.0F;

inline GLKVector3 panTranslation(const UIPanGestureRecognizer& recognizer) {
  return GLKVector3MultiplyScalar(vector3FromPoint(recognizer.translationInView(recognizer.view().get())), kPanScale);
}

inline GLKVector3 flingVelocity(const UIPanGestureRecognizer& recognizer) {
  return GLKVector3MultiplyScalar(vector3FromPoint(recognizer.velocityInView(recognizer.view().get())), kFlingScale);
}
