#pragma once

#include "platform/coregraphics/PixelRows.h"

#include <ZELPlatform/CoreGraphics.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// What an image driver does for the platform. Reasons are parts of a sentence that begin with "it" or "there" and have
/// no full stop. Any thread.
namespace ZELPlatform {

/// Decodes the picture in a regular file that reaches its end as far as `PictureEnd` can tell. The result's error is
/// only a reason.
CGImageDecodeResult decodePicture(const std::string& path, const CGImageDecodeOptions& options);

/// Encodes an image as PNG, without an alpha channel if it has none, and hands over the bytes piece by piece until
/// `write` returns false. Returns an empty string or a reason.
std::string encodePNG(const CGImage& image, const std::function<bool(const uint8_t* bytes, size_t count)>& write);

/// Where a scaled picture lies, and which part of it is wanted; in pixels, from the same corner.
struct ScaledPart {
  /// The whole picture.
  int x;
  int y;
  int width;
  int height;
  /// The wanted part, from (0, 0).
  int partWidth;
  int partHeight;
};

/// Scales pixels with straight alpha, bilinearly when they grow and by their average when they shrink. Returns the part
/// in rows without padding, or nothing when there is no memory.
std::vector<uint8_t> scalePixels(const PixelRows& pixels, const ScaledPart& part);

}  // namespace ZELPlatform
