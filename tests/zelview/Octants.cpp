#include "tests/zelview/Octants.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "apps/zelview/SpherePainter.h"
#include "tests/zelview/TestFiles.h"

namespace zelview {
namespace {

/// The direction behind a pixel, from the angles' definition: roll leans the camera clockwise, pitch lifts it, yaw
/// turns it right.
SpherePoint directionBehind(const View& view, double width, double height, double x, double y) {
  constexpr double kDegree = std::numbers::pi / 180;
  const double aspect = width / height;
  const double right = (2 * (x + 0.5) / width - 1) * aspect;
  const double up = 1 - 2 * (y + 0.5) / height;
  const double ahead = 0.9 * std::max(aspect, 1.0) * view.zoom;
  const double roll = view.roll * kDegree;
  const double rolledRight = right * std::cos(roll) + up * std::sin(roll);
  const double rolledUp = up * std::cos(roll) - right * std::sin(roll);
  const double pitch = view.pitch * kDegree;
  const double level = ahead * std::cos(pitch) - rolledUp * std::sin(pitch);
  const double high = ahead * std::sin(pitch) + rolledUp * std::cos(pitch);
  const double yaw = view.yaw * kDegree;
  const double east = rolledRight * std::cos(yaw) + level * std::sin(yaw);
  const double north = level * std::cos(yaw) - rolledRight * std::sin(yaw);
  return spherePointTowards(static_cast<float>(view.mirror ? -east : east), static_cast<float>(high),
                            static_cast<float>(north));
}

}  // namespace

double shareOfRightOctants(const CGImage& image, const View& view) {
  size_t right = 0;
  for (size_t y = 0; y < image.height(); ++y) {
    for (size_t x = 0; x < image.width(); ++x) {
      const SpherePoint p =
          directionBehind(view, static_cast<double>(image.width()), static_cast<double>(image.height()),
                          static_cast<double>(x), static_cast<double>(y));
      const Colour expected = octantColour(p.x, p.y, p.z);
      const Pixel actual = pixelAt(image, x, y);
      const auto near = [](float a, uint8_t b) { return std::abs(a * 255 - b) < 42; };
      if (near(expected.red, actual.red) && near(expected.green, actual.green) && near(expected.blue, actual.blue)) {
        ++right;
      }
    }
  }
  return static_cast<double>(right) / static_cast<double>(image.width() * image.height());
}

}  // namespace zelview
