#include "platform/coremotion/AutomaticSource.h"
#include "tests/platform/MotionSupport.h"

#include <ZELKit/ZEL360FreeMotionController.h>
#include <ZELPlatform/UIWindow.h>

#include <functional>
#include <limits>
#include <utility>
#include <vector>

namespace {

using namespace ZELPlatform;

/// Yields what it is told to.
class ScriptedSource final : public CMMotionSource {
 public:
  std::string description() const override { return "a script"; }
  void setActive(bool active) override { isActive = active; }
  std::optional<CMDeviceMotion> sampleAtTime(double /*hostTime*/) override { return sample; }

  bool isActive = false;
  std::optional<CMDeviceMotion> sample;
};

class Manager : public MotionTest {
 protected:
  Manager() {
    CMMotionManager::setSource(source);
    start(*manager);
  }

  static void start(CMMotionManager& manager) {
    manager.startDeviceMotionUpdatesUsingReferenceFrame(CMAttitudeReferenceFrameXArbitraryZVertical);
  }

  std::shared_ptr<ScriptedSource> source = std::make_shared<ScriptedSource>();
  std::shared_ptr<CMMotionManager> manager = CMMotionManager::create();
};

TEST_F(Manager, PassesOnNothingThatItsReadersCannotTake) {
  EXPECT_FALSE(manager->deviceMotion());
  const double infinity = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const CMDeviceMotion bad[] = {{{nan, 0, 0, 1}, 12},    {{0, infinity, 0, 1}, 12}, {{0, 0, -infinity, 1}, 12},
                                {{0, 0, 0, nan}, 12},    {{0, 0, 0, 0}, 12},        {{0, 0, 0, 1}, nan},
                                {{0, 0, 0, 1}, infinity}};
  for (const CMDeviceMotion& sample : bad) {
    source->sample = sample;
    EXPECT_FALSE(manager->deviceMotion());
  }
  source->sample = CMDeviceMotion{{3, 0, 0, -4}, 10};
  ASSERT_TRUE(manager->deviceMotion());
  EXPECT_DOUBLE_EQ(manager->deviceMotion()->attitude.x, 0.6);
  EXPECT_DOUBLE_EQ(manager->deviceMotion()->attitude.w, -0.8);
  // What is bad, or older, leaves the one before.
  std::vector<CMDeviceMotion> refused(std::begin(bad), std::end(bad));
  refused.push_back({{0, 0, 0, 1}, 9.999});
  for (const CMDeviceMotion& sample : refused) {
    source->sample = sample;
    EXPECT_DOUBLE_EQ(manager->deviceMotion()->attitude.x, 0.6);
    EXPECT_EQ(manager->deviceMotion()->timestamp, 10);
  }
  source->sample = std::nullopt;
  EXPECT_EQ(manager->deviceMotion()->timestamp, 10);
  // Time may stand still. Lengths at either end of doubles are lengths.
  for (const double length : {1e-320, 1e-200, 1e200, 1.7e308}) {
    source->sample = CMDeviceMotion{{0, length, 0, 0}, 10};
    EXPECT_DOUBLE_EQ(manager->deviceMotion()->attitude.y, 1);
  }
}

TEST_F(Manager, WakesTheSourceWhileAnybodyWantsSamples) {
  const std::shared_ptr<CMMotionManager> other = CMMotionManager::create();
  start(*other);
  start(*other);
  manager->stopDeviceMotionUpdates();
  EXPECT_TRUE(source->isActive);
  const auto replacement = std::make_shared<ScriptedSource>();
  CMMotionManager::setSource(replacement);
  EXPECT_FALSE(source->isActive);
  EXPECT_TRUE(replacement->isActive);
  other->stopDeviceMotionUpdates();
  EXPECT_FALSE(replacement->isActive);
  start(*manager);
  EXPECT_TRUE(replacement->isActive);
  manager.reset();
  EXPECT_FALSE(replacement->isActive);
}

TEST_F(Manager, AnotherSourceHasTimesOfItsOwn) {
  source->sample = CMDeviceMotion{{0, 0, 0, 1}, 5000};
  EXPECT_TRUE(manager->deviceMotion());
  const auto earlier = std::make_shared<ScriptedSource>();
  CMMotionManager::setSource(earlier);
  EXPECT_FALSE(manager->deviceMotion());
  earlier->sample = CMDeviceMotion{{1, 0, 0, 0}, 3};
  EXPECT_EQ(manager->deviceMotion()->timestamp, 3);
  manager->stopDeviceMotionUpdates();
  EXPECT_FALSE(manager->deviceMotion());
}

/// A sensor that a test moves; a driver has it while it is plugged in.
struct FakeSensor {
  bool isPlugged = true;
  MotionFrame frame = MotionFrame::Picture;
  std::optional<CMQuaternion> attitude = pictureTurned(0);
  int opened = 0;
  int open = 0;
};

class OpenFake final : public MotionSensor {
 public:
  explicit OpenFake(FakeSensor& fake) : fake_(fake) {
    ++fake_.opened;
    ++fake_.open;
  }
  ~OpenFake() override { --fake_.open; }
  std::string description() const override { return "a made-up sensor"; }
  MotionFrame frame() const override { return fake_.frame; }
  bool isConnected() const override { return fake_.isPlugged; }
  std::optional<CMQuaternion> attitudeAtTime(double /*hostTime*/) override { return fake_.attitude; }

