#pragma once

#include <string>
#include <string_view>
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

  /// At least one key; times rise by a microsecond or more.
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

/// The keys of a table of comma-separated values with the header `seconds,yaw,pitch,roll,zoom`. Empty lines and lines
/// that begin with `#` are left out. `name` stands for the file in messages. Throws `ViewerError` with one sentence
/// that names the file and, where one is wrong, the line.
std::vector<CameraKey> parseCameraKeys(std::string_view text, const std::string& name);

/// The path through the keys of a file; blocks. Throws `ViewerError` as `parseCameraKeys` does, and when the file
/// cannot be read.
CameraPath readCameraPath(const std::string& path, bool linear);

}  // namespace zelview
