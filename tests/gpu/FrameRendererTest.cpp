#include <ZELKit/ZELFrameRenderer.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <memory>

#include "gpu/RenderComparison.h"
#include "gpu/RenderHarness.h"

// Frames drawn into the planes of frames, against the reference.

namespace ZELTest {
namespace {

constexpr uint32_t kFormat = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
constexpr int kWidth = 320;
constexpr int kHeight = 180;
/// The software driver rounds to eight bits after each of a sample's two steps, and the target once more.
constexpr double kTolerance = 1.5;
constexpr int kBlack[2] = {16, 128};

struct Content {
  const char* name;
  Layout layout;
  std::shared_ptr<ZELProjection> (*projection)();
  double padding;
  size_t width;
  size_t height;
};

const Content kContents[] = {
    {"FlatFit", Layout::FlatFit, [] { return ZELProjection::flatWithContentGravity(ZELContentGravityFit); }, 0, 400,
     180},
    {"FlatFill", Layout::FlatFill, [] { return ZELProjection::flatWithContentGravity(ZELContentGravityFill); }, 0, 400,
     180},
    {"Equirectangular", Layout::Equirectangular, [] { return ZELProjection::equirectangular(); }, 0, 384, 192},
    {"PaddedCubemap", Layout::Cubemap, [] { return ZELProjection::cubemapWithPadding(16); }, 16, 384, 256},
    {"SegmentedSphere", Layout::SegmentedSphere, [] { return ZELProjection::segmentedSphere(); }, 0, 384, 192},
};

/// Bilinear between the centres of a plane's samples, clamped to its edge.
double sampleOf(const CVPixelBuffer::Plane& plane, size_t channels, size_t channel, double u, double v) {
  const auto at = [&](double x, double y) -> double {
    const auto column = static_cast<size_t>(std::clamp(x, 0.0, static_cast<double>(plane.width - 1)));
    const auto row = static_cast<size_t>(std::clamp(y, 0.0, static_cast<double>(plane.height - 1)));
    return static_cast<const uint8_t*>(plane.baseAddress)[row * plane.bytesPerRow + column * channels + channel];
  };
  const double x = u * static_cast<double>(plane.width) - 0.5;
  const double y = v * static_cast<double>(plane.height) - 0.5;
  const double left = std::floor(x);
  const double top = std::floor(y);
  const double upper = std::lerp(at(left, top), at(left + 1, top), x - left);
  const double lower = std::lerp(at(left, top + 1), at(left + 1, top + 1), x - left);
  return std::lerp(upper, lower, y - top);
}

class FrameRenderer : public testing::TestWithParam<Content> {
 protected:
  void SetUp() override {
    for (const BackEnd& backEnd : backEnds()) {
      if (backEnd.metal && !backEnd.unavailableReason().empty()) GTEST_SKIP() << backEnd.unavailableReason();
    }
    renderer_ = ZELFrameRenderer::create();
    ASSERT_TRUE(renderer_);
  }

  /// Of one plane of the target: how far it is off the reference, elsewhere than at discontinuities.
  static double worstOf(const CVPixelBuffer& frame, const CVPixelBuffer& target, Shot shot, size_t index) {
    const CVPixelBuffer::Plane drawn = target.plane(index);
    shot.pixelsWide = static_cast<int>(drawn.width);
    shot.pixelsHigh = static_cast<int>(drawn.height);
    double worst = 0.0;
    for (int row = 0; row < shot.pixelsHigh; ++row) {
      for (int column = 0; column < shot.pixelsWide; ++column) {
        const std::optional<Sample> sample = sampleAt(shot, column, row);
        if (sample && sample->ambiguous) continue;
        for (size_t channel = 0; channel <= index; ++channel) {
          const double wanted =
              sample ? sampleOf(frame.plane(index), index + 1, channel, sample->u, sample->v) : kBlack[index];
          const auto* bytes = static_cast<const uint8_t*>(drawn.baseAddress);
          const size_t at = row * drawn.bytesPerRow + column * (index + 1) + channel;
          worst = std::max(worst, std::abs(bytes[at] - wanted));
        }
      }
    }
    return worst;
  }

  std::shared_ptr<ZELFrameRenderer> renderer_;
};

TEST_P(FrameRenderer, DrawsEachPlaneFromItsOwn) {
  const Content& content = GetParam();
  Shot shot;
  shot.layout = content.layout;
  shot.padding = content.padding;
  shot.pointsWide = kWidth;
  shot.pointsHigh = kHeight;
  shot.frameWide = static_cast<double>(content.width);
  shot.frameHigh = static_cast<double>(content.height);
  const CVPixelBufferRef target = CVPixelBuffer::create(kWidth, kHeight, kFormat);
  const CVPixelBufferRef frames[] = {smoothFrame(kFormat, content.width, content.height, WavingPlane::Luma),
                                     smoothFrame(kFormat, content.width, content.height, WavingPlane::Chroma)};
  CameraController camera;
  double worst = 0.0;
  for (const double zoom : {1.0, 0.4, 3.0}) {
    shot.zoom = zoom;
    shot.camera = rotation(140 * zoom, 35 / zoom, 20, zoom > 1);
    camera.look(shot.camera);
    for (const CVPixelBufferRef& frame : frames) {
      ASSERT_TRUE(renderer_->renderFrame(frame, target, content.projection(), camera.viewMatrix(), zoom));
      for (const size_t plane : {0U, 1U}) worst = std::max(worst, worstOf(*frame, *target, shot, plane));
    }
  }
  std::cout << content.name << ": at most " << worst << " off\n";
  EXPECT_LE(worst, kTolerance);
}

TEST_P(FrameRenderer, TakesTargetsOfAnySizeAndRefusesWhatHasNoPlanes) {
  const Content& content = GetParam();
  const CVPixelBufferRef frame = smoothFrame(kFormat, content.width, content.height);
  const auto draws = [&](const CVPixelBufferRef& from, const CVPixelBufferRef& into) {
    return renderer_->renderFrame(from, into, content.projection(), GLKMatrix4Identity);
  };
  for (const auto& [width, height] : {std::pair(64, 36), std::pair(640, 360), std::pair(2, 2)}) {
    EXPECT_TRUE(draws(frame, CVPixelBuffer::create(width, height, kFormat))) << width;
  }
  const CVPixelBufferRef even = CVPixelBuffer::create(64, 36, kFormat);
  EXPECT_FALSE(draws(frame, CVPixelBuffer::create(63, 36, kFormat)));
  EXPECT_FALSE(draws(frame, CVPixelBuffer::create(64, 36, kCVPixelFormatType_32BGRA)));
  EXPECT_FALSE(draws(CVPixelBuffer::create(64, 36, kCVPixelFormatType_32BGRA), even));
  EXPECT_FALSE(draws(nullptr, even));
  EXPECT_FALSE(draws(frame, nullptr));
  ASSERT_TRUE(renderer_->renderFrame(frame, even, nullptr, GLKMatrix4Identity));
  for (const size_t plane : {0U, 1U}) {
    EXPECT_EQ(*static_cast<const uint8_t*>(even->plane(plane).baseAddress), kBlack[plane]) << "without a projection";
  }
}

INSTANTIATE_TEST_SUITE_P(All, FrameRenderer, testing::ValuesIn(kContents),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace ZELTest
