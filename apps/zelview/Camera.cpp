#include "apps/zelview/Camera.h"

#include <ZELKit/ZELOrientationMath.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace zelview {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kQuarterTurn = std::numbers::pi / 2.0;
/// Nearer to the zenith than this (as a sine), the yaw of a ray says nothing.
constexpr double kSmallestHorizontalPart = 1e-3;

struct Ray {
  double x;
  double y;
  double z;
};

Ray unit(GLKVector3 v) {
  const double length = std::hypot(static_cast<double>(v.x), v.y, v.z);
  return {v.x / length, v.y / length, v.z / length};
}

Ray rolled(Ray r, double roll) {
  const double c = std::cos(roll);
  const double s = std::sin(roll);
  return {r.x * c + r.y * s, r.y * c - r.x * s, r.z};
}

Ray pitched(Ray r, double pitch) {
  const double c = std::cos(pitch);
  const double s = std::sin(pitch);
  return {r.x, r.y * c + r.z * s, r.z * c - r.y * s};
}

Ray yawed(Ray r, double yaw) {
  const double c = std::cos(yaw);
  const double s = std::sin(yaw);
  return {r.x * c + r.z * s, r.y, r.z * c - r.x * s};
}

/// The pitch nearest to `present` that lifts the ray to the height `y`: the two solutions of
/// ray.y * cos p + ray.z * sin p = y.
double pitchThatLifts(Ray ray, double y, double present) {
  const double reach = std::hypot(ray.y, ray.z);
  if (reach == 0.0) return present;
  const double elevation = std::asin(std::clamp(y / reach, -1.0, 1.0));
  const double own = std::atan2(ray.y, ray.z);
  const double ahead = elevation - own;
  const double beyondZenith = std::numbers::pi - elevation - own;
  return std::abs(ahead - present) <= std::abs(std::remainder(beyondZenith - present, 2 * std::numbers::pi))
             ? ahead
             : std::remainder(beyondZenith, 2 * std::numbers::pi);
}

}  // namespace

GLKMatrix4 viewMatrixOf(const Camera& camera) {
  const auto yaw = static_cast<float>(camera.yaw * kDegree);
  const auto pitch = static_cast<float>(camera.pitch * kDegree);
  const auto roll = static_cast<float>(camera.roll * kDegree);
  GLKMatrix4 matrix = GLKMatrix4MakeWithQuaternion(YXZToQuaternion(yaw, -pitch, -roll));
  if (camera.mirror) {
    for (const int element : {0, 4, 8, 12}) matrix.m[element] = -matrix.m[element];
  }
  return matrix;
}

GLKVector3 rayThroughPoint(CGPoint point, CGSize viewSize, double nearPlane) {
  const double width = std::max(viewSize.width, 1.0);
  const double height = std::max(viewSize.height, 1.0);
  return GLKVector3Make(static_cast<float>((2.0 * point.x / width - 1.0) * width / height),
                        static_cast<float>(1.0 - 2.0 * point.y / height), static_cast<float>(nearPlane));
}

GLKVector3 worldDirection(const Camera& camera, GLKVector3 ray) {
  const Ray r = yawed(pitched(rolled(unit(ray), camera.roll * kDegree), camera.pitch * kDegree), camera.yaw * kDegree);
  return GLKVector3Make(static_cast<float>(r.x), static_cast<float>(r.y), static_cast<float>(r.z));
}

bool turnCameraTo(Camera& camera, GLKVector3 direction, GLKVector3 ray) {
  const Ray target = unit(direction);
  const Ray level = rolled(unit(ray), camera.roll * kDegree);
  const double pitch = pitchThatLifts(level, target.y, camera.pitch * kDegree);
  camera.pitch = std::clamp(pitch, -kQuarterTurn, kQuarterTurn) / kDegree;
  if (std::abs(pitch) > kQuarterTurn) return false;

  const Ray lifted = pitched(level, pitch);
  if (std::hypot(lifted.x, lifted.z) > kSmallestHorizontalPart) {
    const double yaw = (std::atan2(target.x, target.z) - std::atan2(lifted.x, lifted.z)) / kDegree;
    camera.yaw = std::remainder(yaw, 360.0);
  }
  return true;
}

}  // namespace zelview
