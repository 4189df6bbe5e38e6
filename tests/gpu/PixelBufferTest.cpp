#include <ZELPlatform/CoreVideo.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace {

using Plane = CVPixelBuffer::Plane;

constexpr uint32_t kTwoPlane = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;

TEST(PixelBuffer, PackedRowsHaveNoPadding) {
  for (const auto& [format, bytesPerPixel] :
       {std::pair{kCVPixelFormatType_32BGRA, 4U}, {kCVPixelFormatType_32RGBA, 4U}, {kCVPixelFormatType_16LE565, 2U}}) {
    const auto buffer = CVPixelBuffer::create(37, 5, format);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->planeCount(), 0U);
    EXPECT_EQ(buffer->bytesPerRow(), 37U * bytesPerPixel);
    EXPECT_EQ(buffer->plane(0).baseAddress, buffer->baseAddress());
    EXPECT_EQ(buffer->plane(1).baseAddress, nullptr);
    const auto* bytes = static_cast<const uint8_t*>(buffer->baseAddress());
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 5 * buffer->bytesPerRow()),
              std::vector<uint8_t>(5 * buffer->bytesPerRow()));
  }
}

TEST(PixelBuffer, TwoPlanesCanBeImportedByDrivers) {
  const auto buffer = CVPixelBuffer::create(1281, 721, kTwoPlane);
  ASSERT_TRUE(buffer);
  ASSERT_EQ(buffer->planeCount(), 2U);
  const Plane luma = buffer->plane(0);
  const Plane chroma = buffer->plane(1);
  EXPECT_EQ(luma.width, 1281U);
  EXPECT_EQ(luma.height, 721U);
  EXPECT_EQ(chroma.width, 641U);
  EXPECT_EQ(chroma.height, 361U);
  for (const Plane& plane : {luma, chroma}) {
    EXPECT_EQ(reinterpret_cast<uintptr_t>(plane.baseAddress) % 4096, 0U);
    EXPECT_EQ(plane.bytesPerRow % 64, 0U);
  }
  EXPECT_GE(luma.bytesPerRow, 1281U);
  EXPECT_GE(chroma.bytesPerRow, 1282U);
  // Rows up to a multiple of four are there, and planes do not overlap.
  auto* lumaBytes = static_cast<uint8_t*>(luma.baseAddress);
  auto* chromaBytes = static_cast<uint8_t*>(chroma.baseAddress);
  EXPECT_GE(chromaBytes, lumaBytes + 724 * luma.bytesPerRow);
  chromaBytes[364 * chroma.bytesPerRow - 1] = 1;
}

TEST(PixelBuffer, RefusesSizesAndFormatsThatMakeNoSense) {
  EXPECT_FALSE(CVPixelBuffer::create(0, 5, kTwoPlane));
  EXPECT_FALSE(CVPixelBuffer::create(65537, 1, kCVPixelFormatType_32RGBA));
  EXPECT_FALSE(CVPixelBuffer::create(4, 4, 0x12345678));
  EXPECT_TRUE(CVPixelBuffer::create(65536, 1, kCVPixelFormatType_32RGBA));
  EXPECT_TRUE(CVPixelBuffer::create(1, 1, kTwoPlane));
}

TEST(PixelBuffer, BorrowedMemoryIsReleasedOnceWithTheLastReference) {
  std::vector<uint8_t> memory(64 * 16);
  int released = 0;
  const auto release = [&released] { ++released; };
  auto packed = CVPixelBuffer::createWithBytes(16, 16, kCVPixelFormatType_32BGRA, memory.data(), 64, release);
  ASSERT_TRUE(packed);
  EXPECT_EQ(packed->baseAddress(), memory.data());
  CVPixelBufferRef other = packed;
  packed.reset();
  EXPECT_EQ(released, 0);
  other.reset();
  EXPECT_EQ(released, 1);

  uint8_t* bytes = memory.data();
  auto planar = CVPixelBuffer::createWithPlanarBytes(15, 15, kTwoPlane,
                                                     {Plane{bytes, 15, 15, 16}, Plane{bytes + 256, 7, 7, 16}}, release);
  ASSERT_TRUE(planar) << "an odd side may have its chroma rounded down";
  EXPECT_EQ(planar->plane(1).baseAddress, bytes + 256);
  planar.reset();
  EXPECT_EQ(released, 2);

  const auto refused = [&](const Plane& luma, const Plane& chroma) {
    return !CVPixelBuffer::createWithPlanarBytes(16, 16, kTwoPlane, {luma, chroma}, release);
  };
  EXPECT_TRUE(refused({bytes, 16, 16, 15}, {bytes, 8, 8, 16})) << "short rows";
  EXPECT_TRUE(refused({bytes, 16, 16, 16}, {bytes, 8, 8, 15})) << "short chroma rows";
  EXPECT_TRUE(refused({bytes, 16, 16, 16}, {nullptr, 8, 8, 16}));
  EXPECT_TRUE(refused({bytes, 16, 16, 16}, {bytes, 16, 8, 32})) << "not half as wide";
  EXPECT_FALSE(CVPixelBuffer::createWithBytes(16, 16, kCVPixelFormatType_32BGRA, bytes, 63, release));
  EXPECT_FALSE(CVPixelBuffer::createWithBytes(16, 16, kCVPixelFormatType_32BGRA, nullptr, 64, release));
  EXPECT_FALSE(CVPixelBuffer::createWithBytes(16, 16, kTwoPlane, bytes, 64, release));
  EXPECT_EQ(released, 2);
}

}  // namespace
