#include "gpu/Reference.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace ZELTest {
namespace {

constexpr double kPi = std::numbers::pi;

using Vector = std::array<double, 3>;

struct Rect {
  double x = 0.0;
  double y = 0.0;
  double width = 1.0;
  double height = 1.0;
};

Rotation product(const Rotation& a, const Rotation& b) {
  Rotation result{};
  for (size_t row = 0; row < 3; ++row) {
    for (size_t column = 0; column < 3; ++column) {
      for (size_t k = 0; k < 3; ++k) {
        result[row][column] += a[row][k] * b[k][column];
      }
    }
  }
  return result;
}

bool isFlat(Layout layout) { return layout == Layout::FlatFit || layout == Layout::FlatFill; }

/// Where the frame lands in the view, in units of the view. Sides are whole points; one that misses the view's by less
/// than 4 takes it over and stretches the other, by a factor of single precision.
Rect displayRect(const Shot& shot) {
  if (!isFlat(shot.layout)) {
    return {};
  }
  const double wide = shot.pointsWide;
  const double high = shot.pointsHigh;
  const double aspect = shot.frameWide / shot.frameHigh;
  const bool meetsSides = (aspect > wide / high) == (shot.layout == Layout::FlatFit);
  double width = meetsSides ? wide : std::ceil(high * aspect);
  double height = meetsSides ? std::ceil(wide / aspect) : high;
  if (wide - width > 0 && wide - width < 4) {
    height = std::ceil(height * static_cast<float>(width / wide));
    width = wide;
  } else if (high - height > 0 && high - height < 4) {
    width = std::ceil(width * static_cast<float>(high / height));
    height = high;
  }
  return {std::floor((wide - width) / 2) / wide, std::floor((high - height) / 2) / high, width / wide, height / high};
}

/// The unit ray through a place of the view (0 to 1, from the top left).
Vector ray(const Shot& shot, double x, double y) {
  const double aspect = shot.pointsWide / shot.pointsHigh;
  const double near = shot.zoom * (shot.landscape ? 0.9 * aspect : 0.9);
  const Vector local = {(2 * x - 1) * aspect, 1 - 2 * y, near};
  const double length = std::hypot(local[0], local[1], local[2]);
  Vector world{};
  for (size_t row = 0; row < 3; ++row) {
    for (size_t k = 0; k < 3; ++k) {
      world[row] += shot.camera[row][k] * local[k] / length;
    }
  }
  return world;
}

Sample equirectangular(const Vector& n) {
  const double turns = 0.5 + std::atan2(n[0], n[2]) / (2 * kPi);
  return {turns - std::floor(turns), 0.5 - std::asin(std::clamp(n[1], -1.0, 1.0)) / kPi,
          n[2] < kRayError && std::abs(n[0]) < kRayError};
}

/// A cube face: the atlas cell that holds it, and the world axes along which the cell's columns and rows grow.
struct Face {
  int cellColumn;
  int cellRow;
  Vector right;
  Vector down;
};

/// Indexed by axis * 2 + (1 for the negative side).
constexpr std::array<Face, 6> kFaces = {{
    {2, 0, {0, 0, -1}, {0, -1, 0}},  // +X: seen from inside, right is -Z
    {0, 0, {0, 0, 1}, {0, -1, 0}},   // -X
    {2, 1, {1, 0, 0}, {0, 0, 1}},    // +Y: the bottom of the face borders on +Z
    {1, 1, {1, 0, 0}, {0, 0, -1}},   // -Y: the top of the face borders on +Z
    {1, 0, {1, 0, 0}, {0, -1, 0}},   // +Z
    {0, 1, {-1, 0, 0}, {0, -1, 0}},  // -Z
}};

Sample cubemap(const Vector& n, double crop) {
  const Vector size = {std::abs(n[0]), std::abs(n[1]), std::abs(n[2])};
  const size_t axis = size[0] >= size[1] && size[0] >= size[2] ? 0 : size[1] >= size[2] ? 1 : 2;
  const Face& face = kFaces[axis * 2 + (n[axis] > 0 ? 0 : 1)];
  double a = 0.0;
  double b = 0.0;
  for (size_t k = 0; k < 3; ++k) {
    a += n[k] * face.right[k] / size[axis];
    b += n[k] * face.down[k] / size[axis];
  }
  const double other = std::max(size[(axis + 1) % 3], size[(axis + 2) % 3]);
  return {(face.cellColumn + (a * crop + 1) / 2) / 3, (face.cellRow + (b * crop + 1) / 2) / 2,
          size[axis] - other < kRayError};
}

/// Channel `channel` of a plane with `channels` bytes a texel, 0 to 255.
double bilinear(const CVPixelBuffer::Plane& plane, int width, int height, size_t channels, size_t channel, double u,
                double v) {
  const double x = u * width - 0.5;
  const double y = v * height - 0.5;
  const int left = static_cast<int>(std::floor(x));
  const int top = static_cast<int>(std::floor(y));
  const auto texel = [&](int column, int row) {
    const size_t safeColumn = static_cast<size_t>(std::clamp(column, 0, width - 1));
    const size_t safeRow = static_cast<size_t>(std::clamp(row, 0, height - 1));
    const auto* bytes = static_cast<const uint8_t*>(plane.baseAddress);
    return static_cast<double>(bytes[safeRow * plane.bytesPerRow + safeColumn * channels + channel]);
  };
  const double upper = std::lerp(texel(left, top), texel(left + 1, top), x - left);
  const double lower = std::lerp(texel(left, top + 1), texel(left + 1, top + 1), x - left);
  return std::lerp(upper, lower, y - top);
}

}  // namespace

