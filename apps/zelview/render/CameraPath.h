#pragma once

#include <string>
#include <vector>

#include "apps/zelview/Camera.h"

namespace zelview {

/// A camera at a moment.
struct CameraKey {
  /// From the beginning of the video.
  double seconds = 0.0;
  Camera camera;
};

/// A camera that moves from key to key.
///
/// Angles go the way that the numbers go: from 350 to 370 is 20 degrees to the right, from 350 to 10 is 340 to the
/// left. Before the first key and after the last one the camera stands still. A smooth path is a monotone cubic (F. N.
/// Fritsch and R. E. Carlson, "Monotone piecewise cubic interpolation", 1980): its speed has no jumps, and it never
/// goes beyond its keys. The zoom is interpolated by its logarithm.
class CameraPath {
 public:
  /// One camera for all times.
  explicit CameraPath(const Camera& camera) : keys_{{0.0, camera}} {}

  /// Keys with rising times, at least one.
  CameraPath(std::vector<CameraKey> keys, bool linear);

  Camera cameraAt(double seconds) const;

 private:
  std::vector<CameraKey> keys_;
  /// For each key the speed of yaw, pitch, roll and the logarithm of zoom; empty for a straight path.
  struct Speeds {
    double values[4];
  };
  std::vector<Speeds> speeds_;
};

/// Reads a table of comma-separated keys with the header `seconds,yaw,pitch,roll,zoom`. Empty lines and lines that
/// begin with `#` are left out. Throws `ViewerError` that names the file and the line.
CameraPath readCameraPath(const std::string& path, bool linear);

}  // namespace zelview
