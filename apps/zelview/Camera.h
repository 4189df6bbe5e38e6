#pragma once

#include <ZELPlatform/CGGeometry.h>
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

/// The ray through a point of a view of that size (points, from the top left), of any length.
GLKVector3 rayThroughPoint(CGPoint point, CGSize viewSize, double nearPlane);

/// The direction of the world, leaving `mirror` out, that the ray meets.
GLKVector3 worldDirection(const Camera& camera, GLKVector3 ray);

/// Turns the camera, with its roll kept, so that the ray meets that direction of the world again. Returns false when
/// the pitch would leave -90 to 90 degrees: then it is held there and the yaw is kept.
bool turnCameraTo(Camera& camera, GLKVector3 direction, GLKVector3 ray);

}  // namespace zelview
