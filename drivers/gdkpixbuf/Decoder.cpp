#include "platform/coregraphics/PictureCodec.h"

#include "drivers/gdkpixbuf/Pixbuf.h"
#include "platform/coregraphics/FilePieces.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace ZELPlatform {
namespace {

struct PixelSize {
  int width = 0;
  int height = 0;
  bool operator==(const PixelSize&) const = default;
};

PixelSize sizeOf(GdkPixbuf* pixbuf) { return {gdk_pixbuf_get_width(pixbuf), gdk_pixbuf_get_height(pixbuf)}; }

/// The size with its shape kept whose longer side is no longer than allowed (0: any).
PixelSize fitted(PixelSize size, size_t maximumSide) {
  const int longer = std::max(size.width, size.height);
  if (maximumSide == 0 || static_cast<size_t>(longer) <= maximumSide) return size;
  const double factor = static_cast<double>(maximumSide) / longer;
  const auto scaled = [&](int side) { return std::max(1, static_cast<int>(std::lround(side * factor))); };
  return {scaled(size.width), scaled(size.height)};
}

std::string nameOf(GdkPixbufFormat* format) {
  if (!format) return {};
  gchar* text = gdk_pixbuf_format_get_name(format);
  std::string name = text;
  g_free(text);
  return name;
}

/// Whether the format's loader takes a file that was cut off without a complaint, and reports the pixels that it has
/// once each: then the picture is complete when as many were reported as it has. (Of JPEG, PNG and WebP the end was
/// found before; the other loaders do complain.)
bool reportsEachPixelOnce(GdkPixbufLoader* loader) {
  const std::string name = nameOf(gdk_pixbuf_loader_get_format(loader));
  return name == "bmp" || name == "ico" || name == "pnm";
}

std::string reasonOf(const GError* error, PixelSize size) {
  if (!error) return "its decoder gives no reason";
  if (g_error_matches(error, GDK_PIXBUF_ERROR, GDK_PIXBUF_ERROR_UNKNOWN_TYPE)) {
    return "it is not a picture of a known kind";
  }
  if (g_error_matches(error, GDK_PIXBUF_ERROR, GDK_PIXBUF_ERROR_INSUFFICIENT_MEMORY)) {
    return "there is not enough memory for it (" + std::to_string(size.width) + " by " + std::to_string(size.height) +
           " pixels)";
  }
  std::string message = error->message;
  while (!message.empty() && message.back() == '.') message.pop_back();
  return "it is damaged (" + message + ")";
}

/// The picture's pixels as an image, which costs one copy.
std::shared_ptr<CGImage> imageOf(GdkPixbuf* pixbuf) {
  const auto width = static_cast<size_t>(gdk_pixbuf_get_width(pixbuf));
  const auto height = static_cast<size_t>(gdk_pixbuf_get_height(pixbuf));
  const auto rowBytes = static_cast<size_t>(gdk_pixbuf_get_rowstride(pixbuf));
  const bool hasAlpha = gdk_pixbuf_get_has_alpha(pixbuf);
  const uint8_t* source = gdk_pixbuf_read_pixels(pixbuf);
  std::vector<uint8_t> bytes(width * height * 4);
  for (size_t y = 0; y < height; ++y) {
    const uint8_t* from = source + y * rowBytes;
    uint8_t* to = bytes.data() + y * width * 4;
    if (hasAlpha) {
      premultiplyRow(from, to, width);
      continue;
    }
    for (size_t x = 0; x < width; ++x, from += 3, to += 4) {
      to[0] = from[0];
      to[1] = from[1];
      to[2] = from[2];
      to[3] = 255;
    }
  }
  return CGImage::create(width, height, width * 4,
                         hasAlpha ? CGImageAlphaInfo::PremultipliedLast : CGImageAlphaInfo::NoneSkipLast,
                         std::move(bytes));
}

/// Decodes through a loader, which takes the file piece by piece and knows its size before its pixels.
class LoaderDecoder {
 public:
  explicit LoaderDecoder(size_t maximumSide) : maximumSide_(maximumSide), loader_(gdk_pixbuf_loader_new()) {
    g_signal_connect(loader_.get(), "size-prepared", G_CALLBACK(sizePrepared), this);
    g_signal_connect(loader_.get(), "area-updated", G_CALLBACK(areaUpdated), this);
  }

  PixbufPointer decode(const std::string& path, std::string* reason);

  /// The size in the file, before the orientation is applied.
  PixelSize originalSize() const { return original_; }

 private:
  static void sizePrepared(GdkPixbufLoader* loader, int width, int height, gpointer self);
  static void areaUpdated(GdkPixbufLoader* loader, int x, int y, int width, int height, gpointer self);

