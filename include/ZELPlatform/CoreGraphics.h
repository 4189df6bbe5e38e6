#pragma once

#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/Export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// What the fourth byte of a pixel means.
enum class CGImageAlphaInfo {
  /// Colours are multiplied by alpha.
  PremultipliedLast,
  /// The fourth byte is unused.
  NoneSkipLast,
};

/// An immutable bitmap: rows from the top, four bytes a pixel in the order red, green, blue, alpha. Any thread.
class ZELPLATFORM_EXPORT CGImage {
 public:
  /// Takes over the bytes; null when there are fewer than `bytesPerRow * height`, the rows are too short or a side is
  /// 0.
  static std::shared_ptr<CGImage> create(size_t width, size_t height, size_t bytesPerRow, CGImageAlphaInfo alphaInfo,
                                         std::vector<uint8_t> bytes);

  /// Shares memory of at least `bytesPerRow * height` bytes, which nobody changes any more; null when the rows are too
  /// short or a side is 0.
  static std::shared_ptr<CGImage> create(size_t width, size_t height, size_t bytesPerRow, CGImageAlphaInfo alphaInfo,
                                         std::shared_ptr<const uint8_t[]> bytes);

  /// The same pixels, with another meaning of the fourth byte; the memory is shared.
  std::shared_ptr<CGImage> withAlphaInfo(CGImageAlphaInfo alphaInfo) const;

  size_t width() const { return width_; }
  size_t height() const { return height_; }
  size_t bytesPerRow() const { return bytesPerRow_; }
  CGImageAlphaInfo alphaInfo() const { return alphaInfo_; }
  const uint8_t* bytes() const { return bytes_.get(); }

 private:
  CGImage() = default;
  size_t width_ = 0;
  size_t height_ = 0;
  size_t bytesPerRow_ = 0;
  CGImageAlphaInfo alphaInfo_ = CGImageAlphaInfo::PremultipliedLast;
  std::shared_ptr<const uint8_t[]> bytes_;
};

/// How `CGImageCreateWithContentsOfFile` decodes.
struct CGImageDecodeOptions {
  /// The longer side allowed, in pixels; a larger picture is scaled down to it with its shape kept. 0: no limit.
  size_t maximumSide = 0;
};

/// A decoded picture, or the reason why there is none.
struct CGImageDecodeResult {
  std::shared_ptr<CGImage> image;
  /// The size in the file, after the orientation tag was applied; larger than the image if it was scaled down.
  size_t originalWidth = 0;
  size_t originalHeight = 0;
  /// One sentence, in the present tense; empty on success.
  std::string error;
  /// Whether the error is that no loader knows files of this kind: it may be no picture at all.
  bool isOfUnknownKind = false;
};

/// Decodes a picture file (PNG, JPEG, WebP, TIFF and what else the system's loaders know), upright by its orientation
/// tag. Blocks; any thread. A truncated or corrupt file is an error, not half a picture.
ZELPLATFORM_EXPORT CGImageDecodeResult CGImageCreateWithContentsOfFile(const std::string& path,
                                                                       const CGImageDecodeOptions& options = {});

/// Writes a PNG beside the path and renames it into place, so that a partly written file never has the final name.
/// Returns an empty string on success, else one sentence. Blocks; any thread.
ZELPLATFORM_EXPORT std::string CGImageWritePNG(const CGImage& image, const std::string& path);

/// Draws into a bitmap of four bytes a pixel (red, green, blue, alpha or unused), rows from the top. One thread at a
/// time.
class ZELPLATFORM_EXPORT CGBitmapContext {
 public:
  /// A context on the caller's memory, which must outlive it, or on its own zeroed memory when `data` is null. Null
  /// when a side is 0 or the rows are too short.
  static std::shared_ptr<CGBitmapContext> create(void* data, size_t width, size_t height, size_t bytesPerRow,
                                                 CGImageAlphaInfo alphaInfo);
  ~CGBitmapContext();

  size_t width() const;
  size_t height() const;

  /// Draws the image scaled into a rectangle of bitmap pixels (origin at the top left), over what is there, clipped to
  /// the bitmap. An image of exactly the rectangle's whole-pixel size is copied without filtering; scaling is bilinear.
  void drawImage(const CGImage& image, CGRect rect);

  /// The bitmap as it is now, as an image of its own. Memory of the context's own on which one image was drawn that
  /// covers it is not copied.
  std::shared_ptr<CGImage> createImage() const;

 private:
  CGBitmapContext();
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};