  OpenFake(const OpenFake&) = delete;
  OpenFake& operator=(const OpenFake&) = delete;

 private:
  FakeSensor& fake_;
};

class FakeDriver final : public MotionDriver {
 public:
  explicit FakeDriver(FakeSensor& fake) : fake_(fake) {}
  std::unique_ptr<MotionSensor> open() override {
    return fake_.isPlugged ? std::make_unique<OpenFake>(fake_) : nullptr;
  }

 private:
  FakeSensor& fake_;
};

class Automatic : public MotionTest {
 protected:
  Automatic() {
    std::vector<std::unique_ptr<MotionDriver>> drivers;
    drivers.push_back(std::make_unique<FakeDriver>(first));
    drivers.push_back(std::make_unique<FakeDriver>(second));
    source = std::make_shared<AutomaticSource>(std::move(drivers));
    source->setActive(true);
  }

  /// Goes on for a while at 60 Hz and returns the last attitude; none of its steps is a jump.
  CMQuaternion goOn(double seconds) {
    for (double t = 0; t < seconds; t += 1 / 60.0) {
      clock->advance(1 / 60.0);
      const CMQuaternion now = source->sampleAtTime(CACurrentMediaTime())->attitude;
      if (before) {
        EXPECT_LT(angleBetween(now, *before), 6);
      }
      before = now;
    }
    return *before;
  }