  const size_t maximumSide_;
  std::unique_ptr<GdkPixbufLoader, ObjectUnref> loader_;
  PixelSize original_;
  uint64_t reportedPixels_ = 0;
};

/// Lets the loader scale, which for JPEG spares the memory of the full size.
void LoaderDecoder::sizePrepared(GdkPixbufLoader* loader, int width, int height, gpointer self) {
  auto* decoder = static_cast<LoaderDecoder*>(self);
  decoder->original_ = {width, height};
  // A loader that scales no longer reports its pixels.
  if (reportsEachPixelOnce(loader)) return;
  const PixelSize size = fitted(decoder->original_, decoder->maximumSide_);
  if (size != decoder->original_) gdk_pixbuf_loader_set_size(loader, size.width, size.height);
}

void LoaderDecoder::areaUpdated(GdkPixbufLoader*, int, int, int width, int height, gpointer self) {
  static_cast<LoaderDecoder*>(self)->reportedPixels_ += static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
}

PixbufPointer LoaderDecoder::decode(const std::string& path, std::string* reason) {
  GError* error = nullptr;
  *reason = readPieces(path, [&](const uint8_t* bytes, size_t count) {
    return gdk_pixbuf_loader_write(loader_.get(), bytes, count, &error) != FALSE;
  });
  gdk_pixbuf_loader_close(loader_.get(), error ? nullptr : &error);
  const ErrorPointer owner(error);
  if (error) *reason = reasonOf(error, original_);
  if (!reason->empty()) return nullptr;
  GdkPixbuf* pixbuf = gdk_pixbuf_loader_get_pixbuf(loader_.get());
  const auto pixels = static_cast<uint64_t>(original_.width) * static_cast<uint64_t>(original_.height);
  if (!pixbuf || (reportsEachPixelOnce(loader_.get()) && reportedPixels_ < pixels)) {
    *reason = "it ends before the picture is complete";
    return nullptr;
  }
  return PixbufPointer(GDK_PIXBUF(g_object_ref(pixbuf)));
}

/// Scales down what no loader could, and sets the picture upright. Null when there is no memory.
PixbufPointer finished(PixbufPointer pixbuf, size_t maximumSide) {
  const PixelSize size = fitted(sizeOf(pixbuf.get()), maximumSide);
  if (size != sizeOf(pixbuf.get())) {
    PixbufPointer scaled(gdk_pixbuf_scale_simple(pixbuf.get(), size.width, size.height, GDK_INTERP_BILINEAR));
    if (!scaled) return nullptr;
    gdk_pixbuf_copy_options(pixbuf.get(), scaled.get());
    pixbuf = std::move(scaled);
  }
  return PixbufPointer(gdk_pixbuf_apply_embedded_orientation(pixbuf.get()));
}

bool liesOnItsSide(GdkPixbuf* pixbuf) {
  // The orientations from 5 on exchange rows and columns.
  const char* orientation = gdk_pixbuf_get_option(pixbuf, "orientation");
  return orientation && std::atoi(orientation) >= 5;
}

}  // namespace

CGImageDecodeResult decodePicture(const std::string& path, const CGImageDecodeOptions& options) {
  CGImageDecodeResult result;
  PixelSize original;
  PixbufPointer pixbuf;
  GdkPixbufFormat* format = gdk_pixbuf_get_file_info(path.c_str(), &original.width, &original.height);
  if (nameOf(format) == "jpeg" && fitted(original, options.maximumSide) == original) {
    // A loader draws a progressive picture once for every pass in it, which takes three times as long.
    GError* error = nullptr;
    pixbuf.reset(gdk_pixbuf_new_from_file(path.c_str(), &error));
    const ErrorPointer owner(error);
    if (!pixbuf) result.error = reasonOf(error, original);
  } else {
    LoaderDecoder decoder(options.maximumSide);
    pixbuf = decoder.decode(path, &result.error);
    original = decoder.originalSize();
  }
  result.isOfUnknownKind = !pixbuf && !format;
  if (!pixbuf) return result;

  if (liesOnItsSide(pixbuf.get())) std::swap(original.width, original.height);
  pixbuf = finished(std::move(pixbuf), options.maximumSide);
  result.image = pixbuf ? imageOf(pixbuf.get()) : nullptr;
  if (!result.image) result.error = "there is not enough memory for it";
  result.originalWidth = static_cast<size_t>(original.width);
  result.originalHeight = static_cast<size_t>(original.height);
  return result;
}

}  // namespace ZELPlatform
