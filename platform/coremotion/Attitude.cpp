#include "platform/coremotion/Attitude.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace ZELPlatform {

namespace {

/// Half of the square root of 2.
constexpr double kHalfRoot = std::numbers::sqrt2 / 2.0;

/// The turn of the picture on a device in portrait; a quarter turn to either side, half a turn upside down.
CMQuaternion turnOfPicture(UIInterfaceOrientation orientation) {
  switch (orientation) {
    case UIInterfaceOrientationPortraitUpsideDown:
      return {0, 0, 1, 0};
    case UIInterfaceOrientationLandscapeRight:
      return {0, 0, -kHalfRoot, kHalfRoot};
    case UIInterfaceOrientationLandscapeLeft:
      return {0, 0, kHalfRoot, kHalfRoot};
    default:
      return {0, 0, 0, 1};
  }
}

}  // namespace

MotionVector operator+(MotionVector a, MotionVector b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }

MotionVector operator-(MotionVector a, MotionVector b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }

MotionVector operator*(MotionVector a, double factor) { return {a.x * factor, a.y * factor, a.z * factor}; }

MotionVector cross(MotionVector a, MotionVector b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

double dot(MotionVector a, MotionVector b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

double length(MotionVector a) { return std::hypot(a.x, a.y, a.z); }

bool isFinite(MotionVector a) { return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z); }

CMQuaternion operator*(CMQuaternion a, CMQuaternion b) {
  return {a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y, a.w * b.y + a.y * b.w + a.z * b.x - a.x * b.z,
          a.w * b.z + a.z * b.w + a.x * b.y - a.y * b.x, a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z};
}

CMQuaternion conjugate(CMQuaternion q) { return {-q.x, -q.y, -q.z, q.w}; }

MotionVector rotate(CMQuaternion q, MotionVector v) {
  const CMQuaternion rotated = q * CMQuaternion{v.x, v.y, v.z, 0} * conjugate(q);
  return {rotated.x, rotated.y, rotated.z};
}

std::optional<CMQuaternion> normalized(CMQuaternion q) {
  const double largest = std::max({std::abs(q.x), std::abs(q.y), std::abs(q.z), std::abs(q.w)});
  const bool finite = std::isfinite(q.x) && std::isfinite(q.y) && std::isfinite(q.z) && std::isfinite(q.w);
  if (!finite || largest == 0.0) {
    return std::nullopt;
  }
  const double square = q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w;
  if (std::abs(square - 1.0) < 1e-15) {
    return q;
  }
  // By the largest first, as the squares of very large and very small numbers are infinite and zero.
  const CMQuaternion scaled = {q.x / largest, q.y / largest, q.z / largest, q.w / largest};
  const double norm = std::sqrt(scaled.x * scaled.x + scaled.y * scaled.y + scaled.z * scaled.z + scaled.w * scaled.w);
  return CMQuaternion{scaled.x / norm, scaled.y / norm, scaled.z / norm, scaled.w / norm};
}

CMQuaternion rotationByVector(MotionVector v) {
  const double angle = length(v);
  // The limit of sin(angle / 2) / angle, exact in doubles well above where the quotient would lose its digits.
  const double share = angle < 1e-8 ? 0.5 : std::sin(angle / 2) / angle;
  return {v.x * share, v.y * share, v.z * share, std::cos(angle / 2)};
}

MotionVector vectorOfRotation(CMQuaternion q) {
  const double sine = std::hypot(q.x, q.y, q.z);
  const double angle = 2 * std::atan2(sine, std::abs(q.w));
  const double scale = std::copysign(sine < 1e-8 ? 2.0 : angle / sine, q.w);
  return MotionVector{q.x, q.y, q.z} * scale;
}

CMQuaternion rotationBetween(MotionVector from, MotionVector to) {
  const MotionVector axis = cross(from, to);
  const double cosine = dot(from, to);
  if (cosine < -1 + 1e-12) {
    // Opposite directions leave the axis open: the one among z and x that is further from them.
    const MotionVector other = std::abs(from.z) < 0.7 ? MotionVector{0, 0, 1} : MotionVector{1, 0, 0};
    const MotionVector level = cross(cross(from, other), from);
    const double size = length(level);
    return {level.x / size, level.y / size, level.z / size, 0};
  }
  return *normalized({axis.x, axis.y, axis.z, 1 + cosine});
}

CMQuaternion rotationAboutZ(double radians) { return {0, 0, std::sin(radians / 2), std::cos(radians / 2)}; }

const CMQuaternion kUprightScreen = {kHalfRoot, 0, 0, kHalfRoot};

CMQuaternion deviceFromPicture(CMQuaternion picture, UIInterfaceOrientation orientation) {
  return picture * conjugate(turnOfPicture(orientation));
}

CMQuaternion pictureFromDevice(CMQuaternion device, UIInterfaceOrientation orientation) {
  return device * turnOfPicture(orientation);
}

double heading(CMQuaternion picture) {
  const MotionVector look = rotate(picture, {0, 0, -1});
  const MotionVector top = rotate(picture, {0, 1, 0});
  // Looking down, the top edge is ahead; looking up, it is behind.
  const bool steep = std::hypot(look.x, look.y) < 0.1;
  const MotionVector ahead = steep ? look - top * look.z : look;
  return std::atan2(-ahead.x, ahead.y);
}

}  // namespace ZELPlatform
