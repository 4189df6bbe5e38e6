#include "platform/coregraphics/PictureCodec.h"

#include "drivers/gdkpixbuf/Pixbuf.h"

namespace ZELPlatform {

std::vector<uint8_t> scalePixels(const PixelRows& pixels, const ScaledPart& part) {
  const PixbufPointer source(gdk_pixbuf_new_from_data(pixels.bytes, GDK_COLORSPACE_RGB, TRUE, 8,
                                                      static_cast<int>(pixels.width), static_cast<int>(pixels.height),
                                                      static_cast<int>(pixels.bytesPerRow), nullptr, nullptr));
  std::vector<uint8_t> scaled(static_cast<size_t>(part.partWidth) * static_cast<size_t>(part.partHeight) * 4);
  const PixbufPointer target(gdk_pixbuf_new_from_data(scaled.data(), GDK_COLORSPACE_RGB, TRUE, 8, part.partWidth,
                                                      part.partHeight, part.partWidth * 4, nullptr, nullptr));
  gdk_pixbuf_scale(source.get(), target.get(), 0, 0, part.partWidth, part.partHeight, part.x, part.y,
                   static_cast<double>(part.width) / static_cast<double>(pixels.width),
                   static_cast<double>(part.height) / static_cast<double>(pixels.height), GDK_INTERP_BILINEAR);
  return scaled;
}

}  // namespace ZELPlatform
