// Windows whose layers the explicit GPU draws: its images go to the window without a way through memory, and through
// memory where other layers are among them.

#ifdef ZEL_WITH_VULKAN

#include <ZELPlatform/EAGL.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>

#include "drivers/window/WindowCompositor.h"
#include "platform/eagl/GLDriver.h"
#include "tests/metal/MetalSupport.h"
#include "tests/window/BareWindow.h"

using ZELPlatform::Scene;
using ZELPlatform::WindowCompositor;

namespace metaltest {
namespace {

constexpr int kWidth = 80;
constexpr int kHeight = 60;

class MetalWindowTest : public MetalTest {
 protected:
  void SetUp() override {
    MetalTest::SetUp();
    if (!device) return;
    if (!gpu().capabilities().windows) GTEST_SKIP() << "the device cannot draw on windows";
    ASSERT_EQ(UIApplication::start({}), "");
    std::string error;
    ZELPlatform::GLDriver* driver = ZELPlatform::activeGLDriver(&error);
    ASSERT_TRUE(driver) << error;
    compositor_ = driver->createCompositor(window_.surface(), 100.0, &error);
    ASSERT_TRUE(compositor_) << error;
  }

  void TearDown() override {
    compositor_.reset();
    MetalTest::TearDown();
  }

  void show(std::vector<ZELPlatform::SceneItem> items, int width = kWidth, int height = kHeight) {
    Scene scene;
    scene.items = std::move(items);
    scene.points = CGSizeMake(kWidth, kHeight);
    scene.pixelWidth = width;
    scene.pixelHeight = height;
    compositor_->setScene(std::move(scene));
    compositor_->setVisible(true);
    compositor_->composeNow();
  }

  /// The colour on the screen, once it is the expected one or two seconds are over: drivers hand pictures to the server
  /// on threads of their own.
  Color pixel(int x, int y, const Color& expected) {
    Color found{};
    NSRunLoop::mainRunLoop().runUntil(
        [&] {
          found = window_.pixel(x, y);
          return found == expected;
        },
        2.0);
    return found;
  }

  uint64_t special() const { return dynamic_cast<const WindowCompositor&>(*compositor_).speciallyPaintedCount(); }

  std::shared_ptr<CAMetalLayer> layerOf(double width, double height, const Color& color) {
    auto layer = makeLayer(device, width, height);
    EXPECT_TRUE(showFrame(*queue, *layer, color));
    return layer;
  }

