#include "platform/quartzcore/Compositor.h"

#include <ZELPlatform/EAGL.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>

#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

#include "platform/eagl/GLDriver.h"
#include "tests/gpu/EaglSupport.h"
#include "tests/window/BareWindow.h"

using namespace egltest;
using ZELPlatform::Compositor;
using ZELPlatform::GLDriver;
using ZELPlatform::Scene;

namespace {

constexpr int kWidth = 80;
constexpr int kHeight = 60;
constexpr double kRate = 100.0;

std::shared_ptr<CGImage> still(size_t width, size_t height, const Pixel& color, CGImageAlphaInfo alphaInfo) {
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i < width * height; ++i) bytes.insert(bytes.end(), color.begin(), color.end());
  return CGImage::create(width, height, width * 4, alphaInfo, std::move(bytes));
}

class CompositorTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(UIApplication::start({}), "");
    std::string error;
    driver_ = ZELPlatform::activeGLDriver(&error);
    ASSERT_TRUE(driver_) << error;
    compositor_ = driver_->createCompositor(window_.surface(), kRate, &error);
    ASSERT_TRUE(compositor_) << error;
  }

  void TearDown() override {
    if (compositor_) DisplayRefresh::shared().removeSource(compositor_);
    compositor_.reset();
    EAGLContext::setCurrentContext(nullptr);
  }

  void show(Scene scene, int width = kWidth, int height = kHeight) {
    scene.points = CGSizeMake(kWidth, kHeight);
    scene.pixelWidth = width;
    scene.pixelHeight = height;
    compositor_->setScene(std::move(scene));
    compositor_->setVisible(true);
    compositor_->composeNow();
  }

  static void wait(double seconds) { NSRunLoop::mainRunLoop().runFor(seconds); }

  BareWindow window_{kWidth, kHeight};
  GLDriver* driver_ = nullptr;
  std::shared_ptr<Compositor> compositor_;
};

TEST_F(CompositorTest, ShowsEveryLayerWhereItBelongs) {
  Canvas exact(makeLayer(10, 10));
  exact.makeCurrent();
  ASSERT_TRUE(exact.remake());
  clearTo(kRed);
  glEnable(GL_SCISSOR_TEST);
  glScissor(0, 0, 10, 1);
  clearTo(kGreen);
  ASSERT_TRUE(exact.present());

  // Half transparent; and half transparent, but opaque by order of its layer.
  Canvas veil(makeLayer(5, 5));
  veil.makeCurrent();
  ASSERT_TRUE(veil.remake());
  ASSERT_TRUE(veil.show({0, 0, 128, 128}));
  Canvas opaque(makeLayer(5, 5));
  opaque.makeCurrent();
  ASSERT_TRUE(opaque.remake());
  ASSERT_TRUE(opaque.show({0, 128, 0, 128}));

  const auto ignoresAlpha = std::make_shared<ZELPlatform::LayerContents>();
  ignoresAlpha->setStill(still(3, 2, {0, 0, 255, 0}, CGImageAlphaInfo::NoneSkipLast));
  const auto empty = std::make_shared<ZELPlatform::LayerContents>();
  Scene scene;
  scene.items = {{CGRectMake(5, 7, 10, 10), exact.layer->contentsStore(), true},
                 {CGRectMake(0, 0, 10, 60), veil.layer->contentsStore(), false},
                 {CGRectMake(40, 10, 20, 20), opaque.layer->contentsStore(), true},
                 {CGRectMake(70, 50, 20, 20), ignoresAlpha, false},
                 {CGRectMake(0, 0, 80, 60), empty, true}};
  show(scene);

  EXPECT_EQ(window_.pixel(12, 15), kRed);
  EXPECT_EQ(window_.pixel(12, 16), kGreen) << "the lowest row of GL is the lowest of the window";
  EXPECT_EQ(window_.pixel(14, 7), kRed);
  EXPECT_EQ(window_.pixel(15, 7), (Pixel{0, 0, 0, 255}));
  EXPECT_EQ(window_.pixel(6, 10), (Pixel{127, 0, 128, 255}));
  EXPECT_EQ(window_.pixel(2, 2), (Pixel{0, 0, 128, 255}));
  EXPECT_EQ(window_.pixel(40, 10), (Pixel{0, 128, 0, 255}));
  EXPECT_EQ(window_.pixel(59, 29), (Pixel{0, 128, 0, 255}));
  EXPECT_EQ(window_.pixel(79, 59), kBlue);
  EXPECT_EQ(window_.pixel(69, 59), (Pixel{0, 0, 0, 255}));
}

