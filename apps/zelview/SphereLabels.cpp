#include "apps/zelview/SphereLabels.h"

#include <cairo.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace zelview {
namespace {

constexpr float kDegree = std::numbers::pi_v<float> / 180.0F;
/// Somewhat finer than the texels of the layouts.
constexpr float kMaskPixelsPerDegree = 14.0F;
constexpr float kMaskPixelsPerUnit = kMaskPixelsPerDegree / kDegree;

/// Cells of 5 degrees.
constexpr int kCellColumns = 72;
constexpr int kCellRows = 36;
constexpr float kCell = 5.0F * kDegree;

int cellIndex(const SpherePoint& p) {
  const int column = static_cast<int>((p.longitude + std::numbers::pi_v<float>) / kCell);
  const int row = static_cast<int>((p.latitude + std::numbers::pi_v<float> / 2) / kCell);
  return std::clamp(row, 0, kCellRows - 1) * kCellColumns + std::clamp(column, 0, kCellColumns - 1);
}

struct SurfaceDeleter {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
struct ContextDeleter {
  void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Surface = std::unique_ptr<cairo_surface_t, SurfaceDeleter>;
using Context = std::unique_ptr<cairo_t, ContextDeleter>;

/// Sets the font so that a capital letter is `height` pixels high.
void selectFont(cairo_t* context, double height) {
  constexpr double kCapitalPerEm = 0.729;  // of DejaVu Sans
  cairo_select_font_face(context, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
  cairo_set_font_size(context, height / kCapitalPerEm);
}

}  // namespace

SphereLabels::SphereLabels() {
  constexpr std::array<const char*, 8> kCompass = {"N", "NE", "E", "SE", "S", "SW", "W", "NW"};
  for (int i = 0; i < 8; ++i) {
    const auto longitude = static_cast<float>(i * 45);
    const bool cardinal = i % 2 == 0;
    add(kCompass[i], longitude, 7.5F, cardinal ? 8.0F : 5.0F, i == 0);
    for (const int side : {-1, 1}) {
      add(kCompass[i], longitude, static_cast<float>(side) * 67.5F, cardinal ? 4.0F : 3.0F, i == 0);
      add(kCompass[i], longitude, static_cast<float>(side) * 37.5F, cardinal ? 4.0F : 3.0F, i == 0);
      for (int latitude = 15; latitude <= 75; latitude += 15) {
        const std::string text = (side < 0 ? "\u2212" : "+") + std::to_string(latitude) + "\u00B0";
        const auto at = static_cast<float>(side * latitude);
        add(text, longitude + 3.1F / std::cos(at * kDegree), at + 1.5F, 1.5F);
      }
    }
  }
  for (int longitude = 0; longitude < 360; longitude += 15) {
    add(std::to_string(longitude) + "\u00B0", static_cast<float>(longitude), -2.6F, longitude % 45 == 0 ? 2.2F : 1.5F);
  }
  addPole("UP", true, 4.2F);
  addPole("DOWN", false, 2.6F);
  sortIntoCells();
}

void SphereLabels::add(const std::string& text, float longitude, float latitude, float height, bool accent) {
  const float sinLongitude = std::sin(longitude * kDegree);
  const float cosLongitude = std::cos(longitude * kDegree);
  const float sinLatitude = std::sin(latitude * kDegree);
  const float cosLatitude = std::cos(latitude * kDegree);
  place(text, height, {sinLongitude * cosLatitude, sinLatitude, cosLongitude * cosLatitude},
        {cosLongitude, 0.0F, -sinLongitude}, {-sinLongitude * sinLatitude, cosLatitude, -cosLongitude * sinLatitude},
        accent);
}

void SphereLabels::addPole(const std::string& text, bool zenith, float height) {
  const float side = zenith ? 1.0F : -1.0F;
  place(text, height, {0.0F, side, 0.0F}, {1.0F, 0.0F, 0.0F}, {0.0F, 0.0F, -side}, false);
}

void SphereLabels::place(const std::string& text, float height, Vector centre, Vector right, Vector up, bool accent) {
  std::unique_ptr<Mask>& mask = masks_[{text, height}];
  if (!mask) mask = std::make_unique<Mask>(drawMask(text, height));
  const float halfDiagonal =
      0.5F * std::hypot(static_cast<float>(mask->width), static_cast<float>(mask->height)) / kMaskPixelsPerUnit;
  labels_.push_back({centre, right, up, mask.get(), std::cos(std::atan(halfDiagonal)), accent});
}

SphereLabels::Mask SphereLabels::drawMask(const std::string& text, float height) {
  const double capital = height * kMaskPixelsPerDegree;
  const double halo = std::max(1.2, capital * 0.07);
  const Surface scratch(cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1));
  const Context measure(cairo_create(scratch.get()));
  selectFont(measure.get(), capital);
  cairo_text_extents_t extents;
  cairo_text_extents(measure.get(), text.c_str(), &extents);

