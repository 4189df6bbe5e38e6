#include "apps/zelview/Panorama.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

#include "apps/zelview/SpherePainter.h"

namespace zelview {
namespace {

constexpr double kPi = std::numbers::pi;

struct Direction {
  double x;
  double y;
  double z;
};

struct Place {
  double u;
  double v;
};

Place equirectangularPlace(Direction d) {
  const double u = 0.5 + std::atan2(d.x, d.z) / (2 * kPi);
  return {u - std::floor(u), 0.5 - std::asin(d.y) / kPi};
}

/// Where the cube projection samples a direction, written out face by face.
Place cubePlace(Direction d, double scale) {
  const double x = std::abs(d.x);
  const double y = std::abs(d.y);
  const double z = std::abs(d.z);
  const auto cell = [scale](int column, int row, double a, double b) {
    return Place{(column + a * scale * 0.5 + 0.5) / 3, (row + b * scale * 0.5 + 0.5) / 2};
  };
  if (x >= y && x >= z) {
    return d.x > 0 ? cell(2, 0, -d.z / x, -d.y / x) : cell(0, 0, d.z / x, -d.y / x);
  }
  if (y >= z) return d.y > 0 ? cell(2, 1, d.x / y, d.z / y) : cell(1, 1, d.x / y, -d.z / y);
  return d.z > 0 ? cell(1, 0, d.x / z, -d.y / z) : cell(0, 1, -d.x / z, -d.y / z);
}

/// The three parts of the image at a place, bilinear, 0 to 1.
Colour sample(const CGImage& image, Place place) {
  const double x = std::clamp(place.u * image.width() - 0.5, 0.0, image.width() - 1.001);
  const double y = std::clamp(place.v * image.height() - 0.5, 0.0, image.height() - 1.001);
  const auto column = static_cast<size_t>(x);
  const auto row = static_cast<size_t>(y);
  float parts[3];
  for (int part = 0; part < 3; ++part) {
    const auto at = [&](size_t dx, size_t dy) {
      return image.bytes()[(row + dy) * image.bytesPerRow() + (column + dx) * 4 + part] / 255.0;
    };
    parts[part] = static_cast<float>(
        std::lerp(std::lerp(at(0, 0), at(1, 0), x - column), std::lerp(at(0, 1), at(1, 1), x - column), y - row));
  }
  return {parts[0], parts[1], parts[2]};
}

double difference(Colour a, Colour b) {
  return std::max({std::abs(a.red - b.red), std::abs(a.green - b.green), std::abs(a.blue - b.blue)});
}

Colour colourTowards(const SpherePainter& painter, Direction d) {
  const SpherePoint point =
      spherePointTowards(static_cast<float>(d.x), static_cast<float>(d.y), static_cast<float>(d.z));
  return painter.colourAt(point, static_cast<float>(kPi) / 1024);
}

/// Whether the panorama has about that colour some texels away too.
bool isSmoothAround(const SpherePainter& painter, Direction d, Colour colour) {
  constexpr double kStep = 0.008;
  const Direction around[] = {{d.x + kStep, d.y, d.z}, {d.x - kStep, d.y, d.z}, {d.x, d.y + kStep, d.z},
                              {d.x, d.y - kStep, d.z}, {d.x, d.y, d.z + kStep}, {d.x, d.y, d.z - kStep}};
  return std::all_of(std::begin(around), std::end(around),
                     [&](Direction other) { return difference(colourTowards(painter, other), colour) < 0.03; });
}

TEST(Panorama, LayoutsShowInEveryDirectionWhatTheProjectionSamplesThere) {
  struct {
    ZELProjectionType projection;
    int64_t padding;
    size_t width;
    size_t height;
  } const cases[] = {{ZELProjectionTypeEquirectangular, 0, 2048, 1024},
                     {ZELProjectionTypeCubemap, 0, 1536, 1024},
                     {ZELProjectionTypeCubemap, 32, 1536, 1024}};
  const SpherePainter painter;
  for (const auto& c : cases) {
    const auto image = makePanorama(c.projection, c.padding, c.width, c.height);
    ASSERT_TRUE(image);
    const double face = static_cast<double>(c.width) / 3;
    const double scale = (face - static_cast<double>(c.padding)) / face;
    std::mt19937 random(3);
    std::normal_distribution<double> normal;
    int smooth = 0;
    int off = 0;
    constexpr int kDirections = 20000;
    for (int i = 0; i < kDirections; ++i) {
      Direction d = {normal(random), normal(random), normal(random)};
      const double length = std::hypot(d.x, d.y, d.z);
      d = {d.x / length, d.y / length, d.z / length};
      const Colour expected = colourTowards(painter, d);
      // Beside lines and letters a bilinear sample is another colour for a good reason.
      if (!isSmoothAround(painter, d, expected)) continue;
      ++smooth;
      const Place place = c.projection == ZELProjectionTypeCubemap ? cubePlace(d, scale) : equirectangularPlace(d);
      if (difference(sample(*image, place), expected) > 0.03) ++off;
    }
    EXPECT_GT(smooth, kDirections / 2);
    EXPECT_LE(off, smooth / 1000) << "projection " << c.projection << " padding " << c.padding;
  }
}

TEST(Panorama, OctantsAreFarApart) {
  for (int a = 0; a < 8; ++a) {
    for (int b = 0; b < a; ++b) {
      const auto side = [](int octant, int bit) { return (octant >> bit & 1) != 0 ? 1.0F : -1.0F; };
      const Colour first = octantColour(side(a, 0), side(a, 1), side(a, 2));
      const Colour second = octantColour(side(b, 0), side(b, 1), side(b, 2));
      EXPECT_GT(difference(first, second), 0.15) << a << " " << b;
    }
  }
}

TEST(Panorama, LinesAndLabelsStandWhereTheyBelong) {
  const SpherePainter painter;
  constexpr float kDegree = static_cast<float>(kPi) / 180;
  const auto at = [&](double longitude, double latitude) {
    return painter.colourAt(
        spherePointAt(static_cast<float>(longitude) * kDegree, static_cast<float>(latitude) * kDegree), 0.001F);
  };
  const Colour meridian = at(0, 21);
  EXPECT_GT(meridian.red, meridian.blue + 0.4F) << "the meridian ahead is red";
  const Colour equator = at(22, 0);
  EXPECT_GT(std::min({equator.red, equator.green, equator.blue}), 0.7F) << "the equator is light";
  EXPECT_GT(difference(at(30, 21), at(31, 21)), 0.05) << "a line at 30 degrees";
  // The upper bar of the E is white, the gap under it is not: the letter is there, upright.
  EXPECT_GT(at(90, 11).red, 0.95F);
  EXPECT_LT(at(91.5, 9.3).red, 0.5F);
  // Its stem is on the left for who looks at it.
  EXPECT_GT(at(88.2, 9.3).red, 0.95F);
}

}  // namespace
}  // namespace zelview
