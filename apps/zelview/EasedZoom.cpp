#include "apps/zelview/EasedZoom.h"

#include <algorithm>
#include <cmath>

#include "apps/zelview/Camera.h"

namespace zelview {
namespace {

/// In which the distance shrinks by a factor of e, in seconds.
constexpr double kTimeConstant = 0.08;

/// As a logarithm: a tenth of a pixel at the border of a view of 2000 pixels.
constexpr double kSmallestDistance = 1e-4;

double withinLimits(double zoom) { return std::clamp(zoom, kSmallestZoom, kLargestZoom); }

}  // namespace

EasedZoom::EasedZoom(double zoom) : target_(withinLimits(zoom)) {}

void EasedZoom::setTarget(double zoom, double time) {
  if (!std::isfinite(zoom) || zoom <= 0.0) return;
  const double present = zoomAt(time);
  target_ = withinLimits(zoom);
  distance_ = std::log(present / target_);
  since_ = std::max(time, since_);
}

double EasedZoom::zoomAt(double time) const {
  const double left = distance_ * std::exp(-std::max(time - since_, 0.0) / kTimeConstant);
  return std::abs(left) < kSmallestDistance ? target_ : target_ * std::exp(left);
}

}  // namespace zelview
