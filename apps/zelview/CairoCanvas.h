#pragma once

#include <ZELPlatform/CoreGraphics.h>

#include <cairo.h>

#include <memory>
#include <string>

namespace zelview {

/// A bitmap to draw on with Cairo, in points from the top left. One thread at a time.
class CairoCanvas {
 public:
  /// Transparent, `scale` pixels a point. Throws `ViewerError` when memory is short.
  CairoCanvas(double width, double height, double scale = 1.0);

  cairo_t* context() const { return context_.get(); }

  void setColour(unsigned rgb, double alpha = 1.0);
  void fillRect(CGRect rect);
  void fillRoundedRect(CGRect rect, double radius);

  enum class Weight { Normal, Bold };
  void selectFont(double size, Weight weight = Weight::Normal);
  /// The text's left end on the base line at that point.
  void drawText(const std::string& text, CGPoint start);

  /// Copies an image without scaling; its alpha is ignored.
  void drawImage(const CGImage& image, CGPoint topLeft);

  /// A copy of what was drawn.
  std::shared_ptr<CGImage> makeImage() const;

 private:
  struct SurfaceDeleter {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  };
  struct ContextDeleter {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
  };
  std::unique_ptr<cairo_surface_t, SurfaceDeleter> surface_;
  std::unique_ptr<cairo_t, ContextDeleter> context_;
};

}  // namespace zelview
