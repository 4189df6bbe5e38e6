// Tables of camera keys, and the way between the keys.

#include <algorithm>
#include <cmath>

#include "apps/zelview/ViewerError.h"
#include "apps/zelview/render/CameraPath.h"
#include "tests/fuzz/Promises.h"

namespace {

using zelfuzz::require;
using zelview::Camera;
using zelview::CameraKey;
using zelview::CameraPath;

/// Whether the number lies between two others, as far as the arithmetic of angles up to 36000 degrees can tell.
bool isBetween(double number, double one, double other) {
  constexpr double kRounding = 1e-6;
  return number >= std::min(one, other) - kRounding && number <= std::max(one, other) + kRounding;
}

bool isBetween(const Camera& now, const Camera& from, const Camera& to) {
  return isBetween(now.yaw, from.yaw, to.yaw) && isBetween(now.pitch, from.pitch, to.pitch) &&
         isBetween(now.roll, from.roll, to.roll) && isBetween(now.zoom, from.zoom, to.zoom);
}

void checkKey(const CameraKey& key) {
  require(std::isfinite(key.seconds) && std::isfinite(key.camera.yaw) && std::isfinite(key.camera.roll),
          "a key is made of numbers");
  require(std::abs(key.camera.pitch) <= 90.0, "a pitch lies between the poles");
  require(key.camera.zoom >= zelview::kSmallestZoom && key.camera.zoom <= zelview::kLargestZoom,
          "a zoom lies within its limits");
}

void checkPath(const std::vector<CameraKey>& keys, bool linear) {
  const CameraPath path(keys, linear);
  require(isBetween(path.cameraAt(-1e300), keys.front().camera, keys.front().camera), "it begins at its first key");
  require(isBetween(path.cameraAt(1e300), keys.back().camera, keys.back().camera), "it ends at its last key");
  for (size_t i = 0; i + 1 < keys.size(); ++i) {
    const CameraKey& from = keys[i];
    const CameraKey& to = keys[i + 1];
    require(from.seconds < to.seconds, "times rise");
    require(isBetween(path.cameraAt(from.seconds), from.camera, from.camera), "it meets its keys");
    for (const double share : {1e-9, 0.1, 0.5, 0.75, 1 - 1e-9}) {
      const double seconds = from.seconds + (to.seconds - from.seconds) * share;
      require(isBetween(path.cameraAt(seconds), from.camera, to.camera), "it never goes beyond its keys");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  try {
    const std::vector<CameraKey> keys = zelview::parseCameraKeys(zelfuzz::textOf(data, size), "path.csv");
    require(!keys.empty(), "a path has a key");
    std::for_each(keys.begin(), keys.end(), checkKey);
    for (const bool linear : {true, false}) checkPath(keys, linear);
  } catch (const zelview::ViewerError& error) {
    zelfuzz::requireSentence(error.what());
  }
  return 0;
}
