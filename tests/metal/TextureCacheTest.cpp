// Planes of pixel buffers as textures: without a copy where the memory allows it, uploaded where it does not.

#include "MetalSupport.h"

#include "platform/corevideo/PixelBufferAttachments.h"

#include <sys/mman.h>

#include <cstring>

namespace metaltest {
namespace {

constexpr size_t kWidth = 192;
constexpr size_t kHeight = 108;

/// Memory that begins `shift` bytes into a page.
class Pages {
 public:
  explicit Pages(size_t bytes, size_t shift = 0) : size_(bytes + shift) {
    base_ = static_cast<uint8_t*>(mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    shift_ = shift;
  }
  ~Pages() { munmap(base_, size_); }
  Pages(const Pages&) = delete;
  Pages& operator=(const Pages&) = delete;
  uint8_t* bytes() const { return base_ + shift_; }

 private:
  uint8_t* base_;
  size_t size_;
  size_t shift_;
};

/// A pattern that differs in every row and column.
void paint(CVPixelBuffer& buffer, unsigned seed) {
  for (size_t p = 0; p < std::max<size_t>(1, buffer.planeCount()); ++p) {
    const CVPixelBuffer::Plane plane = buffer.plane(p);
    const size_t rowBytes = plane.width * (buffer.planeCount() == 0 ? 4 : p + 1);
    for (size_t y = 0; y < plane.height; ++y) {
      auto* row = static_cast<uint8_t*>(plane.baseAddress) + y * plane.bytesPerRow;
      for (size_t x = 0; x < rowBytes; ++x) row[x] = static_cast<uint8_t>(x * 3 + y * 5 + seed * 11 + p * 77);
    }
  }
}

class TextureCacheTest : public MetalTest {
 protected:
  void SetUp() override {
    MetalTest::SetUp();
    if (!device) return;
    capabilities_ = gpu().capabilities();
    cache_ = CVMetalTextureCache::create(device);
    ASSERT_TRUE(cache_);
    quad_ = std::make_unique<Quad>(*device);
  }

  void TearDown() override {
    if (device) gpu().replaceableCapabilities() = capabilities_;
    MetalTest::TearDown();
  }

  void forceUpload() { gpu().replaceableCapabilities().hostImport = false; }

  /// The picture of a two-plane buffer, through a draw.
  std::vector<uint8_t> draw(const CVPixelBufferRef& pixels) {
    const auto luma =
        cache_->createTextureFromImage(pixels, MTLPixelFormatR8Unorm, pixels->width(), pixels->height(), 0);
    const auto chroma =
        cache_->createTextureFromImage(pixels, MTLPixelFormatRG8Unorm, pixels->width() / 2, pixels->height() / 2, 1);
    EXPECT_TRUE(luma && chroma);
    const auto shown = target(pixels->width(), pixels->height());
    const auto buffer = queue->commandBuffer();
    const auto encoder = buffer->renderCommandEncoderWithDescriptor(passOn(shown));
    encoder->setRenderPipelineState(renderPipeline("fs_planes"));
    encoder->setFragmentTexture(CVMetalTextureGetTexture(luma), 0);
    encoder->setFragmentTexture(CVMetalTextureGetTexture(chroma), 1);
    quad_->draw(*encoder, {});
    encoder->endEncoding();
    buffer->commit();
    return shown->_bytes();
  }

  std::shared_ptr<CVMetalTextureCache> cache_;
  std::unique_ptr<Quad> quad_;

