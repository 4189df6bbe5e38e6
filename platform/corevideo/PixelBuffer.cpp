#include "platform/corevideo/PixelBufferAttachments.h"

#include <sys/mman.h>

#include <ZELPlatform/CoreVideo.h>

#include <algorithm>
#include <utility>

namespace {

constexpr size_t kLargestSide = 65536;
/// Page, row and row count alignment that lets drivers import the memory of two-plane buffers.
constexpr size_t kPage = 4096;
constexpr size_t kRowAlignment = 64;
constexpr size_t kRowCountAlignment = 4;

size_t roundedUp(size_t value, size_t multiple) { return (value + multiple - 1) / multiple * multiple; }

bool isSensible(size_t width, size_t height) {
  return width > 0 && height > 0 && width <= kLargestSide && height <= kLargestSide;
}

bool isTwoPlane(uint32_t format) {
  return format == kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange ||
         format == kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;
}

/// 0 for a format that is not packed.
size_t packedBytesPerPixel(uint32_t format) {
  switch (format) {
    case kCVPixelFormatType_32BGRA:
    case kCVPixelFormatType_32RGBA:
      return 4;
    case kCVPixelFormatType_16LE565:
      return 2;
    default:
      return 0;
  }
}

/// Whether a chroma side belongs to a luma side; callers may round an odd one either way.
bool isHalf(size_t chroma, size_t luma) { return chroma >= std::max<size_t>(1, luma / 2) && chroma <= (luma + 1) / 2; }

/// Zeroed pages that cost nothing until they are touched; null when there are none to be had.
void* allocatePages(size_t bytes) {
  void* pages = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return pages == MAP_FAILED ? nullptr : pages;
}

/// Planes without memory as `create` lays them out, and how many bytes they need together.
std::pair<std::array<CVPixelBuffer::Plane, 2>, size_t> ownLayout(size_t width, size_t height, uint32_t format) {
  if (!isTwoPlane(format)) {
    const size_t bytesPerRow = width * packedBytesPerPixel(format);
    return {{{{nullptr, width, height, bytesPerRow}, {}}}, roundedUp(bytesPerRow * height, kPage)};
  }
  const size_t chromaWidth = (width + 1) / 2;
  const size_t chromaHeight = (height + 1) / 2;
  const CVPixelBuffer::Plane luma{nullptr, width, height, roundedUp(width, kRowAlignment)};
  const CVPixelBuffer::Plane chroma{nullptr, chromaWidth, chromaHeight, roundedUp(chromaWidth * 2, kRowAlignment)};
  const size_t lumaBytes = roundedUp(luma.bytesPerRow * roundedUp(height, kRowCountAlignment), kPage);
  const size_t chromaBytes = roundedUp(chroma.bytesPerRow * roundedUp(chromaHeight, kRowCountAlignment), kPage);
  return {{{luma, chroma}}, lumaBytes + chromaBytes};
}

}  // namespace

CVPixelBufferRef CVPixelBuffer::create(size_t width, size_t height, uint32_t pixelFormatType,
                                       const CVPixelBufferAttributes& attributes) {
  const bool twoPlane = isTwoPlane(pixelFormatType);
  if (!isSensible(width, height) || (!twoPlane && packedBytesPerPixel(pixelFormatType) == 0)) return nullptr;
  auto [planes, bytes] = ownLayout(width, height, pixelFormatType);
  void* memory = allocatePages(bytes);
  if (!memory) return nullptr;
  planes[0].baseAddress = memory;
  if (twoPlane) {
    const size_t chromaRows = roundedUp(planes[1].height, kRowCountAlignment);
    const size_t chromaBytes = roundedUp(planes[1].bytesPerRow * chromaRows, kPage);
    planes[1].baseAddress = static_cast<uint8_t*>(memory) + (bytes - chromaBytes);
  }
  auto release = [memory, size = bytes] { munmap(memory, size); };
  return twoPlane ? createWithPlanarBytes(width, height, pixelFormatType, planes, std::move(release), attributes)
                  : createWithBytes(width, height, pixelFormatType, memory, planes[0].bytesPerRow, std::move(release),
                                    attributes);
}

CVPixelBufferRef CVPixelBuffer::createWithBytes(size_t width, size_t height, uint32_t pixelFormatType,
                                                void* baseAddress, size_t bytesPerRow, std::function<void()> release,
                                                const CVPixelBufferAttributes& attributes) {
  const size_t bytesPerPixel = packedBytesPerPixel(pixelFormatType);
  if (!isSensible(width, height) || bytesPerPixel == 0 || !baseAddress) return nullptr;
  if (bytesPerRow < width * bytesPerPixel) return nullptr;
  CVPixelBufferRef buffer(new CVPixelBuffer);
  buffer->width_ = width;
  buffer->height_ = height;
  buffer->format_ = pixelFormatType;
  buffer->attributes_ = attributes;
  buffer->planes_[0] = {baseAddress, width, height, bytesPerRow};
  buffer->release_ = std::move(release);
  return buffer;
}

CVPixelBufferRef CVPixelBuffer::createWithPlanarBytes(size_t width, size_t height, uint32_t pixelFormatType,
                                                      const std::array<Plane, 2>& planes, std::function<void()> release,
                                                      const CVPixelBufferAttributes& attributes) {
  const auto& [luma, chroma] = planes;
  if (!isSensible(width, height) || !isTwoPlane(pixelFormatType)) return nullptr;
  if (!luma.baseAddress || luma.width != width || luma.height != height || luma.bytesPerRow < width) return nullptr;
  if (!chroma.baseAddress || !isHalf(chroma.width, width) || !isHalf(chroma.height, height)) return nullptr;
  if (chroma.bytesPerRow < chroma.width * 2) return nullptr;
  CVPixelBufferRef buffer(new CVPixelBuffer);
  buffer->width_ = width;
  buffer->height_ = height;
  buffer->format_ = pixelFormatType;
  buffer->attributes_ = attributes;
  buffer->planeCount_ = 2;
  buffer->planes_ = planes;
  buffer->release_ = std::move(release);
  return buffer;
}

CVPixelBuffer::CVPixelBuffer() : attachments_(std::make_unique<ZELPlatform::PixelBufferAttachments>()) {}

CVPixelBuffer::~CVPixelBuffer() {
  // What drivers made of the memory goes before the memory.
  attachments_.reset();
  if (release_) release_();
}
