#pragma once

/// Single-precision vectors, quaternions and matrices; plain C types that are passed by value, angles in radians.
///
/// A quaternion is stored vector part first, scalar last. A matrix is stored column by column: element `m[c * 4 + r]`.
/// All functions are pure and may be called from any thread.

#include <ZELPlatform/Export.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct GLKVector3 {
  float x;
  float y;
  float z;
} GLKVector3;

typedef struct GLKQuaternion {
  float x;
  float y;
  float z;
  float w;
} GLKQuaternion;

typedef struct GLKMatrix4 {
  float m[16];
} GLKMatrix4;

ZELPLATFORM_EXPORT extern const GLKQuaternion GLKQuaternionIdentity;
ZELPLATFORM_EXPORT extern const GLKMatrix4 GLKMatrix4Identity;

ZELPLATFORM_EXPORT GLKVector3 GLKVector3Make(float x, float y, float z);
ZELPLATFORM_EXPORT GLKVector3 GLKVector3Add(GLKVector3 a, GLKVector3 b);
ZELPLATFORM_EXPORT GLKVector3 GLKVector3Subtract(GLKVector3 a, GLKVector3 b);
ZELPLATFORM_EXPORT GLKVector3 GLKVector3MultiplyScalar(GLKVector3 v, float s);

ZELPLATFORM_EXPORT GLKQuaternion GLKQuaternionMake(float x, float y, float z, float w);

/// The rotation by `radians` about the unit axis (x, y, z): (axis * sin(radians / 2), cos(radians / 2)).
ZELPLATFORM_EXPORT GLKQuaternion GLKQuaternionMakeWithAngleAndAxis(float radians, float x, float y, float z);

/// The rotation that the upper left 3x3 part of an orthonormal matrix describes, as a unit quaternion.
///
/// Chooses the largest of the four components first, so that it stays well conditioned for half turns
/// (S. W. Shepperd, "Quaternion from rotation matrix", 1978).
ZELPLATFORM_EXPORT GLKQuaternion GLKQuaternionMakeWithMatrix4(GLKMatrix4 matrix);

/// The Hamilton product with `a` on the left.
ZELPLATFORM_EXPORT GLKQuaternion GLKQuaternionMultiply(GLKQuaternion a, GLKQuaternion b);

/// The conjugate: x, y and z negated.
ZELPLATFORM_EXPORT GLKQuaternion GLKQuaternionConjugate(GLKQuaternion q);

/// The square root of the sum of squares.
ZELPLATFORM_EXPORT float GLKQuaternionLength(GLKQuaternion q);

/// The quaternion divided by its length; a zero quaternion yields NaN components.
ZELPLATFORM_EXPORT GLKQuaternion GLKQuaternionNormalize(GLKQuaternion q);

/// Spherical linear interpolation from `a` (t = 0) to `b` (t = 1) on the shorter arc
/// (K. Shoemake, "Animating rotation with quaternion curves", 1985).
///
/// t = 0 returns `a` bit for bit. Nearly parallel inputs are interpolated linearly and normalised.
ZELPLATFORM_EXPORT GLKQuaternion GLKQuaternionSlerp(GLKQuaternion a, GLKQuaternion b, float t);

/// The rotation matrix of the normalised quaternion: zero translation, 1 in the last diagonal element.
ZELPLATFORM_EXPORT GLKMatrix4 GLKMatrix4MakeWithQuaternion(GLKQuaternion q);

/// The matrix product with `a` on the left.
ZELPLATFORM_EXPORT GLKMatrix4 GLKMatrix4Multiply(GLKMatrix4 a, GLKMatrix4 b);

/// The upper left 3x3 part of the matrix applied to the vector.
ZELPLATFORM_EXPORT GLKVector3 GLKMatrix4MultiplyVector3(GLKMatrix4 matrix, GLKVector3 v);

#ifdef __cplusplus
}
#endif
