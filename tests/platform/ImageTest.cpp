#include <ZELPlatform/CoreGraphics.h>
#include <ZELPlatform/UIImage.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

#include "platform/uikit/ImageContext.h"

namespace {

using testing::ElementsAre;
using Pixel = std::array<uint8_t, 4>;

constexpr auto opaque = CGImageAlphaInfo::NoneSkipLast;
constexpr auto withAlpha = CGImageAlphaInfo::PremultipliedLast;

std::shared_ptr<CGImage> imageOf(size_t width, size_t height, CGImageAlphaInfo alphaInfo,
                                 const std::vector<Pixel>& pixels) {
  std::vector<uint8_t> bytes;
  for (const Pixel& pixel : pixels) bytes.insert(bytes.end(), pixel.begin(), pixel.end());
  return CGImage::create(width, height, width * 4, alphaInfo, std::move(bytes));
}

Pixel pixelOf(const CGImage& image, size_t x, size_t y) {
  const uint8_t* p = image.bytes() + y * image.bytesPerRow() + x * 4;
  return {p[0], p[1], p[2], p[3]};
}

TEST(CGImage, RefusesTooFewBytes) {
  EXPECT_TRUE(CGImage::create(2, 2, 12, opaque, std::vector<uint8_t>(24)));
  EXPECT_FALSE(CGImage::create(2, 2, 12, opaque, std::vector<uint8_t>(23)));
  EXPECT_FALSE(CGImage::create(2, 2, 7, opaque, std::vector<uint8_t>(24)));
  EXPECT_FALSE(CGImage::create(0, 2, 12, opaque, std::vector<uint8_t>(24)));
  constexpr size_t huge = std::numeric_limits<size_t>::max();
  EXPECT_FALSE(CGImage::create(huge, 1, huge, opaque, std::vector<uint8_t>(24)));
  EXPECT_FALSE(CGBitmapContext::create(nullptr, 0, 4, 16, opaque));
  EXPECT_FALSE(CGBitmapContext::create(nullptr, 4, 4, 15, opaque));
}

TEST(CGBitmapContext, CopiesAnImageOfTheSameSizeAndClipsIt) {
  std::vector<uint8_t> memory(60, 7);  // Rows of four pixels and four bytes of padding.
  const auto context = CGBitmapContext::create(memory.data(), 4, 3, 20, withAlpha);
  const auto image = imageOf(2, 2, opaque, {{1, 2, 3, 0}, {4, 5, 6, 0}, {10, 20, 30, 0}, {40, 50, 60, 0}});
  context->drawImage(*image, CGRectMake(-1, 2, 2, 2));
  context->drawImage(*image, CGRectMake(3, -1, 2, 2));
  context->drawImage(*image, CGRectMake(1, 1, -2, 2));
  context->drawImage(*image, CGRectMake(1e300, 0, 2, 2));
  const auto result = context->createImage();
  EXPECT_THAT(pixelOf(*result, 0, 2), ElementsAre(4, 5, 6, 255));
  EXPECT_THAT(pixelOf(*result, 3, 0), ElementsAre(10, 20, 30, 255));
  EXPECT_THAT(pixelOf(*result, 0, 1), ElementsAre(7, 7, 7, 7));
  EXPECT_THAT(pixelOf(*result, 1, 2), ElementsAre(7, 7, 7, 7));
  EXPECT_EQ(memory[59], 7) << "the padding is not touched";
}

TEST(CGBitmapContext, SharesAnImageThatCoversItUntilMoreIsDrawn) {
  const auto base = imageOf(2, 1, opaque, {{1, 2, 3, 255}, {4, 5, 6, 255}});
  const auto context = CGBitmapContext::create(nullptr, 2, 1, 8, opaque);
  context->drawImage(*base, CGRectMake(0, 0, 2, 1));
  const auto first = context->createImage();
  EXPECT_EQ(first->bytes(), base->bytes());
  context->drawImage(*imageOf(1, 1, opaque, {{7, 8, 9, 255}}), CGRectMake(1, 0, 1, 1));
  const auto second = context->createImage();
  EXPECT_THAT(pixelOf(*second, 0, 0), ElementsAre(1, 2, 3, 255));
  EXPECT_THAT(pixelOf(*second, 1, 0), ElementsAre(7, 8, 9, 255));
  EXPECT_THAT(pixelOf(*first, 1, 0), ElementsAre(4, 5, 6, 255)) << "an image does not change";
}

TEST(CGBitmapContext, DrawsPremultipliedColoursOverWhatIsThere) {
  const auto half = imageOf(1, 1, withAlpha, {{100, 0, 0, 128}});
  const auto base = imageOf(1, 1, withAlpha, {{0, 200, 0, 200}});
  for (const auto& [alphaInfo, alpha] : {std::pair{withAlpha, 228}, {opaque, 255}}) {
    const auto context = CGBitmapContext::create(nullptr, 1, 1, 4, alphaInfo);
    context->drawImage(*base, CGRectMake(0, 0, 1, 1));
    context->drawImage(*half, CGRectMake(0, 0, 1, 1));
    // 200 * (1 - 128/255) = 99.6, and 128 + 99.6 for alpha.
    EXPECT_THAT(pixelOf(*context->createImage(), 0, 0), ElementsAre(100, 100, 0, alpha));
  }
}

TEST(CGBitmapContext, ScalesBilinearly) {
  const size_t size = 64;
  std::vector<Pixel> ramp;
  for (size_t i = 0; i < size * size; ++i) {
    ramp.push_back({static_cast<uint8_t>(i % size * 4), static_cast<uint8_t>(i / size * 4), 50, 9});
  }
  const auto image = imageOf(size, size, opaque, ramp);
  for (const size_t scaled : {size * 3, size / 4, size + 5}) {
    const auto context = CGBitmapContext::create(nullptr, scaled, scaled, scaled * 4, opaque);
    context->drawImage(*image, CGRectMake(0, 0, double(scaled), double(scaled)));
    const auto result = context->createImage();
    for (size_t i = scaled / 8; i < scaled * 7 / 8; ++i) {
      const double expected = ((double(i) + 0.5) * size / double(scaled) - 0.5) * 4;
      // The scaler knows sixteen places between two pixels, which lie 4 apart, and rounds.
      ASSERT_NEAR(pixelOf(*result, i, scaled / 2)[0], expected, 1.25) << scaled;
      ASSERT_NEAR(pixelOf(*result, scaled / 2, i)[1], expected, 1.25) << scaled;
      ASSERT_THAT(pixelOf(*result, i, i)[2], 50);
      ASSERT_THAT(pixelOf(*result, i, i)[3], 255);
    }
  }
}

TEST(CGBitmapContext, ScalingLetsNoColourOutOfTransparentPixels) {
  // Left half opaque red, right half clear: between them red fades, and nothing darkens.
  std::vector<Pixel> pixels(64);
  for (size_t i = 0; i < 64; ++i) {
    if (i % 8 < 4) pixels[i] = {255, 0, 0, 255};
  }
  const auto context = CGBitmapContext::create(nullptr, 40, 40, 160, withAlpha);
  context->drawImage(*imageOf(8, 8, withAlpha, pixels), CGRectMake(-10, 0, 60, 40));
  const auto result = context->createImage();
  for (size_t x = 0; x < 40; ++x) {
    const Pixel pixel = pixelOf(*result, x, 20);
    ASSERT_NEAR(pixel[0], pixel[3], 1) << x;
  }
  EXPECT_EQ(pixelOf(*result, 15, 20)[3], 255) << "the part that is seen begins ten pixels into the picture";
  EXPECT_EQ(pixelOf(*result, 25, 20)[3], 0);
  context->drawImage(*imageOf(2, 1, opaque, {{1, 2, 3, 0}, {201, 2, 3, 0}}), CGRectMake(30, 30, 8, 5));
  const auto covered = context->createImage();
  EXPECT_THAT(pixelOf(*covered, 30, 30), ElementsAre(1, 2, 3, 255));
  EXPECT_THAT(pixelOf(*covered, 37, 34), ElementsAre(201, 2, 3, 255));
  EXPECT_EQ(pixelOf(*covered, 29, 34), pixelOf(*result, 29, 34));
  EXPECT_EQ(pixelOf(*covered, 38, 34), pixelOf(*result, 38, 34));
}

TEST(UIImage, HasASizeInPoints) {
  const auto bitmap = imageOf(3, 2, opaque, std::vector<Pixel>(6));
  EXPECT_TRUE(CGSizeEqualToSize(UIImage::create(bitmap, 2)->size(), CGSizeMake(1.5, 1)));
  EXPECT_TRUE(CGSizeEqualToSize(UIImage::createWithSize(bitmap, {7, 5}, 2)->size(), CGSizeMake(7, 5)));
  EXPECT_FALSE(UIImage::create(nullptr));
  EXPECT_FALSE(UIImage::create(bitmap, 0));
  EXPECT_FALSE(UIImage::create(bitmap, -1));
  EXPECT_FALSE(UIImage::create(bitmap, std::nan("")));
}

TEST(UIImage, ImageContextsNestAndBelongToTheirThread) {
  EXPECT_FALSE(UIGraphicsGetImageFromCurrentImageContext());
  UIGraphicsBeginImageContextWithOptions({1.1, 2.01}, false, 10);
  UIGraphicsBeginImageContextWithOptions({4, 0}, true, 2);
  EXPECT_FALSE(UIGraphicsGetImageFromCurrentImageContext()) << "a zero size";
  UIGraphicsBeginImageContextWithOptions({4, 4}, true, 2);
  std::thread([] { EXPECT_FALSE(ZELPlatform::currentImageContext()); }).join();
  ZELPlatform::currentImageContext()->bitmap->drawImage(*imageOf(1, 1, opaque, {{9, 8, 7, 0}}), CGRectMake(0, 0, 1, 1));
  const auto inner = UIGraphicsGetImageFromCurrentImageContext();
  EXPECT_EQ(inner->cgImage()->alphaInfo(), opaque);
  EXPECT_THAT(pixelOf(*inner->cgImage(), 0, 0), ElementsAre(9, 8, 7, 255));
  UIGraphicsEndImageContext();
  UIGraphicsEndImageContext();
  const auto outer = UIGraphicsGetImageFromCurrentImageContext();
  ASSERT_TRUE(outer);
  EXPECT_EQ(outer->cgImage()->width(), 11u);
  EXPECT_EQ(outer->cgImage()->height(), 21u) << "rounded up";
  EXPECT_THAT(pixelOf(*outer->cgImage(), 0, 0), ElementsAre(0, 0, 0, 0));
  UIGraphicsEndImageContext();
  EXPECT_FALSE(ZELPlatform::currentImageContext());
  UIGraphicsEndImageContext();
}

}  // namespace
