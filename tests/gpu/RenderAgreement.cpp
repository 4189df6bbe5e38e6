#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>

#include "gpu/RenderHarness.h"

// The back ends against each other: what one shows, the other shows.

namespace ZELTest {
namespace {

/// The largest difference of a channel away from discontinuities, in 255ths.
constexpr int kTolerance = 2;

/// The same where the sampler's weights step: one value of chroma, which is 2.112 of blue, rounded.
constexpr int kToleranceAtSteps = 3;

/// Whether a place lies where the sampler's weights step. Software rounds a place to 256ths of a texel and a sample to
/// whole values; of two back ends that are a unit or two in the last place of single precision apart, one may then
/// weigh its texels by a 256th more than the other, which now and then makes a whole value of it.
bool weightsStep(double place, double texels) {
  constexpr double kWeights = 256.0;
  constexpr double kPlaceError = 0x1p-23;
  const double weight = kWeights * (place * texels - 0.5);
  return std::abs(weight - std::floor(weight) - 0.5) < kWeights * texels * kPlaceError;
}

/// The same for either plane of a frame with chroma; a plane of colours has no larger steps than its own values.
bool weightsStep(const Sample& sample, const Shot& shot) {
  return weightsStep(sample.u, shot.frameWide) || weightsStep(sample.v, shot.frameHigh) ||
         weightsStep(sample.u, shot.frameWide / 2) || weightsStep(sample.v, shot.frameHigh / 2);
}

const uint32_t kFormats[] = {kCVPixelFormatType_32BGRA, kCVPixelFormatType_32RGBA,
                             kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange,
                             kCVPixelFormatType_420YpCbCr8BiPlanarFullRange};

struct Content {
  const char* name;
  std::shared_ptr<ZELProjection> (*projection)();
};

const Content kContents[] = {
    {"FlatFit", [] { return ZELProjection::flatWithContentGravity(ZELContentGravityFit); }},
    {"FlatFill", [] { return ZELProjection::flatWithContentGravity(ZELContentGravityFill); }},
    {"Equirectangular", [] { return ZELProjection::equirectangular(); }},
    {"Cubemap", [] { return ZELProjection::cubemapWithPadding(8); }},
    {"SegmentedSphere", [] { return ZELProjection::segmentedSphere(); }},
};

struct Pose {
  double yaw;
  double pitch;
  double roll;
  double zoom;
};

const Pose kPoses[] = {{0, 0, 0, 1},   {180, 0, 0, 1},     {0, 90, 0, 1},       {30, -85, 0, 1},
                       {45, 35, 0, 1}, {-135, -35, 10, 1}, {200, 25, -75, 0.4}, {190, 25, 5, 4}};

/// What both show, with the shot by which a pixel is known to be at a discontinuity.
struct Shown {
  Picture picture;
  Shot shot;
};

class RenderAgreement : public testing::TestWithParam<const Content*> {
 protected:
  /// Every format from every pose.
  static std::vector<Shown> draw(const BackEnd& backEnd, const std::vector<CVPixelBufferRef>& frames) {
    std::vector<Shown> all;
    Stage stage(backEnd, CGSizeMake(192, 108), 1.5);
    const Eye eye = stage.add();
    eye.view->setContentProjection(GetParam()->projection());
    for (const CVPixelBufferRef& frame : frames) {
      stage.push(eye, frame);
      for (const Pose& pose : kPoses) {
        eye.camera->look(rotation(pose.yaw, pose.pitch, pose.roll, false));
        eye.view->setZoom(pose.zoom);
        stage.step();
        Shown shown{eye.picture(), {}};
        shown.shot = eye.shot(shown.picture, *frame);
        all.push_back(std::move(shown));
      }
    }
    return all;
  }

  /// The largest differences away from discontinuities.
  struct Difference {
    int plain = 0;
    int atSteps = 0;
  };

  static Difference difference(const Shown& one, const Shown& other) {
    Difference worst;
    for (int row = 0; row < one.picture.height; ++row) {
      for (int column = 0; column < one.picture.width; ++column) {
        const std::optional<Sample> sample = sampleAt(one.shot, column, row);
        if (sample && sample->ambiguous) continue;
        int& here = sample && weightsStep(*sample, one.shot) ? worst.atSteps : worst.plain;
        // The back ends' borders differ in their alpha, which an opaque layer does not show.
        for (int channel = 0; channel < (sample ? 4 : 3); ++channel) {
          here = std::max(
              here, std::abs(one.picture.pixel(column, row)[channel] - other.picture.pixel(column, row)[channel]));
        }
      }
    }
    return worst;
  }
};

TEST_P(RenderAgreement, BackEndsShowTheSame) {
  if (backEnds().size() < 2) GTEST_SKIP() << "only one back end was built in";
  for (const BackEnd* backEnd : allBackEnds()) ASSERT_EQ(backEnd->unavailableReason(), "");
  std::vector<CVPixelBufferRef> frames;
  for (const uint32_t format : kFormats) {
    frames.push_back(smoothFrame(format, 384, 256));
    if (frames.back()->planeCount() != 0) frames.push_back(smoothFrame(format, 384, 256, WavingPlane::Chroma));
  }
  const std::vector<Shown> first = draw(backEnds().front(), frames);
  const std::vector<Shown> second = draw(backEnds().back(), frames);
  ASSERT_EQ(first.size(), second.size());
  Difference worst;
  for (size_t index = 0; index < first.size(); ++index) {
    ASSERT_EQ(first[index].picture.width, second[index].picture.width);
    ASSERT_EQ(first[index].picture.height, second[index].picture.height);
    const Difference here = difference(first[index], second[index]);
    SCOPED_TRACE(testing::Message() << "frame " << index / std::size(kPoses) << ", pose " << index % std::size(kPoses));
    EXPECT_LE(here.plain, kTolerance);
    EXPECT_LE(here.atSteps, kToleranceAtSteps);
    worst = {std::max(worst.plain, here.plain), std::max(worst.atSteps, here.atSteps)};
  }
  std::cout << first.size() << " pictures: worst " << worst.plain << "/255, at steps of the sampler's weights "
            << worst.atSteps << "/255\n";
}

INSTANTIATE_TEST_SUITE_P(All, RenderAgreement,
                         testing::Values(&kContents[0], &kContents[1], &kContents[2], &kContents[3], &kContents[4]),
                         [](const auto& info) { return std::string(info.param->name); });

}  // namespace
}  // namespace ZELTest
