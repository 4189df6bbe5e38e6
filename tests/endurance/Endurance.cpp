#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <fstream>
#include <iostream>

#include "gpu/RenderGLCalls.h"
#include "gpu/RenderHarness.h"
#include "platform/corevideo/Counters.h"

// Long runs: memory and GL names must not grow.

namespace ZELTest {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// Sanitisers keep what is freed for a while, so that resident memory says nothing; they find leaks themselves.
constexpr bool kMemoryIsMeasurable = false;
constexpr int kFrames = 1000;
constexpr int kRounds = 60;
#else
constexpr bool kMemoryIsMeasurable = true;
constexpr int kFrames = 10'000;
constexpr int kRounds = 500;
#endif

constexpr int kWarmUpFrames = kFrames / 10;
constexpr int kWarmUpRounds = kRounds / 5;
constexpr CGSize kPoints = {64, 36};

/// Resident memory in KiB, after the allocator gave back what it holds in reserve.
long residentKiB() {
  malloc_trim(0);
  long total = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return resident * sysconf(_SC_PAGESIZE) / 1024;
}

struct Census {
  size_t renderbuffers = livingRenderbuffers();
  size_t framebuffers = livingFramebuffers();
  int64_t textureStorages = ZELPlatform::pixelCounters().textureStorages;
  int64_t drawableImages = ZELPlatform::pixelCounters().drawableImages;
};

void PrintTo(const Census& census, std::ostream* stream) {
  *stream << census.renderbuffers << " renderbuffers, " << census.framebuffers << " framebuffers, "
          << census.textureStorages << " textures, " << census.drawableImages << " drawable images";
}

class Endurance : public testing::Test {
 protected:
  const BackEnd& backEnd() const { return backEnds().front(); }

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

TEST_F(Endurance, TenThousandFramesLeaveNothingBehind) {
  Stage stage(backEnd(), kPoints);
  const Eye eye = stage.add();
  eye.view->setContentProjection(ZELProjection::equirectangular());
  long early = 0;
  Census earlyCensus;
  for (int index = 0; index < kFrames; ++index) {
    if (index == kWarmUpFrames) {
      early = residentKiB();
      earlyCensus = {};
    }
    eye.camera->look(rotation(index, 0.3 * index, 0, false));
    if (index % 2 == 0) {
      stage.show(eye, frame(index / 2));
    } else {
      stage.step();
    }
  }
  const Census census;
  const long grown = residentKiB() - early;
  std::cout << kFrames << " frames: " << early << " KiB after " << kWarmUpFrames << ", grown by " << grown << " KiB; "
            << testing::PrintToString(census) << "\n";
  EXPECT_EQ(census.renderbuffers, earlyCensus.renderbuffers);
  EXPECT_EQ(census.framebuffers, earlyCensus.framebuffers);
  EXPECT_LE(census.textureStorages, earlyCensus.textureStorages + 2);
  EXPECT_LE(census.drawableImages, 3);
  if (kMemoryIsMeasurable) {
    EXPECT_LE(grown, 1024);
  }
}

TEST_F(Endurance, ViewsComeAndGoWithoutATrace) {
  long early = 0;
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
      early = residentKiB();
      earlyCensus = {};
    }
    ASSERT_NO_FATAL_FAILURE(round(index));
  }
  const Census census;
  const long grown = residentKiB() - early;
  std::cout << kRounds << " rounds: " << early << " KiB after " << kWarmUpRounds << ", grown by " << grown << " KiB; "
            << testing::PrintToString(census) << "\n";
  EXPECT_EQ(census.renderbuffers, earlyCensus.renderbuffers);
  EXPECT_EQ(census.framebuffers, earlyCensus.framebuffers);
  EXPECT_EQ(census.textureStorages, 0);
  EXPECT_EQ(census.drawableImages, 0);
  if (kMemoryIsMeasurable) {
    EXPECT_LE(grown, 1024);
  }
}

TEST_F(Endurance, ResizingLeavesOneFramebufferNameASizeUntilTheViewGoes) {
  const size_t framebuffersBefore = livingFramebuffers();
  const size_t renderbuffersBefore = livingRenderbuffers();
  constexpr int kSizes = 200;
  {
    Stage stage(backEnd(), kPoints);
    const Eye eye = stage.add();
    eye.view->setContentProjection(ZELProjection::equirectangular());
    stage.show(eye, frame(0));
    const int64_t images = ZELPlatform::pixelCounters().drawableImages;
    for (int index = 0; index < kSizes; ++index) {
      eye.view->setFrame(CGRectMake(0, 0, 20 + index % 7, 20 + index % 11));
      stage.step();
    }
    std::cout << kSizes << " sizes: " << livingFramebuffers() - framebuffersBefore << " framebuffers, "
              << livingRenderbuffers() - renderbuffersBefore << " renderbuffers\n";
    EXPECT_LE(livingFramebuffers() - framebuffersBefore, kSizes + 1 + 8U) << "and a few of the driver's own";
    EXPECT_LE(livingRenderbuffers() - renderbuffersBefore, 8U);
    EXPECT_LE(ZELPlatform::pixelCounters().drawableImages, images);
  }
  EXPECT_EQ(livingFramebuffers(), framebuffersBefore);
  EXPECT_EQ(livingRenderbuffers(), renderbuffersBefore);
}

}  // namespace
}  // namespace ZELTest
