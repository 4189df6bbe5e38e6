#include "platform/coregraphics/PictureCodec.h"

#include "drivers/gdkpixbuf/Pixbuf.h"

namespace ZELPlatform {
namespace {

using Writer = std::function<bool(const uint8_t*, size_t)>;

gboolean writePiece(const gchar* bytes, gsize count, GError** error, gpointer writer) {
  if ((*static_cast<const Writer*>(writer))(reinterpret_cast<const uint8_t*>(bytes), count)) return TRUE;
  g_set_error_literal(error, GDK_PIXBUF_ERROR, GDK_PIXBUF_ERROR_FAILED, "its bytes cannot be written");
  return FALSE;
}

/// A pixbuf with the image's pixels: straight alpha, or no alpha channel.
PixbufPointer pixbufOf(const CGImage& image) {
  const bool hasAlpha = image.alphaInfo() == CGImageAlphaInfo::PremultipliedLast;
  PixbufPointer pixbuf(gdk_pixbuf_new(GDK_COLORSPACE_RGB, hasAlpha, 8, static_cast<int>(image.width()),
                                      static_cast<int>(image.height())));
  if (!pixbuf) return nullptr;
  const auto rowBytes = static_cast<size_t>(gdk_pixbuf_get_rowstride(pixbuf.get()));
  uint8_t* pixels = gdk_pixbuf_get_pixels(pixbuf.get());
  for (size_t y = 0; y < image.height(); ++y) {
    const uint8_t* from = rowsOf(image).row(y);
    uint8_t* to = pixels + y * rowBytes;
    if (hasAlpha) {
      straightenRow(from, image.alphaInfo(), to, image.width());
      continue;
    }
    for (size_t x = 0; x < image.width(); ++x, from += 4, to += 3) {
      to[0] = from[0];
      to[1] = from[1];
      to[2] = from[2];
    }
  }
  return pixbuf;
}

}  // namespace

std::string encodePNG(const CGImage& image, const Writer& write) {
  const PixbufPointer pixbuf = pixbufOf(image);
  if (!pixbuf) return "there is not enough memory for it";
  GError* error = nullptr;
  Writer writer = write;
  // The lowest level: for the picture of a view it takes a third of the default's time and a fifth more bytes.
  gdk_pixbuf_save_to_callback(pixbuf.get(), writePiece, &writer, "png", &error, "compression", "1", nullptr);
  const ErrorPointer owner(error);
  return error ? "it cannot be encoded (" + std::string(error->message) + ")" : std::string();
}

}  // namespace ZELPlatform
