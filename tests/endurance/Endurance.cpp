#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

#include "Memory.h"
#include "gpu/RenderGLCalls.h"
#include "gpu/RenderHarness.h"
#include "platform/corevideo/Counters.h"

// Long runs: memory and GL names must not grow.

namespace ZELTest {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kFrames = 1000;
constexpr int kRounds = 60;
#else
constexpr int kFrames = 10'000;
constexpr int kRounds = 500;
#endif

constexpr int kWarmUpFrames = kFrames / 10;
constexpr int kWarmUpRounds = kRounds / 5;
constexpr CGSize kPoints = {64, 36};

struct Census {
  size_t renderbuffers = livingRenderbuffers();
  size_t framebuffers = livingFramebuffers();
  int64_t textureStorages = ZELPlatform::pixelCounters().textureStorages;
  int64_t drawableImages = ZELPlatform::pixelCounters().drawableImages;
  /// Objects of the explicit GPU, alive and made so far.
  int64_t gpuObjects = ZELPlatform::pixelCounters().gpuObjects;
  uint64_t gpuObjectsMade = ZELPlatform::pixelCounters().gpuObjectsMade;
};

/// What is under way at once is a matter of scheduling, and what its peak needs is made once: copies keep what they
/// need until others take it over, twelve at most, each with a pool, a fence, staging memory and, until the next copy,
/// an image with its memory, view and framebuffer. One object a frame or a round would be hundreds.
constexpr int64_t kGpuObjectSlack = 12 * 8;

void PrintTo(const Census& census, std::ostream* stream) {
  *stream << census.renderbuffers << " renderbuffers, " << census.framebuffers << " framebuffers, "
          << census.textureStorages << " textures, " << census.drawableImages << " drawable images, "
          << census.gpuObjects << " objects of the explicit GPU";
}

class Endurance : public testing::TestWithParam<const BackEnd*> {
 public:
  /// Mesa's software driver makes up to 64 scenes of 130 KiB for each context, as many as its threads happen to fall
  /// behind; drawing on the calling thread, it makes one, and memory is repeatable.
  static void SetUpTestSuite() { setenv("LP_NUM_THREADS", "0", 0); }

 protected:
  const BackEnd& backEnd() const { return *GetParam(); }

  void SetUp() override { ASSERT_EQ(backEnd().unavailableReason(), ""); }

  /// One frame of each format, in turn.
  const CVPixelBufferRef& frame(int index) const { return frames_[static_cast<size_t>(index) % frames_.size()]; }

 private:
  const std::vector<CVPixelBufferRef> frames_ = {
      smoothFrame(kCVPixelFormatType_32BGRA, 128, 64),
      smoothFrame(kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, 128, 64),
      smoothFrame(kCVPixelFormatType_32RGBA, 96, 64),
  };
};

INSTANTIATE_TEST_SUITE_P(All, Endurance, testing::ValuesIn(allBackEnds()),
                         [](const auto& info) { return std::string(info.param->name); });

TEST_P(Endurance, TenThousandFramesLeaveNothingBehind) {
  Stage stage(backEnd(), kPoints);
  const Eye eye = stage.add();
  eye.view->setContentProjection(ZELProjection::equirectangular());
  Memory early;
  Census earlyCensus;
  const uint64_t drawsBefore = backEnd().draws();
  for (int index = 0; index < kFrames; ++index) {
    if (index == kWarmUpFrames) {
      early = Memory::now();
      earlyCensus = Census();
    }
    eye.camera->look(rotation(index, 0.3 * index, 0, false));
    if (index % 2 == 0) {
      stage.show(eye, frame(index / 2));
    } else {
      stage.step();
    }
  }
  const Census census;
  std::cout << testing::PrintToString(census) << "\n";
  EXPECT_EQ(backEnd().draws() - drawsBefore, static_cast<uint64_t>(kFrames)) << "every frame is another picture";
  expectNoGrowth("frames after the first tenth", early);
  EXPECT_EQ(census.renderbuffers, earlyCensus.renderbuffers);
  EXPECT_EQ(census.framebuffers, earlyCensus.framebuffers);
  EXPECT_LE(census.textureStorages, earlyCensus.textureStorages + 2);
  EXPECT_LE(census.drawableImages, 3);
  EXPECT_LE(census.gpuObjectsMade, earlyCensus.gpuObjectsMade + kGpuObjectSlack) << "a frame makes none";
}

TEST_P(Endurance, ViewsComeAndGoWithoutATrace) {
  Memory early;
  Census earlyCensus;
  const auto round = [&](int index) {
    Stage stage(backEnd(), kPoints);
    const Eye eye = stage.add();
    eye.view->setContentProjection(ZELProjection::equirectangular());
    stage.show(eye, frame(index));
    // A change of size leaves names behind until the view's context goes.
    eye.view->setFrame(CGRectMake(0, 0, 40, 30));
    stage.step();
    ASSERT_TRUE(eye.view->readyForDisplay());
  };
  for (int index = 0; index < kRounds; ++index) {
    if (index == kWarmUpRounds) {
      early = Memory::now();
      earlyCensus = Census();
    }
    ASSERT_NO_FATAL_FAILURE(round(index));
  }
  const Census census;
  std::cout << testing::PrintToString(census) << "\n";
  expectNoGrowth("rounds after the first fifth", early);
  EXPECT_EQ(census.renderbuffers, earlyCensus.renderbuffers);
  EXPECT_EQ(census.framebuffers, earlyCensus.framebuffers);
  EXPECT_EQ(census.textureStorages, 0);
  EXPECT_EQ(census.drawableImages, 0);
  EXPECT_LE(census.gpuObjects, earlyCensus.gpuObjects + kGpuObjectSlack);
}

TEST_P(Endurance, ResizingLeavesFewFramebuffersAndNoneOnceTheViewGoes) {
  const size_t framebuffersBefore = livingFramebuffers();
  const size_t renderbuffersBefore = livingRenderbuffers();
  constexpr int kSizes = 200;
  {
    Stage stage(backEnd(), kPoints);
    const Eye eye = stage.add();
    eye.view->setContentProjection(ZELProjection::equirectangular());
    stage.show(eye, frame(0));
    const int64_t images = ZELPlatform::pixelCounters().drawableImages;
    const int64_t gpuObjects = ZELPlatform::pixelCounters().gpuObjects;
    for (int index = 0; index < kSizes; ++index) {
      eye.view->setFrame(CGRectMake(0, 0, 20 + index % 7, 20 + index % 11));
      stage.step();
    }
    std::cout << kSizes << " sizes: " << livingFramebuffers() - framebuffersBefore << " framebuffers, "
              << livingRenderbuffers() - renderbuffersBefore << " renderbuffers\n";
    EXPECT_LE(livingFramebuffers() - framebuffersBefore, 64 + 8U) << "the view's, and a few of the driver's own";
    EXPECT_LE(livingRenderbuffers() - renderbuffersBefore, 8U);
    EXPECT_LE(ZELPlatform::pixelCounters().drawableImages, images);
    EXPECT_LE(ZELPlatform::pixelCounters().gpuObjects, gpuObjects + kGpuObjectSlack);
  }
  EXPECT_EQ(livingFramebuffers(), framebuffersBefore);
  EXPECT_EQ(livingRenderbuffers(), renderbuffersBefore);
}

}  // namespace
}  // namespace ZELTest
