#include "apps/zelview/Layout.h"

#include <array>
#include <cmath>
#include <numbers>

namespace zelview {
namespace {

constexpr double kPi = std::numbers::pi;

struct Vector {
  float x;
  float y;
  float z;
};

/// One cell of the cube layout: the direction of its middle, and of its right and lower edge from there.
struct Face {
  Vector middle;
  Vector right;
  Vector down;
};

/// Three columns, two rows: -X +Z +X, then -Z -Y +Y. The upper row reads like a panorama from left to right; the faces
/// below it are turned as the projection samples them.
constexpr std::array<Face, 6> kFaces = {{
    {{-1, 0, 0}, {0, 0, 1}, {0, -1, 0}},
    {{0, 0, 1}, {1, 0, 0}, {0, -1, 0}},
    {{1, 0, 0}, {0, 0, -1}, {0, -1, 0}},
    {{0, 0, -1}, {-1, 0, 0}, {0, -1, 0}},
    {{0, -1, 0}, {1, 0, 0}, {0, 0, -1}},
    {{0, 1, 0}, {1, 0, 0}, {0, 0, 1}},
}};

}  // namespace

Layout::Layout(ZELProjectionType projection, size_t width, size_t height, int64_t padding)
    : cube_(projection == ZELProjectionTypeCubemap), width_(width), height_(height) {
  if (cube_) {
    const double cell = static_cast<double>(width) / 3.0;
    const double part = (cell - static_cast<double>(padding)) / cell;
    if (part > 0.0 && part <= 1.0) sampledPart_ = part;
    footprint_ = static_cast<float>(kPi / 2 / cell);
    return;
  }
  footprint_ = static_cast<float>(kPi / static_cast<double>(height));
  const auto table = [](size_t count, double first, double last) {
    std::vector<SineCosine> entries(count);
    for (size_t i = 0; i < count; ++i) {
      const double angle = first + (last - first) * (static_cast<double>(i) + 0.5) / static_cast<double>(count);
      entries[i] = {static_cast<float>(angle), static_cast<float>(std::sin(angle)),
                    static_cast<float>(std::cos(angle))};
    }
    return entries;
  };
  longitudes_ = table(width, -kPi, kPi);
  latitudes_ = table(height, kPi / 2, -kPi / 2);
}

SpherePoint Layout::pointOfTexel(size_t column, size_t row) const {
  if (cube_) return pointOnCube(column, row);
  const SineCosine& longitude = longitudes_[column];
  const SineCosine& latitude = latitudes_[row];
  return {longitude.sine * latitude.cosine, latitude.sine, longitude.cosine * latitude.cosine, longitude.angle,
          latitude.angle};
}

SpherePoint Layout::pointOnCube(size_t column, size_t row) const {
  const double x = (static_cast<double>(column) + 0.5) / static_cast<double>(width_) * 3.0;
  const double y = (static_cast<double>(row) + 0.5) / static_cast<double>(height_) * 2.0;
  const double cellX = std::floor(x);
  const double cellY = std::floor(y);
  const Face& face = kFaces[static_cast<size_t>(cellY * 3.0 + cellX)];
  const auto a = static_cast<float>((2.0 * (x - cellX) - 1.0) / sampledPart_);
  const auto b = static_cast<float>((2.0 * (y - cellY) - 1.0) / sampledPart_);
  return spherePointTowards(face.middle.x + a * face.right.x + b * face.down.x,
                            face.middle.y + a * face.right.y + b * face.down.y,
                            face.middle.z + a * face.right.z + b * face.down.z);
}

}  // namespace zelview