  BareWindow window_{kWidth, kHeight};
  std::shared_ptr<ZELPlatform::Compositor> compositor_;
};

TEST_F(MetalWindowTest, CopiesOrScalesItsLayersOntoTheWindow) {
  const auto whole = layerOf(kWidth, kHeight, kRed);
  show({{CGRectMake(0, 0, kWidth, kHeight), whole->contentsStore(), true}});
  EXPECT_EQ(pixel(0, 0, kRed), kRed);
  EXPECT_EQ(pixel(79, 59, kRed), kRed);
  EXPECT_EQ(special(), compositor_->composedCount());

  // One that is scaled, one that is not, black around them.
  const auto small = layerOf(10, 5, kGreen);
  const auto exact = layerOf(20, 30, kBlue);
  show({{CGRectMake(10, 10, 40, 20), small->contentsStore(), true},
        {CGRectMake(60, 30, 20, 30), exact->contentsStore(), true}});
  EXPECT_EQ(pixel(10, 10, kGreen), kGreen);
  EXPECT_EQ(pixel(49, 29, kGreen), kGreen);
  EXPECT_EQ(pixel(50, 29, kBlack), kBlack);
  EXPECT_EQ(pixel(9, 10, kBlack), kBlack);
  EXPECT_EQ(pixel(60, 30, kBlue), kBlue);
  EXPECT_EQ(pixel(79, 59, kBlue), kBlue);
  EXPECT_EQ(special(), compositor_->composedCount());

  // The layers' next pictures come by themselves.
  ASSERT_TRUE(showFrame(*queue, *small, kRed));
  EXPECT_EQ(pixel(30, 20, kRed), kRed);
  EXPECT_EQ(special(), compositor_->composedCount());
}

TEST_F(MetalWindowTest, GoesThroughMemoryWhileOtherLayersAreAmongThem) {
  const auto layer = layerOf(kWidth, kHeight, kRed);
  const ZELPlatform::SceneItem metal{CGRectMake(0, 0, kWidth, kHeight), layer->contentsStore(), true};
  const auto veil = std::make_shared<ZELPlatform::LayerContents>();
  veil->setStill(CGImage::create(1, 1, 4, CGImageAlphaInfo::PremultipliedLast, {0, 0, 128, 128}));
  const ZELPlatform::SceneItem half{CGRectMake(0, 0, 40, kHeight), veil, false};
  show({metal, half});
  EXPECT_EQ(pixel(10, 10, {127, 0, 128, 255}), (Color{127, 0, 128, 255}));
  EXPECT_EQ(pixel(70, 50, kRed), kRed);
  EXPECT_EQ(special(), 0U);
  ASSERT_TRUE(showFrame(*queue, *layer, kGreen));
  EXPECT_EQ(pixel(70, 50, kGreen), kGreen);
  // There and back, as when help is shown and hidden.
  for (uint64_t i = 1; i <= 3; ++i) {
    show({metal});
    EXPECT_EQ(pixel(10, 10, kGreen), kGreen);
    EXPECT_GE(special(), i);
    show({metal, half});
    EXPECT_EQ(pixel(10, 10, {0, 127, 128, 255}), (Color{0, 127, 128, 255}));
  }
}

TEST_F(MetalWindowTest, FollowsTheSizeOfItsWindow) {
  const auto layer = layerOf(kWidth, kHeight, kRed);
  const auto items = [&] {
    return std::vector<ZELPlatform::SceneItem>{{CGRectMake(0, 0, kWidth / 2.0, kHeight), layer->contentsStore(), true}};
  };
  show(items());
  const int64_t before = pixelCounters().gpuObjects;
  for (int i = 0; i < 50; ++i) {
    const int factor = 1 + i % 3;
    window_.resize(kWidth * factor, kHeight * factor);
    show(items(), kWidth * factor, kHeight * factor);
    if (i % 10 != 9) continue;
    EXPECT_EQ(pixel(40 * factor - 1, 60 * factor - 1, kRed), kRed) << factor;
    EXPECT_EQ(pixel(40 * factor, 60 * factor - 1, kBlack), kBlack) << factor;
  }
  EXPECT_LE(pixelCounters().gpuObjects, before + 4) << "a window may have an image or two more in another size";
  EXPECT_EQ(special(), compositor_->composedCount());
}

TEST_F(MetalWindowTest, StopsWhenItsWindowIsDestroyed) {
  const auto layer = layerOf(kWidth, kHeight, kRed);
  show({{CGRectMake(0, 0, kWidth, kHeight), layer->contentsStore(), true}});
  EXPECT_EQ(pixel(1, 1, kRed), kRed);
  window_.destroy();
  NSRunLoop::mainRunLoop().runFor(0.05);
  compositor_->composeNow();
  const uint64_t composed = compositor_->composedCount();
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(showFrame(*queue, *layer, kGreen));
    compositor_->composeNow();
  }
  EXPECT_EQ(compositor_->composedCount(), composed);
}

TEST_F(MetalWindowTest, ALostDeviceLeavesTheWindowToTheNextOne) {
  std::string error;
  auto own = Device::create(validatedSettings(), &error);
  ASSERT_TRUE(own) << error;
  const auto ownQueue = own->newCommandQueue();
  const auto layer = makeLayer(own, kWidth, kHeight);
  ASSERT_TRUE(showFrame(*ownQueue, *layer, kRed));
  const ZELPlatform::SceneItem item{CGRectMake(0, 0, kWidth, kHeight), layer->contentsStore(), true};
  show({item});
  EXPECT_EQ(pixel(1, 1, kRed), kRed);
  own->gpu().succeeded(VK_ERROR_DEVICE_LOST);
  show({item});
  layer->setDevice(device);
  ASSERT_TRUE(showFrame(*queue, *layer, kGreen));
  EXPECT_EQ(pixel(1, 1, kGreen), kGreen);
}

}  // namespace
}  // namespace metaltest

#endif
