#pragma once

#include <ZELPlatform/CoreMotion.h>
#include <ZELPlatform/UIApplication.h>

#include <optional>

/// Rotations in double precision, as the sensors' arithmetic needs them.

namespace ZELPlatform {

struct MotionVector {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
};

MotionVector operator+(MotionVector a, MotionVector b);
MotionVector operator-(MotionVector a, MotionVector b);
MotionVector operator*(MotionVector a, double factor);
MotionVector cross(MotionVector a, MotionVector b);
double dot(MotionVector a, MotionVector b);
double length(MotionVector a);
bool isFinite(MotionVector a);

/// The Hamilton product; as rotations the right one comes first.
CMQuaternion operator*(CMQuaternion a, CMQuaternion b);
CMQuaternion conjugate(CMQuaternion q);
MotionVector rotate(CMQuaternion q, MotionVector v);

/// None for a quaternion that is not finite or is zero. One whose length is 1 as far as doubles can tell is kept as it
/// is, bit for bit.
std::optional<CMQuaternion> normalized(CMQuaternion q);

/// The rotation by the vector's length in radians about the vector.
CMQuaternion rotationByVector(MotionVector v);

/// The other way round; at most half a turn.
MotionVector vectorOfRotation(CMQuaternion q);

/// The smallest rotation that takes one direction to the other; both of unit length.
CMQuaternion rotationBetween(MotionVector from, MotionVector to);

CMQuaternion rotationAboutZ(double radians);

/// A screen that stands upright and whose camera looks straight ahead, along the reference frame's Y: a quarter turn
/// about X.
extern const CMQuaternion kUprightScreen;

/// The attitude of the device (held in portrait: x right, y up) of whose screen the picture is upright in this
/// interface orientation, from the attitude of the picture (x right, y up, z to the person).
CMQuaternion deviceFromPicture(CMQuaternion picture, UIInterfaceOrientation orientation);

/// The other way round.
CMQuaternion pictureFromDevice(CMQuaternion device, UIInterfaceOrientation orientation);

/// The azimuth in radians of the camera's look, from the reference frame's Y towards -X: a turn to the left is
/// positive. Near the poles, where a look has no azimuth, the picture's top edge stands for it.
double heading(CMQuaternion picture);

}  // namespace ZELPlatform
