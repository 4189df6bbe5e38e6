#pragma once

/// Orientation mathematics in single precision and radians. Plain C, pure, any thread.
///
/// Angle triples are (yaw about Y, pitch about X, roll about Z), composed yaw first, then pitch, then roll. Interface
/// orientations are 1 portrait, 2 upside down, 3 and 4 landscape; any other value means no rotation.

#include <ZELKit/ZELExport.h>
#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/CoreMotion.h>
#include <ZELPlatform/GLKMath.h>

#include <stdbool.h>
#include <stdint.h>

ZELKIT_EXTERN_C_BEGIN

/// (x, y, 0), narrowed to float.
ZELKIT_EXPORT GLKVector3 vector3FromPoint(CGPoint p);

/// The angles of a unit quaternion; the inverse of `YXZToQuaternion` away from pitch of a quarter turn. The quaternion
/// is used as it is, and a sine of the pitch outside [-1, 1] yields NaN.
ZELKIT_EXPORT GLKVector3 quaternionToYXZ(GLKQuaternion q);

ZELKIT_EXPORT GLKQuaternion YXZToQuaternion(float yaw, float pitch, float roll);

/// A device-motion sample in the library's camera convention: the inverse (conjugate over squared norm) with the sign
/// of z flipped back.
ZELKIT_EXPORT GLKQuaternion attitudeToQuaternion(CMQuaternion attitude);

/// 0, pi, -pi/2, pi/2 for orientations 1 to 4, else 0.
ZELKIT_EXPORT float interfaceOrientationAngle(int64_t orientation);

/// Turns an attitude by the interface orientation about Z: on the right, or with `inverse` by the opposite angle on the
/// left. The two are not inverse to each other. Orientation 1 and unknown ones return `q` bit for bit.
ZELKIT_EXPORT GLKQuaternion quaternionApplyInterfaceOrientation(int64_t orientation, bool inverse, GLKQuaternion q);

/// The angle of the rotation between two attitudes, which need not be normalised.
ZELKIT_EXPORT float quaterionAngularDistance(GLKQuaternion a, GLKQuaternion b);

/// a - b folded by a whole turn. The fold is one-sided: a difference below -pi stays as it is.
ZELKIT_EXPORT float angularDistance(float a, float b);

/// What is left of a velocity after `time` seconds: base^(time * rate).
ZELKIT_EXPORT float deceleration(float time, float base, float rate);

/// The velocity after `time` seconds.
ZELKIT_EXPORT GLKVector3 decelerate(GLKVector3 v, float time, float base, float rate);

/// The way that a decaying velocity goes in `time` seconds: the exact integral, so that steps of any length add up to
/// the same. `base` must not be 1.
ZELKIT_EXPORT GLKVector3 displacement(GLKVector3 v, float time, float base, float rate);

/// (b - a) * t + a.
ZELKIT_EXPORT float lerpf(float a, float b, float t);

/// (x - a) / (b - a), not clamped.
ZELKIT_EXPORT float stepf(float a, float b, float x);

/// The value held within the bounds, which come first; a NaN loses to a number.
ZELKIT_EXPORT float clampf(float min, float max, float x);

/// 6t^5 - 15t^4 + 10t^3, not clamped.
ZELKIT_EXPORT float smoothstepf(float t);

ZELKIT_EXTERN_C_END