 private:
  ZELPlatform::vulkan::Capabilities capabilities_;
};

TEST_F(TextureCacheTest, ImportedAndUploadedPlanesGiveTheSamePicture) {
  if (!gpu().capabilities().hostImport) GTEST_SKIP() << "the device cannot import host memory";
  const auto pixels = CVPixelBuffer::create(kWidth, kHeight, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
  paint(*pixels, 1);
  const uint64_t copiedBefore = pixelCounters().uploadedBytes;
  const auto imported = draw(pixels);
  EXPECT_EQ(pixelCounters().uploadedBytes, copiedBefore);
  // A new frame in the same buffer is seen without any copy.
  paint(*pixels, 2);
  const auto second = draw(pixels);
  EXPECT_EQ(pixelCounters().uploadedBytes, copiedBefore);
  EXPECT_NE(imported, second);

  forceUpload();
  const auto again = CVPixelBuffer::create(kWidth, kHeight, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
  paint(*again, 1);
  cache_ = CVMetalTextureCache::create(device);
  const auto uploaded = draw(again);
  EXPECT_EQ(pixelCounters().uploadedBytes, copiedBefore + kWidth * kHeight * 3 / 2);
  EXPECT_EQ(imported, uploaded);
  // Texel centres meet pixel centres in the luma plane, which the draw shows as red.
  for (size_t y = 0; y < kHeight; ++y) {
    for (size_t x = 0; x < kWidth; ++x) {
      ASSERT_EQ(uploaded[(y * kWidth + x) * 4 + 2], static_cast<uint8_t>(x * 3 + y * 5 + 11)) << x << ", " << y;
    }
  }
}

/// How memory lies that a driver may or may not take as it is.
struct Layout {
  const char* name;
  uint32_t format;
  MTLPixelFormat pixelFormat;
  size_t width;
  size_t height;
  size_t bytesPerRow;
  size_t shift;
  /// Whether the software driver takes it: rows of whole 64 bytes, four at a time, from the start of a page.
  bool taken;
};

class PackedLayouts : public TextureCacheTest, public testing::WithParamInterface<Layout> {};

TEST_P(PackedLayouts, ReachTheGpuWholeEitherWay) {
  const Layout& layout = GetParam();
  const size_t lastByte = layout.bytesPerRow * (layout.height - 1) + layout.width * 4;
  // No byte behind the last page of the last row is there.
  const Pages pages((lastByte + layout.shift + 4095) / 4096 * 4096 - layout.shift, layout.shift);
  const auto pixels =
      CVPixelBuffer::createWithBytes(layout.width, layout.height, layout.format, pages.bytes(), layout.bytesPerRow);
  ASSERT_TRUE(pixels);
  paint(*pixels, 3);
  const uint64_t copiedBefore = pixelCounters().uploadedBytes;
  const auto wrapped = cache_->createTextureFromImage(pixels, layout.pixelFormat, layout.width, layout.height, 0);
  ASSERT_TRUE(wrapped);
  const bool copied = pixelCounters().uploadedBytes != copiedBefore;
  if (gpu().capabilities().software) {
    EXPECT_EQ(copied, !layout.taken);
  }
  const std::vector<uint8_t> bytes = wrapped->texture()->_bytes();
  ASSERT_EQ(bytes.size(), layout.width * layout.height * 4);
  for (size_t y = 0; y < layout.height; ++y) {
    ASSERT_EQ(
        std::memcmp(bytes.data() + y * layout.width * 4, pages.bytes() + y * layout.bytesPerRow, layout.width * 4), 0)
        << "row " << y;
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, PackedLayouts,
    testing::Values(Layout{"tight", kCVPixelFormatType_32BGRA, MTLPixelFormatBGRA8Unorm, 64, 32, 256, 0, true},
                    Layout{"rgba", kCVPixelFormatType_32RGBA, MTLPixelFormatRGBA8Unorm, 64, 32, 256, 0, true},
                    Layout{"padded", kCVPixelFormatType_32BGRA, MTLPixelFormatBGRA8Unorm, 60, 32, 256, 0, true},
                    Layout{"widePitch", kCVPixelFormatType_32BGRA, MTLPixelFormatBGRA8Unorm, 64, 32, 512, 0, false},
                    Layout{"oddPitch", kCVPixelFormatType_32BGRA, MTLPixelFormatBGRA8Unorm, 63, 32, 253, 0, false},
                    Layout{"unaligned", kCVPixelFormatType_32BGRA, MTLPixelFormatBGRA8Unorm, 64, 32, 256, 64, false},
                    Layout{"oddRows", kCVPixelFormatType_32BGRA, MTLPixelFormatBGRA8Unorm, 1024, 33, 4096, 0, false}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(TextureCacheTest, TheMemoryIsGivenBackOnlyAfterTheGpu) {
  auto pages = std::make_shared<Pages>(64 * 64 * 4);
  bool released = false;
  auto pixels = CVPixelBuffer::createWithBytes(64, 64, kCVPixelFormatType_32BGRA, pages->bytes(), 256, [&] {
    pages.reset();
    released = true;
  });
  auto wrapped = cache_->createTextureFromImage(pixels, MTLPixelFormatBGRA8Unorm, 64, 64, 0);
  ASSERT_TRUE(wrapped);
  const bool imported = wrapped->texture() && pixels.use_count() > 1;
  pixels.reset();
  EXPECT_EQ(imported, gpu().capabilities().hostImport);
  const auto shown = target(64, 64);
  const auto first = queue->commandBuffer();
  const auto second = queue->commandBuffer();
  first->enqueue();
  const auto encoder = second->renderCommandEncoderWithDescriptor(passOn(shown));
  encoder->setRenderPipelineState(renderPipeline("fs_texture"));
  encoder->setFragmentTexture(wrapped->texture(), 0);
  quad_->draw(*encoder, {});
  encoder->endEncoding();
  second->commit();
  wrapped.reset();
  // The work waits for its turn and still has the texture.
  EXPECT_EQ(released, !imported);
  first->commit();
  second->waitUntilCompleted();
  EXPECT_TRUE(released);
}

TEST_F(TextureCacheTest, WhatCannotBeATextureIsAbsent) {
  const auto pixels = CVPixelBuffer::create(16, 16, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
  const auto make = [&](const CVPixelBufferRef& image, MTLPixelFormat format, size_t width, size_t height,
                        size_t plane) {
    return cache_->createTextureFromImage(image, format, width, height, plane) != nullptr;
  };
  EXPECT_TRUE(make(pixels, MTLPixelFormatR8Unorm, 16, 16, 0));
  EXPECT_FALSE(make(nullptr, MTLPixelFormatR8Unorm, 16, 16, 0));
  EXPECT_FALSE(make(pixels, MTLPixelFormatInvalid, 16, 16, 0));
  EXPECT_FALSE(make(pixels, MTLPixelFormatR8Unorm, 0, 16, 0));
  EXPECT_FALSE(make(pixels, MTLPixelFormatR8Unorm, 17, 16, 0));
  EXPECT_FALSE(make(pixels, MTLPixelFormatR8Unorm, 16, 17, 0));
  EXPECT_FALSE(make(pixels, MTLPixelFormatR8Unorm, 8, 8, 2));
  // Rows too short for the format.
  const auto small = CVPixelBuffer::create(16, 16, kCVPixelFormatType_16LE565);
  EXPECT_FALSE(make(small, MTLPixelFormatBGRA8Unorm, 16, 16, 0));
  const size_t tooLarge = device->maximumTextureSize() + 1;
  const auto wide = CVPixelBuffer::create(tooLarge, 1, kCVPixelFormatType_32BGRA);
  EXPECT_FALSE(make(wide, MTLPixelFormatBGRA8Unorm, tooLarge, 1, 0));
  EXPECT_FALSE(CVMetalTextureCache::create(nullptr));
}

TEST_F(TextureCacheTest, StorageIsUsedAgainAndForgottenWithItsSize) {
  forceUpload();
  const auto frame = [this](size_t width) {
    const auto pixels = CVPixelBuffer::create(width, 16, kCVPixelFormatType_32BGRA);
    paint(*pixels, 1);
    return cache_->createTextureFromImage(pixels, MTLPixelFormatBGRA8Unorm, width, 16, 0);
  };
  for (int i = 0; i < 5; ++i) frame(64)->texture()->_bytes();
  const int64_t warm = pixelCounters().gpuObjects;
  const uint64_t made = pixelCounters().gpuObjectsMade;
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(frame(64)->texture()->_bytes().size() == 64 * 16 * 4);
  EXPECT_LE(pixelCounters().gpuObjectsMade, made + kMadeAtThePeak);
  // Another size in between takes storage of its own; in the end only the last size has some.
  for (size_t width = 1; width <= 50; ++width) frame(width)->texture()->_bytes();
  for (int i = 0; i < 20; ++i) frame(64)->texture()->_bytes();
  EXPECT_LE(pixelCounters().gpuObjects, warm + kMadeAtThePeak);
  const int64_t before = pixelCounters().gpuObjects;
  cache_->flush();
  cache_->flush();
  EXPECT_LT(pixelCounters().gpuObjects, before);
}

}  // namespace
}  // namespace metaltest
