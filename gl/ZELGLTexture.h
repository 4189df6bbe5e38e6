#pragma once

#include <ZELKit/ZELTextureFormat.h>
#include <ZELPlatform/CGGeometry.h>

#include <cstdint>
#include <memory>
#include <vector>

/// The textures of one frame by name: valid until their cache takes its next new frame.
class ZELGLTexture {
 public:
  static std::shared_ptr<ZELGLTexture> createWithFormat(ZELTextureFormat format, std::vector<uint32_t> planes,
                                                        CGSize size, bool updated) {
    auto texture = std::make_shared<ZELGLTexture>();
    texture->format = format;
    texture->planes = std::move(planes);
    texture->size = size;
    texture->updated = updated;
    return texture;
  }

  ZELTextureFormat format = ZELTextureFormatRGB;
  /// GL texture names in plane order: colour, or luma and chroma.
  std::vector<uint32_t> planes;
  /// Width and height of the frame in pixels.
  CGSize size{};
  /// Whether the textures were made from a new frame for this request.
  bool updated = false;
};
