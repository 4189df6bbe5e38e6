#pragma once

#include <ZELPlatform/CoreGraphics.h>

namespace zelview {

/// A camera, as the command line names it and as numbers.
struct View {
  const char* arguments = "";
  double yaw = 0.0;
  double pitch = 0.0;
  double roll = 0.0;
  bool mirror = false;
  double zoom = 1.0;
};

/// How many of the image's pixels are, within the panorama's shading, of the octant that they look at; from 0 to 1.
/// The rest is lines and labels.
double shareOfRightOctants(const CGImage& image, const View& view);

}  // namespace zelview
