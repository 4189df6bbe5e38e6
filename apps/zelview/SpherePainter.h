#pragma once

#include "apps/zelview/SphereLabels.h"
#include "apps/zelview/SpherePoint.h"

namespace zelview {

/// A colour with parts from 0 to 1.
struct Colour {
  float red;
  float green;
  float blue;
};

/// The built-in panorama as a function of direction: a colour for each octant, lines of longitude and latitude, and
/// labels, so that a look at any part of it tells the direction.
class SpherePainter {
 public:
  /// The colour towards a point. `footprint` is the angle in radians that a texel spans there: edges are softened over
  /// it. Any thread.
  Colour colourAt(const SpherePoint& point, float footprint) const;

 private:
  SphereLabels labels_;
};

/// The plain colour of the octant that holds the direction, without shading, lines and labels.
Colour octantColour(float x, float y, float z);

}  // namespace zelview
