#include <ZELPlatform/CoreGraphics.h>

#include "platform/coregraphics/PictureCodec.h"
#include "platform/coregraphics/PixelRows.h"

#include <algorithm>
#include <cmath>
#include <utility>

using ZELPlatform::PixelRows;

namespace {

/// Part of the way from `from` to `to` in whole pixels.
struct Span {
  int from;
  int to;
  int length() const { return to - from; }
};

/// More pixels than any bitmap has on a side, and few enough to be added up.
constexpr double most = 1 << 29;

/// The pixels whose centres lie in a stretch.
Span wholePixels(double origin, double length) {
  const auto whole = [](double edge) { return static_cast<int>(std::lround(std::clamp(edge, -most, most))); };
  return {whole(origin), whole(origin + length)};
}

Span clipped(Span span, size_t length) { return {std::max(span.from, 0), std::min(span.to, static_cast<int>(length))}; }

}  // namespace

struct CGBitmapContext::Implementation {
  /// The caller's memory, or `ownBytes` once something needs them.
  uint8_t* bytes = nullptr;
  size_t width = 0;
  size_t height = 0;
  size_t bytesPerRow = 0;
  CGImageAlphaInfo alphaInfo = CGImageAlphaInfo::PremultipliedLast;
  std::vector<uint8_t> ownBytes;
  /// All that was drawn so far, where that is one image that covers the bitmap and is not copied yet.
  std::shared_ptr<const CGImage> whole;

  /// Whether drawing the image there leaves its very bytes, as long as the bitmap has no memory.
  bool isWhole(const CGImage& image, Span across, Span down) const {
    return !bytes && !whole && across.from == 0 && down.from == 0 && image.width() == width &&
           image.height() == height && image.bytesPerRow() == width * 4 && image.alphaInfo() == alphaInfo;
  }

  /// Gives the bitmap memory of its own if it has none, with what was drawn so far.
  void needBytes() {
    if (bytes) return;
    ownBytes.resize(bytesPerRow * height);
    bytes = ownBytes.data();
    if (whole) draw(ZELPlatform::rowsOf(*whole), whole->alphaInfo(), 0, 0);
    whole = nullptr;
  }

  /// Puts pixels on the bitmap from (x, y) on; they are known to fit.
  void draw(const PixelRows& pixels, CGImageAlphaInfo sourceInfo, int x, int y) {
    for (size_t row = 0; row < pixels.height; ++row) {
      uint8_t* target = bytes + (static_cast<size_t>(y) + row) * bytesPerRow + static_cast<size_t>(x) * 4;
      ZELPlatform::drawRow(pixels.row(row), sourceInfo, target, alphaInfo, pixels.width);
    }
  }

  void drawScaled(const CGImage& image, Span across, Span down, Span visibleAcross, Span visibleDown);
};

/// Scales only what is seen. The scaler wants straight alpha, and gives it back.
void CGBitmapContext::Implementation::drawScaled(const CGImage& image, Span across, Span down, Span visibleAcross,
                                                 Span visibleDown) {
  std::vector<uint8_t> straight(image.width() * image.height() * 4);
  const PixelRows source = {straight.data(), image.width(), image.height(), image.width() * 4};
  for (size_t y = 0; y < image.height(); ++y) {
    ZELPlatform::straightenRow(ZELPlatform::rowsOf(image).row(y), image.alphaInfo(),
                               straight.data() + y * source.bytesPerRow, image.width());
  }
  std::vector<uint8_t> scaled =
      ZELPlatform::scalePixels(source, {across.from - visibleAcross.from, down.from - visibleDown.from, across.length(),
                                        down.length(), visibleAcross.length(), visibleDown.length()});
  const auto partWidth = static_cast<size_t>(visibleAcross.length());
  const auto partHeight = static_cast<size_t>(visibleDown.length());
  ZELPlatform::premultiplyRow(scaled.data(), scaled.data(), partWidth * partHeight);
  draw({scaled.data(), partWidth, partHeight, partWidth * 4}, CGImageAlphaInfo::PremultipliedLast, visibleAcross.from,
       visibleDown.from);
}

CGBitmapContext::CGBitmapContext() : implementation_(std::make_unique<Implementation>()) {}

CGBitmapContext::~CGBitmapContext() = default;

std::shared_ptr<CGBitmapContext> CGBitmapContext::create(void* data, size_t width, size_t height, size_t bytesPerRow,
                                                         CGImageAlphaInfo alphaInfo) {
  if (width == 0 || height == 0 || bytesPerRow / 4 < width) return nullptr;
  std::shared_ptr<CGBitmapContext> context(new CGBitmapContext);
  Implementation& bitmap = *context->implementation_;
  bitmap.bytes = static_cast<uint8_t*>(data);
  bitmap.width = width;
  bitmap.height = height;
  bitmap.bytesPerRow = bytesPerRow;
  bitmap.alphaInfo = alphaInfo;
  return context;
}

size_t CGBitmapContext::width() const { return implementation_->width; }

size_t CGBitmapContext::height() const { return implementation_->height; }

void CGBitmapContext::drawImage(const CGImage& image, CGRect rect) {
  const bool isFinite = std::isfinite(rect.origin.x) && std::isfinite(rect.origin.y) &&
                        std::isfinite(rect.size.width) && std::isfinite(rect.size.height);
  if (!isFinite) return;
  const Span across = wholePixels(rect.origin.x, rect.size.width);
  const Span down = wholePixels(rect.origin.y, rect.size.height);
  const Span visibleAcross = clipped(across, width());
  const Span visibleDown = clipped(down, height());
  if (visibleAcross.length() <= 0 || visibleDown.length() <= 0) return;

  const bool isSameSize =
      static_cast<size_t>(across.length()) == image.width() && static_cast<size_t>(down.length()) == image.height();
  if (isSameSize && implementation_->isWhole(image, across, down)) {
    implementation_->whole = image.withAlphaInfo(image.alphaInfo());
    return;
  }
  implementation_->needBytes();
  if (!isSameSize) return implementation_->drawScaled(image, across, down, visibleAcross, visibleDown);
  const uint8_t* firstPixel = ZELPlatform::rowsOf(image).row(static_cast<size_t>(visibleDown.from - down.from)) +
                              static_cast<size_t>(visibleAcross.from - across.from) * 4;
  implementation_->draw({firstPixel, static_cast<size_t>(visibleAcross.length()),
                         static_cast<size_t>(visibleDown.length()), image.bytesPerRow()},
                        image.alphaInfo(), visibleAcross.from, visibleDown.from);
}

std::shared_ptr<CGImage> CGBitmapContext::createImage() const {
  Implementation& bitmap = *implementation_;
  if (bitmap.whole) return bitmap.whole->withAlphaInfo(bitmap.alphaInfo);
  bitmap.needBytes();
  std::vector<uint8_t> bytes(bitmap.width * 4 * bitmap.height);
  for (size_t y = 0; y < bitmap.height; ++y) {
    std::copy_n(bitmap.bytes + y * bitmap.bytesPerRow, bitmap.width * 4, bytes.data() + y * bitmap.width * 4);
  }
  return CGImage::create(bitmap.width, bitmap.height, bitmap.width * 4, bitmap.alphaInfo, std::move(bytes));
}
