#pragma once

#include <ZELPlatform/GLKMath.h>

namespace zelview {

/// How far the wheel and the command line may zoom.
inline constexpr double kSmallestZoom = 0.3;
inline constexpr double kLargestZoom = 10.0;

/// Where the camera looks. Angles in degrees, composed yaw, then pitch, then roll.
struct Camera {
  /// Positive turns right; 0 looks at the centre of an equirectangular picture.
  double yaw = 0.0;
  /// Positive looks up.
  double pitch = 0.0;
  /// Positive turns the camera clockwise, so that the picture turns counter-clockwise.
  double roll = 0.0;
  /// Above 1 magnifies.
  double zoom = 1.0;
  /// Exchanges left and right of the world.
  bool mirror = false;
};

/// The matrix that turns a ray of the view (x right, y up, z ahead) into one of the world.
GLKMatrix4 viewMatrixOf(const Camera& camera);

}  // namespace zelview
