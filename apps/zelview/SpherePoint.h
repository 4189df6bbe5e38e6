#pragma once

namespace zelview {

/// A direction of the world (x right, y up, z ahead; unit length) with its angles in radians, kept together because
/// painting needs both and layouts often have them already.
struct SpherePoint {
  float x;
  float y;
  float z;
  /// 0 straight ahead, positive to the right.
  float longitude;
  /// Positive up.
  float latitude;
};

/// The point with those angles.
SpherePoint spherePointAt(float longitude, float latitude);

/// The point in the direction of any vector but zero.
SpherePoint spherePointTowards(float x, float y, float z);

}  // namespace zelview