Rotation rotation(double yaw, double pitch, double roll, bool mirror) {
  const auto turn = [](double degrees) {
    return std::array{std::cos(degrees * kPi / 180), std::sin(degrees * kPi / 180)};
  };
  const auto [cy, sy] = turn(yaw);
  const auto [cp, sp] = turn(pitch);
  const auto [cr, sr] = turn(roll);
  const Rotation yawing = {{{cy, 0, sy}, {0, 1, 0}, {-sy, 0, cy}}};
  const Rotation pitching = {{{1, 0, 0}, {0, cp, sp}, {0, -sp, cp}}};
  const Rotation rolling = {{{cr, sr, 0}, {-sr, cr, 0}, {0, 0, 1}}};
  Rotation result = product(yawing, product(pitching, rolling));
  if (mirror) {
    std::ranges::for_each(result[0], [](double& element) { element = -element; });
  }
  return result;
}

std::optional<Sample> sampleAt(const Shot& shot, int column, int row) {
  const Rect rect = displayRect(shot);
  const double x = ((column + 0.5) / shot.pixelsWide - rect.x) / rect.width;
  const double y = ((row + 0.5) / shot.pixelsHigh - rect.y) / rect.height;
  // A thousandth of a pixel: rasterisers snap corners to fractions of a pixel.
  const double rimX = 1e-3 / (shot.pixelsWide * rect.width);
  const double rimY = 1e-3 / (shot.pixelsHigh * rect.height);
  const bool onRim = std::min(std::abs(x), std::abs(x - 1)) < rimX || std::min(std::abs(y), std::abs(y - 1)) < rimY;
  if (!onRim && (x < 0 || x > 1 || y < 0 || y > 1)) {
    return std::nullopt;
  }
  switch (shot.layout) {
    case Layout::Equirectangular:
      return equirectangular(ray(shot, x, y));
    case Layout::Cubemap:
      return cubemap(ray(shot, x, y), 1 - shot.padding / (shot.frameWide / 3));
    default:
      return Sample{x, y, onRim};
  }
}

double drawableScale(const Shot& shot, double nativeScale) {
  if (!isFlat(shot.layout)) {
    return nativeScale;
  }
  const double across = shot.frameWide / shot.pointsWide;
  const double down = shot.frameHigh / shot.pointsHigh;
  const double own = shot.layout == Layout::FlatFit ? std::max(across, down) : std::min(across, down);
  return std::min(std::max(2 * own, 1.0), nativeScale);
}

std::array<double, 3> colourAt(const CVPixelBuffer& frame, double u, double v) {
  const int width = static_cast<int>(frame.width());
  const int height = static_cast<int>(frame.height());
  if (frame.planeCount() == 0) {
    const bool blueFirst = frame.pixelFormatType() == kCVPixelFormatType_32BGRA;
    std::array<double, 3> colour{};
    for (size_t channel = 0; channel < 3; ++channel) {
      colour[channel] = bilinear(frame.plane(0), width, height, 4, blueFirst ? 2 - channel : channel, u, v) / 255;
    }
    return colour;
  }
  const double y = (bilinear(frame.plane(0), width, height, 1, 0, u, v) - 16) / 255;
  const double cb = bilinear(frame.plane(1), width / 2, height / 2, 2, 0, u, v) / 255 - 0.5;
  const double cr = bilinear(frame.plane(1), width / 2, height / 2, 2, 1, u, v) / 255 - 0.5;
  const std::array<double, 3> colour = {1.164 * y + 1.793 * cr, 1.164 * y - 0.213 * cb - 0.533 * cr,
                                        1.164 * y + 2.112 * cb};
  return {std::clamp(colour[0], 0.0, 1.0), std::clamp(colour[1], 0.0, 1.0), std::clamp(colour[2], 0.0, 1.0)};
}

}  // namespace ZELTest