TEST_F(CompositorTest, ComposesOnlyWhatChangedAndAtMostOncePerPeriod) {
  const auto contents = std::make_shared<ZELPlatform::LayerContents>();
  Scene scene;
  scene.items = {{CGRectMake(0, 0, kWidth, kHeight), contents, true}};
  show(scene);
  wait(0.1);
  const uint64_t before = compositor_->composedCount();
  wait(0.2);
  EXPECT_EQ(compositor_->composedCount(), before);
  compositor_->invalidate();
  wait(0.2);
  EXPECT_EQ(compositor_->composedCount(), before + 1);

  const auto red = still(4, 4, kRed, CGImageAlphaInfo::PremultipliedLast);
  const auto blue = still(4, 4, kBlue, CGImageAlphaInfo::PremultipliedLast);
  const double start = CACurrentMediaTime();
  for (int i = 0; i < 400; ++i) {
    contents->setStill(i % 2 == 0 ? red : blue);
    wait(0.0005);
  }
  const double periods = (CACurrentMediaTime() - start) * kRate;
  EXPECT_LE(static_cast<double>(compositor_->composedCount() - before - 1), periods + 2);
  wait(0.2);
  EXPECT_EQ(window_.pixel(40, 30), kBlue) << "the newest one is what stays";

  compositor_->setVisible(false);
  const uint64_t hidden = compositor_->composedCount();
  contents->setStill(red);
  compositor_->composeNow();
  wait(0.1);
  EXPECT_EQ(compositor_->composedCount(), hidden);
  compositor_->setVisible(true);
  wait(0.2);
  EXPECT_EQ(window_.pixel(40, 30), kRed);
}

TEST_F(CompositorTest, ReportsEveryPeriodWhileRefreshesAreWanted) {
  std::vector<double> times;
  std::shared_ptr<CADisplayLink> link;
  link = CADisplayLink::create([&] {
    times.push_back(link->timestamp());
    EXPECT_DOUBLE_EQ(link->duration(), 1.0 / kRate);
    EXPECT_NEAR(link->timestamp(), CACurrentMediaTime(), 0.5);
  });
  DisplayRefresh::shared().setSource(compositor_);
  link->addToMainRunLoop();
  for (const bool visible : {true, false}) {
    compositor_->setVisible(visible);
    times.clear();
    wait(0.5);
    // A loaded machine misses some.
    EXPECT_GT(times.size(), 10U);
    EXPECT_LE(times.size(), 52U);
    for (size_t i = 1; i < times.size(); ++i) {
      const double periods = (times[i] - times[i - 1]) * kRate;
      ASSERT_GT(periods, 0.5);
      EXPECT_NEAR(periods, std::round(periods), 1e-4) << "between " << i - 1 << " and " << i;
    }
  }
  link->setPaused(true);
  times.clear();
  wait(0.1);
  EXPECT_TRUE(times.empty());

  // A report that waits for the main thread while its compositor goes is dropped. Stepping keeps the timer, which takes
  // over, from firing the link.
  link->setPaused(false);
  wait(0.1);
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  DisplayRefresh::shared().setStepped(true);
  DisplayRefresh::shared().removeSource(compositor_);
  compositor_.reset();
  times.clear();
  wait(0.1);
  EXPECT_TRUE(times.empty());
  DisplayRefresh::shared().setStepped(false);
  link->invalidate();
}

TEST_F(CompositorTest, ShowsWholePicturesOfALayerThatIsDrawnOnAnotherThread) {
  const auto layer = makeLayer(kWidth, kHeight);
  Scene scene;
  scene.items = {{CGRectMake(0, 0, kWidth, kHeight), layer->contentsStore(), true}};
  show(scene);
  std::atomic<bool> done{false};
  std::thread renderer([&] {
    Canvas canvas(layer);
    canvas.makeCurrent();
    ASSERT_TRUE(canvas.remake());
    for (int i = 0; i < 300; ++i) ASSERT_TRUE(canvas.show(i % 2 == 0 ? kRed : kBlue));
    done = true;
  });
  const uint64_t before = compositor_->composedCount();
  while (!done) {
    compositor_->composeNow();
    const auto picture = layer->contentsStore()->front();
    if (!picture) continue;
    const auto pixels = picture->readBack();
    EXPECT_TRUE(isFilledWith(pixels, pixelAt(*pixels, 0, 0)));
  }
  renderer.join();
  EXPECT_GT(compositor_->composedCount(), before);
  compositor_->composeNow();
  EXPECT_EQ(window_.pixel(40, 30), kBlue);
}

TEST_F(CompositorTest, FollowsTheSizeOfItsWindow) {
  const auto contents = std::make_shared<ZELPlatform::LayerContents>();
  contents->setStill(still(2, 2, kRed, CGImageAlphaInfo::PremultipliedLast));
  Scene scene;
  scene.items = {{CGRectMake(0, 0, kWidth / 2.0, kHeight), contents, true}};
  show(scene);
  EXPECT_EQ(window_.pixel(39, 59), kRed);
  for (const int factor : {2, 3, 1}) {
    window_.resize(kWidth * factor, kHeight * factor);
    show(scene, kWidth * factor, kHeight * factor);
    wait(0.1);
    for (const int y : {0, 59 * factor}) {
      EXPECT_EQ(window_.pixel(40 * factor - 1, y), kRed) << factor;
      EXPECT_EQ(window_.pixel(40 * factor, y), (Pixel{0, 0, 0, 255})) << factor;
    }
  }
}

TEST_F(CompositorTest, StopsWhenItsWindowIsDestroyed) {
  show({});
  window_.destroy();
  wait(0.05);
  compositor_->composeNow();
  const uint64_t before = compositor_->composedCount();
  for (int i = 0; i < 3; ++i) compositor_->composeNow();
  EXPECT_EQ(compositor_->composedCount(), before);

  std::string error;
  EXPECT_FALSE(driver_->createCompositor(window_.surface(), kRate, &error));
  EXPECT_NE(error.find("The window cannot be drawn on"), std::string::npos);
}

}  // namespace
