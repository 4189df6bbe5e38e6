#include <gtest/gtest.h>

#include <iostream>

#include "gl/ZELGLRenderView.h"
#include "gpu/RenderHarness.h"
#include "metal/Faults.h"
#include "metal/MetalSupport.h"
#include "platform/metal/MetalDriver.h"

// Views while Vulkan refuses, one call after the other, or the device is lost: whatever the call, the view is drawn by
// one back end or the other, nothing hangs, and what was refused is drawn as soon as it is possible.

namespace ZELTest {
namespace {

using metaltest::Device;
using metaltest::faults;

constexpr double kTolerance = 2.0;
constexpr CGSize kPoints = {48, 27};

class RenderFaults : public testing::TestWithParam<VkResult> {
 protected:
  void SetUp() override {
    std::string reason;
    if (!metaltest::validatedDevice(&reason)) GTEST_SKIP() << reason;
    // The shader library is loaded once for the process, by the device that asks first.
    ASSERT_TRUE(ZELRenderView::create({})->usesMetal());
    faults.result = GetParam();
    ZELPlatform::replaceMetalDevice([this] {
      // As the service does it: a lost device is followed by another one.
      if (!device_ || device_->gpu().isLost()) device_ = metaltest::faultyDevice();
      return device_;
    });
  }

  void TearDown() override {
    if (IsSkipped()) return;
    faults.disarm();
    device_ = nullptr;
    ZELPlatform::replaceMetalDevice([] {
      std::string unused;
      return metaltest::validatedDevice(&unused);
    });
  }

  static const BackEnd& metal() { return backEnds().back(); }

  static void step(Stage& stage) {
    stage.step();
    // A view that fell back leaves its frames to this queue.
    ZELGLRenderView::_sharedRenderQueue()->sync([] {});
    stage.settle();
  }

  static void show(Stage& stage, const Eye& eye, const CVPixelBufferRef& frame) {
    stage.push(eye, frame);
    step(stage);
  }

  static void expectShows(const Eye& eye, const CVPixelBuffer& frame) {
    const Picture picture = eye.picture();
    ASSERT_GT(picture.width, 0);
    EXPECT_EQ(compare(picture, eye.shot(picture, frame), frame, kTolerance).firstOff, "");
  }

  std::shared_ptr<Device> device_;
};

TEST_P(RenderFaults, EachCallOfAViewInTurn) {
  const CVPixelBufferRef imported = smoothFrame(kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, 64, 32);
  const CVPixelBufferRef uploaded = smoothFrame(kCVPixelFormatType_32BGRA, 50, 25);
  int fallbacks = 0;
  int dueAt = 1;
  for (; !HasFailure(); ++dueAt) {
    SCOPED_TRACE("call " + std::to_string(dueAt));
    device_ = nullptr;
    faults.arm(dueAt, GetParam());
    Stage stage(metal(), kPoints);
    const Eye eye = stage.add();
    eye.view->setContentProjection(ZELProjection::equirectangular());
    show(stage, eye, imported);
    show(stage, eye, uploaded);
    eye.camera->look(rotation(20, 10, 0, false));
    step(stage);
    const bool fired = faults.disarm();
    fallbacks += eye.view->usesMetal() ? 0 : 1;
    // The next frame at the latest.
    show(stage, eye, imported);
    expectShows(eye, *imported);
    if (!fired) break;
  }
  std::cout << dueAt - 1 << " calls, " << fallbacks << " views that fell back to OpenGL ES\n";
  EXPECT_GT(dueAt, 60) << "the faults are not in the view's way";
  EXPECT_GT(fallbacks, 10);
}

TEST_P(RenderFaults, AStillPictureThatTheGPURefusedIsDrawnAgain) {
  const CVPixelBufferRef frame = smoothFrame(kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, 64, 32);
  Stage stage(metal(), kPoints);
  const Eye eye = stage.add();
  eye.view->setContentProjection(ZELProjection::equirectangular());
  show(stage, eye, frame);
  // The calls of one frame, of which only one is made.
  int dueAt = 1;
  for (;; ++dueAt) {
    SCOPED_TRACE("call " + std::to_string(dueAt));
    eye.camera->look(rotation(7.0 * dueAt, 0, 0, false));
    faults.arm(dueAt, GetParam());
    step(stage);
    const bool fired = faults.disarm();
    if (!fired) break;
    step(stage);
    expectShows(eye, *frame);
    if (HasFailure()) break;
  }
  EXPECT_GT(dueAt, 3) << "the faults are not in the frame's way";
}

INSTANTIATE_TEST_SUITE_P(All, RenderFaults, testing::Values(VK_ERROR_OUT_OF_DEVICE_MEMORY, VK_ERROR_DEVICE_LOST),
                         [](const auto& info) {
                           return std::string(info.param == VK_ERROR_DEVICE_LOST ? "DeviceLost" : "OutOfMemory");
                         });

}  // namespace
}  // namespace ZELTest
