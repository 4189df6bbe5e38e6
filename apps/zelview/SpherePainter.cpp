#include "apps/zelview/SpherePainter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace zelview {
namespace {

constexpr float kDegree = std::numbers::pi_v<float> / 180.0F;
constexpr float kGridStep = 15.0F * kDegree;
/// The circle around each pole's label.
constexpr float kCapLatitude = 82.5F * kDegree;

constexpr Colour hex(unsigned rgb) {
  return {static_cast<float>(rgb >> 16U & 0xFFU) / 255.0F, static_cast<float>(rgb >> 8U & 0xFFU) / 255.0F,
          static_cast<float>(rgb & 0xFFU) / 255.0F};
}

/// Light ones above the horizon, dark ones below; indexed by bits: 1 right, 2 up, 4 ahead.
constexpr std::array<Colour, 8> kOctants = {
    hex(0x5B3F8F),  // south-west, below: plum
    hex(0x2E6B4F),  // south-east, below: forest
    hex(0xA48BE8),  // south-west, above: lilac
    hex(0x5CC49A),  // south-east, above: mint
    hex(0xA8473B),  // north-west, below: brick
    hex(0x1F5F86),  // north-east, below: sea
    hex(0xF2A07B),  // north-west, above: apricot
    hex(0x62B2EE),  // north-east, above: sky
};

constexpr Colour kWhite = {1.0F, 1.0F, 1.0F};
constexpr Colour kEquator = hex(0xFFF3C4);
constexpr Colour kPrimeMeridian = hex(0xE23B3B);
constexpr Colour kHalo = hex(0x10151C);

Colour mix(Colour a, Colour b, float t) {
  return {a.red + (b.red - a.red) * t, a.green + (b.green - a.green) * t, a.blue + (b.blue - a.blue) * t};
}

Colour scaled(Colour c, float s) {
  return {std::min(c.red * s, 1.0F), std::min(c.green * s, 1.0F), std::min(c.blue * s, 1.0F)};
}

/// How much of a texel a line covers whose middle is `distance` away.
float lineCover(float distance, float halfWidth, float footprint) {
  return std::clamp((halfWidth - distance) / footprint + 0.5F, 0.0F, 1.0F);
}

/// A soft glow around each octant's middle, lighter towards the zenith, and a faint chequer of the grid's cells.
Colour background(const SpherePoint& p) {
  const float glow = std::abs(p.x) * std::abs(p.y) * std::abs(p.z) * 5.196F;
  const auto column = static_cast<int>(std::floor(p.longitude / kGridStep));
  const auto row = static_cast<int>(std::floor(p.latitude / kGridStep));
  const float chequer = ((column + row) & 1) != 0 ? 0.022F : -0.022F;
  const float polar = std::clamp((75.0F * kDegree - std::abs(p.latitude)) / kDegree + 0.5F, 0.0F, 1.0F);
  return scaled(octantColour(p.x, p.y, p.z), 0.9F + 0.16F * glow + 0.05F * p.y + chequer * polar);
}

struct LineStyle {
  float halfWidth;
  float strength;
  Colour colour;
};

constexpr LineStyle kFine = {0.05F * kDegree, 0.34F, kWhite};
constexpr LineStyle kMedium = {0.10F * kDegree, 0.72F, kWhite};

/// Multiples of 15 degrees are fine, of 45 medium; the meridian straight ahead and the equator stand out.
LineStyle styleOf(int step, const LineStyle& zero) {
  if (step == 0) return zero;
  return step % 3 == 0 ? kMedium : kFine;
}

Colour withGrid(Colour colour, const SpherePoint& p, float footprint) {
  const float column = std::round(p.longitude / kGridStep);
  const float row = std::round(p.latitude / kGridStep);
  const float cosLatitude = std::sqrt(std::max(0.0F, 1.0F - p.y * p.y));
  const float acrossMeridian = std::abs(p.longitude - column * kGridStep) * cosLatitude;
  const float acrossParallel = std::abs(p.latitude - row * kGridStep);
  const float acrossCap = std::abs(std::abs(p.latitude) - kCapLatitude);
  constexpr float kWidest = 0.3F * kDegree;
  if (std::min({acrossMeridian, acrossParallel, acrossCap}) > kWidest + footprint) return colour;

  const auto meridian = static_cast<int>(column);
  const auto parallel = static_cast<int>(row);
  // Meridians end before the poles, the fine ones first, so that the labels there stay free.
  if (std::abs(p.latitude) <= (meridian % 3 == 0 ? kCapLatitude : kCapLatitude - kGridStep / 2)) {
    const LineStyle style = styleOf(meridian, {0.22F * kDegree, 1.0F, kPrimeMeridian});
    colour = mix(colour, style.colour, style.strength * lineCover(acrossMeridian, style.halfWidth, footprint));
  }
  if (std::abs(parallel) < 6) {
    const LineStyle style = styleOf(parallel, {0.22F * kDegree, 1.0F, kEquator});
    colour = mix(colour, style.colour, style.strength * lineCover(acrossParallel, style.halfWidth, footprint));
  }
  return mix(colour, kWhite, kMedium.strength * lineCover(acrossCap, kMedium.halfWidth, footprint));
}

}  // namespace

Colour octantColour(float x, float y, float z) {
  const unsigned index = (x > 0.0F ? 1U : 0U) | (y > 0.0F ? 2U : 0U) | (z > 0.0F ? 4U : 0U);
  return kOctants[index];
}

Colour SpherePainter::colourAt(const SpherePoint& point, float footprint) const {
  Colour colour = withGrid(background(point), point, footprint);
  const LabelCover label = labels_.coverAt(point);
  if (label.halo > 0.0F) colour = mix(colour, kHalo, label.halo);
  if (label.text > 0.0F) colour = mix(colour, label.accent ? kPrimeMeridian : kWhite, label.text);
  return colour;
}

}  // namespace zelview
