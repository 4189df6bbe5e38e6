#include "apps/zelview/Camera.h"

#include <ZELKit/ZELOrientationMath.h>

#include <cstddef>
#include <numbers>

namespace zelview {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;

}  // namespace

GLKMatrix4 viewMatrixOf(const Camera& camera) {
  const auto yaw = static_cast<float>(camera.yaw * kDegree);
  const auto pitch = static_cast<float>(camera.pitch * kDegree);
  const auto roll = static_cast<float>(camera.roll * kDegree);
  GLKMatrix4 matrix = GLKMatrix4MakeWithQuaternion(YXZToQuaternion(yaw, -pitch, -roll));
  if (camera.mirror) {
    for (size_t element = 0; element < 16; element += 4) matrix.m[element] = -matrix.m[element];
  }
  return matrix;
}

}  // namespace zelview