  Mask mask;
  const double margin = halo + 2.0;
  mask.width = static_cast<int>(std::ceil(extents.width + 2.0 * margin));
  mask.height = static_cast<int>(std::ceil(extents.height + 2.0 * margin));
  mask.pairs.resize(static_cast<size_t>(mask.width) * mask.height * 2);
  for (const int channel : {0, 1}) {
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_A8, mask.width, mask.height));
    const Context context(cairo_create(surface.get()));
    selectFont(context.get(), capital);
    cairo_move_to(context.get(), (mask.width - extents.width) / 2.0 - extents.x_bearing,
                  (mask.height - extents.height) / 2.0 - extents.y_bearing);
    cairo_text_path(context.get(), text.c_str());
    if (channel == 1) {
      cairo_set_line_join(context.get(), CAIRO_LINE_JOIN_ROUND);
      cairo_set_line_width(context.get(), 2.0 * halo);
      cairo_set_source_rgba(context.get(), 0.0, 0.0, 0.0, 0.6);
      cairo_stroke(context.get());
    } else {
      cairo_fill(context.get());
    }
    cairo_surface_flush(surface.get());
    const uint8_t* rows = cairo_image_surface_get_data(surface.get());
    const int stride = cairo_image_surface_get_stride(surface.get());
    for (int y = 0; y < mask.height; ++y) {
      for (int x = 0; x < mask.width; ++x) {
        mask.pairs[(static_cast<size_t>(y) * mask.width + x) * 2 + channel] = rows[y * stride + x];
      }
    }
  }
  return mask;
}

void SphereLabels::sortIntoCells() {
  // A cell's corners are at most this far from its middle.
  constexpr float kCellRadius = kCell * 0.75F;
  cells_.resize(static_cast<size_t>(kCellColumns) * kCellRows);
  for (int row = 0; row < kCellRows; ++row) {
    for (int column = 0; column < kCellColumns; ++column) {
      const SpherePoint middle =
          spherePointAt((static_cast<float>(column) + 0.5F) * kCell - std::numbers::pi_v<float>,
                        (static_cast<float>(row) + 0.5F) * kCell - std::numbers::pi_v<float> / 2);
      for (size_t i = 0; i < labels_.size(); ++i) {
        const Label& label = labels_[i];
        const float cosDistance = label.centre.x * middle.x + label.centre.y * middle.y + label.centre.z * middle.z;
        if (cosDistance > std::cos(std::acos(label.cosRadius) + kCellRadius)) {
          cells_[static_cast<size_t>(row) * kCellColumns + column].push_back(static_cast<uint16_t>(i));
        }
      }
    }
  }
}

LabelCover SphereLabels::coverAt(const SpherePoint& point) const {
  LabelCover cover;
  for (const uint16_t index : cells_[cellIndex(point)]) sample(labels_[index], point, cover);
  return cover;
}

void SphereLabels::sample(const Label& label, const SpherePoint& p, LabelCover& cover) {
  const float ahead = label.centre.x * p.x + label.centre.y * p.y + label.centre.z * p.z;
  if (ahead < label.cosRadius) return;
  const Mask& mask = *label.mask;
  const float toPixels = kMaskPixelsPerUnit / ahead;
  const float x = (label.right.x * p.x + label.right.y * p.y + label.right.z * p.z) * toPixels +
                  0.5F * static_cast<float>(mask.width - 1);
  const float y =
      0.5F * static_cast<float>(mask.height - 1) - (label.up.x * p.x + label.up.y * p.y + label.up.z * p.z) * toPixels;
  if (x < 0.0F || y < 0.0F) return;
  const int column = static_cast<int>(x);
  const int row = static_cast<int>(y);
  if (column >= mask.width - 1 || row >= mask.height - 1) return;

  const float fx = x - static_cast<float>(column);
  const float fy = y - static_cast<float>(row);
  const uint8_t* above = &mask.pairs[(static_cast<size_t>(row) * mask.width + column) * 2];
  const uint8_t* below = above + static_cast<size_t>(mask.width) * 2;
  const auto bilinear = [&](int channel) {
    const float top = static_cast<float>(above[channel]) * (1.0F - fx) + static_cast<float>(above[channel + 2]) * fx;
    const float bottom = static_cast<float>(below[channel]) * (1.0F - fx) + static_cast<float>(below[channel + 2]) * fx;
    return (top * (1.0F - fy) + bottom * fy) / 255.0F;
  };
  const float text = bilinear(0);
  if (text > cover.text) {
    cover.text = text;
    cover.accent = label.accent;
  }
  cover.halo = std::max(cover.halo, bilinear(1));
}

}  // namespace zelview