  FakeSensor first;
  FakeSensor second;
  std::shared_ptr<AutomaticSource> source;
  std::optional<CMQuaternion> before;
};

TEST_F(Automatic, BeginsStraightAheadWhereverTheSensorPoints) {
  first.attitude = pictureTurned(130, 20, 5);
  EXPECT_LT(angleBetween(goOn(0.05), pictureTurned(0, 20, 5)), 1e-9);
  first.attitude = pictureTurned(135, -10, 5);
  EXPECT_LT(angleBetween(source->sampleAtTime(CACurrentMediaTime() + 1)->attitude, pictureTurned(5, -10, 5)), 1e-9);
}

TEST_F(Automatic, ChangesOverWithoutAJump) {
  first.isPlugged = false;
  second.isPlugged = false;
  EXPECT_LT(angleBetween(goOn(0.5), pictureTurned(0)), 1e-9);
  EXPECT_EQ(source->description(), "a device that stands still");

  // Plugged in, it takes over: its pitch and roll at length, its heading from where it is.
  second.isPlugged = true;
  second.attitude = pictureTurned(-77, 40, 10);
  EXPECT_LT(angleBetween(goOn(2), pictureTurned(0, 40, 10)), 1e-9);
  EXPECT_EQ(source->description(), "a made-up sensor");
  second.attitude = pictureTurned(-72, 40, 10);
  EXPECT_LT(angleBetween(goOn(0.1), pictureTurned(5, 40, 10)), 1e-9);

  // One that is preferred takes over from it, which is let go.
  first.isPlugged = true;
  first.attitude = pictureTurned(30, -40, 0);
  EXPECT_LT(angleBetween(goOn(2), pictureTurned(5, -40, 0)), 1e-9);
  EXPECT_EQ(second.open, 0);

  // And back, and to nothing, which stands upright and keeps the heading.
  first.isPlugged = false;
  EXPECT_LT(angleBetween(goOn(1), pictureTurned(5, 40, 10)), 1e-9);
  second.isPlugged = false;
  EXPECT_LT(angleBetween(goOn(1), pictureTurned(5)), 1e-9);
  EXPECT_EQ(first.open + second.open, 0);
}

TEST_F(Automatic, TheNewSensorAtAnOldAddressIsANewOne) {
  for (int i = 0; i < 5; ++i) {
    first.attitude = pictureTurned(i * 50.0);
    EXPECT_LT(angleBetween(goOn(1.5), pictureTurned(0)), 1e-9);
    first.isPlugged = false;
    goOn(0.02);
    first.isPlugged = true;
  }
}

TEST_F(Automatic, DoesNotWaitForASensorThatSaysNothing) {
  first.attitude.reset();
  second.attitude = pictureTurned(0, 30);
  EXPECT_LT(angleBetween(goOn(1), pictureTurned(0, 30)), 1e-9);
  first.attitude = CMQuaternion{0, 0, 0, 0};
  EXPECT_LT(angleBetween(goOn(1), pictureTurned(0, 30)), 1e-9);
  first.attitude = CMQuaternion{0, std::numeric_limits<double>::quiet_NaN(), 0, 1};
  EXPECT_LT(angleBetween(goOn(1), pictureTurned(0, 30)), 1e-9);
  EXPECT_LE(first.opened, 4);
}

TEST_F(Automatic, LetsTheSensorsSleepWhileNobodyAsks) {
  first.attitude = pictureTurned(50, 20);
  goOn(0.1);
  source->setActive(false);
  EXPECT_EQ(first.open, 0);
  EXPECT_FALSE(source->sampleAtTime(CACurrentMediaTime()));
  clock->advance(10);
  first.attitude = pictureTurned(-90, -20);
  source->setActive(true);
  EXPECT_LT(angleBetween(goOn(1), pictureTurned(0, -20)), 1e-9);
}

TEST_F(Automatic, TellsOneSampleInOneRefreshAndNeverAnOlderOne) {
  goOn(0.1);
  const double now = CACurrentMediaTime();
  const CMDeviceMotion sample = *source->sampleAtTime(now);
  first.attitude = pictureTurned(50);
  EXPECT_EQ(source->sampleAtTime(now)->attitude.x, sample.attitude.x);
  EXPECT_EQ(source->sampleAtTime(now - 5)->timestamp, sample.timestamp);
  EXPECT_FALSE(source->sampleAtTime(std::numeric_limits<double>::quiet_NaN()));
}

/// What the camera makes of a source, in every interface orientation.
class DeviceFrame : public Automatic {
 protected:
  /// Both cameras look at the source in this orientation as if it were the identity turned by so much about X.
  void expectPitch(const std::shared_ptr<CMMotionSource>& motion, double degrees) {
    CMMotionManager::setSource(motion);
    const auto base = ZEL360BaseGyroController::create();
    const auto free = ZEL360FreeMotionController::create();
    for (const std::shared_ptr<ZEL360BaseGyroController>& camera :
         {base, std::static_pointer_cast<ZEL360BaseGyroController>(free)}) {
      camera->setEnabled(true);
      clock->advance(1);
      camera->updateWithDeltaTime(1);
      const GLKMatrix4 matrix = camera->viewMatrix();
      const double cosine = std::cos(degrees * M_PI / 180);
      const double sine = std::sin(degrees * M_PI / 180);
      // Looking up is a turn of the view about X by as much downwards.
      const double expected[16] = {1, 0, 0, 0, 0, cosine, -sine, 0, 0, sine, cosine, 0, 0, 0, 0, 1};
      for (int i = 0; i < 16; ++i) EXPECT_NEAR(matrix.m[i], expected[i], 1e-6) << "element " << i;
    }
  }

  static void rotate(int64_t orientation) {
    UIApplication::sharedApplication().overrideStatusBarOrientation(static_cast<UIInterfaceOrientation>(orientation));
  }
};

TEST_F(DeviceFrame, WhatIsHeldLikeThePictureLooksStraightAheadInEveryOrientation) {
  for (int64_t orientation = 1; orientation <= 4; ++orientation) {
    SCOPED_TRACE(orientation);
    rotate(orientation);
    expectPitch(CMMotionSource::still(), 0);
    first.attitude = pictureTurned(-40, 25);
    expectPitch(source, 25);
  }
}

TEST_F(DeviceFrame, ARotatedTabletLooksStraightAheadAsItsDisplayTurns) {
  first.frame = MotionFrame::Device;
  // The device is turned about the axis out of its screen, and the picture the other way.
  const double turns[] = {0, 180, -90, 90};
  for (int64_t orientation = 1; orientation <= 4; ++orientation) {
    SCOPED_TRACE(orientation);
    rotate(orientation);
    first.attitude = pictureTurned(0, 25, -turns[orientation - 1]);
    expectPitch(source, 25);
  }
}

TEST_F(DeviceFrame, ADisplayThatDoesNotTurnIsUprightWhateverTheWindowsShape) {
  first.frame = MotionFrame::Device;
  first.attitude = pictureTurned(0, 25);
  for (const CGSize size : {CGSizeMake(400, 200), CGSizeMake(200, 400)}) {
    const auto window = UIWindow::create({{0, 0}, size});
    window->makeKeyAndVisible();
    EXPECT_EQ(UIApplication::sharedApplication().displayOrientation(), UIInterfaceOrientationUnknown);
    expectPitch(source, 25);
  }
}

}  // namespace
