// Flat pictures that a network enlarges: the parts, the window with stepped refreshes, and the program.

#include <ZELKit/ZELDirectPixelBufferSource.h>
#include <ZELPlatform/Foundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "apps/zelview/OffscreenRenderer.h"
#include "apps/zelview/RepeatingSource.h"
#include "apps/zelview/SplitComparison.h"
#include "apps/zelview/TwoPlanePicture.h"
#include "tests/zelview/SteppedViewer.h"

namespace zelview {
namespace {

using testing::HasSubstr;

constexpr Pixel kColours[] = {{0, 0, 0}, {255, 255, 255}, {255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {200, 120, 40}};

int byteAt(const CVPixelBuffer& frame, size_t plane, size_t x, size_t y) {
  return static_cast<const uint8_t*>(frame.plane(plane).baseAddress)[y * frame.plane(plane).bytesPerRow + x];
}

/// By the matrix that the library's programs have for frames of video.
Pixel shownColour(const CVPixelBuffer& frame) {
  const double y = 1.164 * (byteAt(frame, 0, 1, 1) - 16);
  const double blue = byteAt(frame, 1, 0, 0) - 128;
  const double red = byteAt(frame, 1, 1, 0) - 128;
  const auto level = [](double value) { return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L)); };
  return {level(y + 1.793 * red), level(y - 0.213 * blue - 0.533 * red), level(y + 2.112 * blue)};
}

TEST(TwoPlanePicture, ComesBackInItsColours) {
  for (const Pixel& colour : kColours) {
    const CVPixelBufferRef frame = makeTwoPlaneFrame(*makeImage(5, 3, [&](size_t, size_t) { return colour; }));
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->pixelFormatType(), uint32_t{kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange});
    const Pixel shown = shownColour(*frame);
    EXPECT_NEAR(shown.red, colour.red, 3);
    EXPECT_NEAR(shown.green, colour.green, 3);
    EXPECT_NEAR(shown.blue, colour.blue, 3);
    // Odd sides: the last pixel of colour stands for fewer of luma.
    EXPECT_EQ(byteAt(*frame, 1, 4, 1), byteAt(*frame, 1, 0, 0));
  }
}

