#include "apps/zelview/Direction.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace zelview {
namespace {

/// Nearer to the zenith than this (as a sine), the horizontal part of where the view looks says nothing.
constexpr double kSmallestHorizontalPart = 1e-3;

/// A direction of the view's own, in the world.
struct Axis {
  double x;
  double y;
  double z;
};

Axis rightOf(const GLKMatrix4& m) { return {m.m[0], m.m[1], m.m[2]}; }
Axis upOf(const GLKMatrix4& m) { return {m.m[4], m.m[5], m.m[6]}; }
Axis aheadOf(const GLKMatrix4& m) { return {m.m[8], m.m[9], m.m[10]}; }

/// Where the view looks after a turn down by `pan` about its own right.
Axis aheadAfterPan(const GLKMatrix4& m, double pan) {
  const Axis up = upOf(m);
  const Axis ahead = aheadOf(m);
  const double c = std::cos(pan);
  const double s = std::sin(pan);
  return {c * ahead.x - s * up.x, c * ahead.y - s * up.y, c * ahead.z - s * up.z};
}

double yawOf(Axis ahead, Axis right) {
  if (std::hypot(ahead.x, ahead.z) > kSmallestHorizontalPart) return std::atan2(ahead.x, ahead.z);
  return std::atan2(-right.z, right.x);
}

/// The turn about the view's own right after which it looks at the height `y`: of the two solutions of
/// ahead.y * cos p - up.y * sin p = y the one that leaves the view upright.
double panToHeight(const GLKMatrix4& m, double y) {
  const double up = upOf(m).y;
  const double ahead = aheadOf(m).y;
  const double reach = std::hypot(up, ahead);
  if (reach < kSmallestHorizontalPart) return 0.0;
  const double highest = std::atan2(-up, ahead);
  const double away = std::acos(std::clamp(y / reach, -1.0, 1.0));
  const auto uprightness = [&](double pan) { return up * std::cos(pan) + ahead * std::sin(pan); };
  const double pan = uprightness(highest + away) >= uprightness(highest - away) ? highest + away : highest - away;
  return std::remainder(pan, 2.0 * std::numbers::pi);
}

}  // namespace

Direction directionOf(const GLKMatrix4& viewMatrix) {
  const Axis ahead = aheadOf(viewMatrix);
  return {yawOf(ahead, rightOf(viewMatrix)), std::asin(std::clamp(ahead.y, -1.0, 1.0))};
}

GLKVector3 panOf(Direction direction) {
  return GLKVector3Make(static_cast<float>(direction.yaw), static_cast<float>(-direction.pitch), 0.0F);
}

GLKVector3 panAroundDevice(const GLKMatrix4& device, Direction direction) {
  const double pan = panToHeight(device, std::sin(direction.pitch));
  const double own = yawOf(aheadAfterPan(device, pan), rightOf(device));
  return GLKVector3Make(static_cast<float>(direction.yaw - own), static_cast<float>(pan), 0.0F);
}

}  // namespace zelview
