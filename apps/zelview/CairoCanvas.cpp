#include "apps/zelview/CairoCanvas.h"

#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

#include "apps/zelview/ViewerError.h"

namespace zelview {
namespace {

/// Cairo's 32-bit pixels are numbers: alpha in the highest byte, then red, green, blue.
uint32_t cairoPixel(const uint8_t* rgba) { return 0xFF000000U | rgba[0] << 16U | rgba[1] << 8U | rgba[2]; }

}  // namespace

CairoCanvas::CairoCanvas(double width, double height, double scale)
    : surface_(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(std::ceil(width * scale)),
                                          static_cast<int>(std::ceil(height * scale)))),
      context_(cairo_create(surface_.get())) {
  if (cairo_status(context_.get()) != CAIRO_STATUS_SUCCESS) {
    throw ViewerError(std::string("The picture cannot be drawn: ") +
                      cairo_status_to_string(cairo_status(context_.get())) + ".");
  }
  cairo_scale(context_.get(), scale, scale);
}

void CairoCanvas::setColour(unsigned rgb, double alpha) {
  cairo_set_source_rgba(context_.get(), (rgb >> 16U & 0xFFU) / 255.0, (rgb >> 8U & 0xFFU) / 255.0,
                        (rgb & 0xFFU) / 255.0, alpha);
}

void CairoCanvas::fillRect(CGRect rect) {
  cairo_rectangle(context_.get(), rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
  cairo_fill(context_.get());
}

void CairoCanvas::fillRoundedRect(CGRect rect, double radius) {
  constexpr double kQuarter = std::numbers::pi / 2;
  const double right = rect.origin.x + rect.size.width - radius;
  const double bottom = rect.origin.y + rect.size.height - radius;
  cairo_new_sub_path(context_.get());
  cairo_arc(context_.get(), right, rect.origin.y + radius, radius, -kQuarter, 0);
  cairo_arc(context_.get(), right, bottom, radius, 0, kQuarter);
  cairo_arc(context_.get(), rect.origin.x + radius, bottom, radius, kQuarter, 2 * kQuarter);
  cairo_arc(context_.get(), rect.origin.x + radius, rect.origin.y + radius, radius, 2 * kQuarter, 3 * kQuarter);
  cairo_close_path(context_.get());
  cairo_fill(context_.get());
}

void CairoCanvas::selectFont(double size, Weight weight) {
  cairo_select_font_face(context_.get(), "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                         weight == Weight::Bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(context_.get(), size);
}

void CairoCanvas::drawText(const std::string& text, CGPoint start) {
  cairo_move_to(context_.get(), start.x, start.y);
  cairo_show_text(context_.get(), text.c_str());
}

void CairoCanvas::drawImage(const CGImage& image, CGPoint topLeft) {
  const auto width = static_cast<int>(image.width());
  const auto height = static_cast<int>(image.height());
  const std::unique_ptr<cairo_surface_t, SurfaceDeleter> copy(
      cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
  if (cairo_surface_status(copy.get()) != CAIRO_STATUS_SUCCESS)
    throw ViewerError("The picture cannot be drawn: out of memory.");
  uint8_t* rows = cairo_image_surface_get_data(copy.get());
  const int stride = cairo_image_surface_get_stride(copy.get());
  for (int y = 0; y < height; ++y) {
    const uint8_t* from = image.bytes() + static_cast<size_t>(y) * image.bytesPerRow();
    auto* to = reinterpret_cast<uint32_t*>(rows + static_cast<ptrdiff_t>(y) * stride);
    for (int x = 0; x < width; ++x) to[x] = cairoPixel(from + static_cast<ptrdiff_t>(x) * 4);
  }
  cairo_surface_mark_dirty(copy.get());
  cairo_set_source_surface(context_.get(), copy.get(), topLeft.x, topLeft.y);
  cairo_paint(context_.get());
}

std::shared_ptr<CGImage> CairoCanvas::makeImage() const {
  cairo_surface_flush(surface_.get());
  const auto width = static_cast<size_t>(cairo_image_surface_get_width(surface_.get()));
  const auto height = static_cast<size_t>(cairo_image_surface_get_height(surface_.get()));
  const uint8_t* rows = cairo_image_surface_get_data(surface_.get());
  const int stride = cairo_image_surface_get_stride(surface_.get());
  std::vector<uint8_t> bytes(width * height * 4);
  for (size_t y = 0; y < height; ++y) {
    const auto* from = reinterpret_cast<const uint32_t*>(rows + static_cast<ptrdiff_t>(y) * stride);
    uint8_t* to = bytes.data() + y * width * 4;
    for (size_t x = 0; x < width; ++x, to += 4) {
      to[0] = static_cast<uint8_t>(from[x] >> 16U);
      to[1] = static_cast<uint8_t>(from[x] >> 8U);
      to[2] = static_cast<uint8_t>(from[x]);
      to[3] = static_cast<uint8_t>(from[x] >> 24U);
    }
  }
  return CGImage::create(width, height, width * 4, CGImageAlphaInfo::PremultipliedLast, std::move(bytes));
}

}  // namespace zelview