TEST(RepeatingSource, HandsTheLastFrameOutAgainWhenAsked) {
  const auto inner = ZELDirectPixelBufferSource::create();
  RepeatingSource source(inner);
  source.repeat();
  EXPECT_FALSE(source.hasNewPixelBufferForTime(CACurrentMediaTime())) << "there is none";
  const CVPixelBufferRef frame = CVPixelBuffer::create(8, 4, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
  inner->updateWithPixelBuffer(frame, CMTime{});
  const double time = CACurrentMediaTime() + 1;
  EXPECT_TRUE(source.hasNewPixelBufferForTime(time));
  EXPECT_EQ(source.copyPixelBufferForTime(time), frame);
  EXPECT_FALSE(source.hasNewPixelBufferForTime(time + 1));
  EXPECT_EQ(source.copyPixelBufferForTime(time), nullptr) << "no later time, and not asked to repeat";
  source.repeat();
  EXPECT_TRUE(source.hasNewPixelBufferForTime(time));
  EXPECT_EQ(source.copyPixelBufferForTime(time), frame);
  EXPECT_FALSE(source.hasNewPixelBufferForTime(time));
  EXPECT_EQ(source.frameCount(), 2U);
}

TEST(LeftHalfSource, IsEachFramesLeftHalfWithoutACopy) {
  const auto inner = ZELDirectPixelBufferSource::create();
  const auto whole = std::make_shared<RepeatingSource>(inner);
  LeftHalfSource half(whole);
  EXPECT_FALSE(half.hasNewPixelBufferForTime(0));
  EXPECT_FALSE(half.copyPixelBufferForTime(0));
  const auto push = [&](uint32_t format) {
    const CVPixelBufferRef frame = CVPixelBuffer::create(7, 4, format);
    inner->updateWithPixelBuffer(frame, CMTime{});
    whole->copyPixelBufferForTime(CACurrentMediaTime() + static_cast<double>(whole->frameCount()));
    return frame;
  };
  const CVPixelBufferRef frame = push(kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
  EXPECT_TRUE(half.hasNewPixelBufferForTime(0));
  const CVPixelBufferRef left = half.copyPixelBufferForTime(0);
  ASSERT_TRUE(left);
  EXPECT_FALSE(half.hasNewPixelBufferForTime(0));
  EXPECT_EQ(left->width(), 2U);
  EXPECT_EQ(left->height(), 4U);
  EXPECT_EQ(left->plane(1).baseAddress, frame->plane(1).baseAddress);
  push(kCVPixelFormatType_32RGBA);
  EXPECT_FALSE(half.copyPixelBufferForTime(0)) << "a frame of one plane";
}

TEST(SplitComparison, TheHalfLiesWhereThePictureIs) {
  const auto half = [](CGSize view, size_t width, size_t height, int64_t gravity) {
    const CGRect frame = SplitComparison::leftHalfFrame(view, width, height, gravity);
    return std::vector<double>{frame.origin.x, frame.origin.y, frame.size.width, frame.size.height};
  };
  const CGSize view = CGSizeMake(400, 200);
  EXPECT_THAT(half(view, 100, 100, ZELContentGravityFit), testing::ElementsAre(100, 0, 100, 200));
  EXPECT_THAT(half(view, 100, 100, ZELContentGravityFill), testing::ElementsAre(0, -100, 200, 400));
  EXPECT_THAT(half(view, 102, 51, ZELContentGravityFit),
              testing::ElementsAre(0, 0, testing::DoubleNear(196.08, 0.01), 200));
}

TEST(JoinedHalves, AreTheLeftOfTheOneAndTheRightOfTheOtherWithALineBetween) {
  const auto left = makeImage(10, 2, [](size_t, size_t) { return Pixel{1, 2, 3}; });
  const auto right = makeImage(10, 2, [](size_t, size_t) { return Pixel{7, 8, 9}; });
  const auto joined = joinHalves(*left, *right);
  for (const size_t y : {size_t{0}, size_t{1}}) {
    EXPECT_EQ(pixelAt(*joined, 2, y), (Pixel{1, 2, 3}));
    EXPECT_EQ(pixelAt(*joined, 3, y), (Pixel{255, 96, 0}));
    EXPECT_EQ(pixelAt(*joined, 4, y), (Pixel{255, 96, 0}));
    EXPECT_EQ(pixelAt(*joined, 5, y), (Pixel{7, 8, 9}));
  }
  const auto narrow = makeImage(1, 1, [](size_t, size_t) { return Pixel{5, 5, 5}; });
  EXPECT_EQ(pixelAt(*joinHalves(*narrow, *narrow), 0, 0), (Pixel{5, 5, 5}));
}

#ifdef ZEL_WITH_NEURAL

/// Slanted bars, as sharp as pixels allow.
Pixel bars(size_t x, size_t y) {
  const uint8_t level = (x * 2 + y) / 9 % 2 == 0 ? 40 : 220;
  return {level, level, level};
}

/// The mean difference of neighbours in the middle third of the columns from `from` on: sharper pictures have the same
/// sum over an edge in fewer pixels, so the mean of squares grows.
double sharpness(const CGImage& image, size_t from, size_t to) {
  double sum = 0;
  for (size_t y = 20; y + 20 < image.height(); ++y) {
    for (size_t x = from; x < to; ++x) {
      const double step = pixelAt(image, x + 1, y).green - pixelAt(image, x, y).green;
      sum += step * step;
    }
  }
  return sum;
}

class SuperResolutionWindow : public SteppedViewer {
 protected:
  void SetUp() override {
    SteppedViewer::SetUp();
    ASSERT_EQ(CGImageWritePNG(*makeImage(160, 90, bars), folder_.file("in.png")), "");
    open(ControllerChoice::Relative, {}, ZELProjectionTypeFlat);
    if (!viewer_->renderView()->usesMetal()) GTEST_SKIP() << "Metal does not draw here";
  }

  /// Refreshes until what becomes of the frame begins so; the network is prepared on another thread.
  bool becomes(const std::string& wanted) {
    for (int round = 0; round < 3000; ++round) {
      clock_->advance(1.0 / 60);
      refresh();
      NSRunLoop::mainRunLoop().runPending();
      if (viewer_->renderView()->superResolutionStatus().description.starts_with(wanted)) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
  }

  /// Everything in the window.
  std::shared_ptr<CGImage> shown() {
    for (int i = 0; i < 3; ++i) {
      clock_->advance(1.0 / 60);
      refresh();
      NSRunLoop::mainRunLoop().runPending();
    }
    viewer_->renderView()->takeSnapshot();
    UIWindow& window = *viewer_->window();
    UIGraphicsBeginImageContextWithOptions(window.bounds().size, true, 0.0);
    window.drawViewHierarchyInRect(window.bounds(), true);
    const std::shared_ptr<UIImage> image = UIGraphicsGetImageFromCurrentImageContext();
    UIGraphicsEndImageContext();
    return image->cgImage();
  }
};

TEST_F(SuperResolutionWindow, KeysSwitchItAndCompareInAStillPicture) {
  EXPECT_TRUE(becomes("off: "));
  press("u");
  ASSERT_TRUE(becomes("on: luma enlarged from 160x90 to 320x180"));
  const auto enlarged = shown();
  press("u");
  ASSERT_TRUE(becomes("off: it is switched off"));
  const auto plain = shown();
  EXPECT_GT(sharpness(*enlarged, 700, 1200), 1.2 * sharpness(*plain, 700, 1200));

  press("x");
  ASSERT_TRUE(becomes("on: "));
  const auto split = shown();
  EXPECT_EQ(sharpness(*split, 700, 1200), sharpness(*enlarged, 700, 1200));
  EXPECT_NEAR(sharpness(*split, 100, 600), sharpness(*plain, 100, 600), 0.01 * sharpness(*plain, 100, 600));
  EXPECT_EQ(pixelAt(*split, 639, 300), (Pixel{255, 96, 0}));
  press("2");
  EXPECT_TRUE(becomes("off: the projection is not flat"));
  press("1");
  EXPECT_TRUE(becomes("on: "));
  press("x");
  EXPECT_TRUE(becomes("off: it is switched off"));
  EXPECT_EQ(sharpness(*shown(), 100, 600), sharpness(*plain, 100, 600));
}

#endif  // ZEL_WITH_NEURAL

}  // namespace
}  // namespace zelview
