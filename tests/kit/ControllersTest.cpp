// The controllers as a host uses them: attached to a view whose window gets touches, fed by a made-up motion source,
// and stepped by a clock that stands still in between.

#include "tests/Allocations.h"

#include <ZELKit/ZEL360FreeMotionController.h>
#include <ZELKit/ZEL360RelativeMotionController.h>
#include <ZELKit/ZELOrientationMath.h>
#include <ZELKit/ZELProjection.h>
#include <ZELKit/ZELRenderView.h>
#include <ZELPlatform/CMMotionManager.h>
#include <ZELPlatform/QuartzCore.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIWindow.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kPitchLimit = 0.35 * kPi;
constexpr float kFrame = 1.0F / 60.0F;

class MadeUpMotion final : public CMMotionSource {
 public:
  std::string description() const override { return "made up"; }
  void setActive(bool active) override { isActive = active; }
  std::optional<CMDeviceMotion> sampleAtTime(double hostTime) override {
    if (!attitude) return std::nullopt;
    return CMDeviceMotion{*attitude, hostTime};
  }

  /// The camera turned so, in the frame of a device that is held in portrait: the inverse of what the kit makes of it.
  void setCamera(float yaw, float pitch, float roll) {
    const GLKQuaternion back = {-0.70710677F, 0, 0, 0.70710677F};
    const GLKQuaternion q = GLKQuaternionMultiply(back, YXZToQuaternion(yaw, pitch, roll));
    attitude = CMQuaternion{-q.x, -q.y, q.z, q.w};
  }

  bool isActive = false;
  std::optional<CMQuaternion> attitude;
};

class Gate final : public ZELInteractionControllerDelegate {
 public:
  bool interactionController(ZELInteractionController&, const UITouch& touch) override {
    asked.push_back(touch.locationInView(nullptr));
    return open;
  }
  bool open = true;
  std::vector<CGPoint> asked;
};

GLKVector3 anglesOf(const ZELInteractionController& controller) {
  return quaternionToYXZ(GLKQuaternionMakeWithMatrix4(controller.viewMatrix()));
}

void expectAngles(const ZELInteractionController& controller, GLKVector3 expected, float tolerance = 1e-5F) {
  const GLKVector3 angles = anglesOf(controller);
  EXPECT_NEAR(angles.x, expected.x, tolerance);
  EXPECT_NEAR(angles.y, expected.y, tolerance);
  EXPECT_NEAR(angles.z, expected.z, tolerance);
}

class Controllers : public testing::Test {
 protected:
  void SetUp() override {
    UIApplicationOptions options;
    options.displayDriver = "offscreen";
    ASSERT_EQ(UIApplication::start(options), "");
    UIApplication::sharedApplication().overrideStatusBarOrientation(UIInterfaceOrientationPortrait);
    DisplayRefresh::shared().setStepped(true);
    HostClock::setCurrent(clock_);
    CMMotionManager::setSource(motion_);
    window_ = UIWindow::create(CGRectMake(0, 0, 4000, 4000));
    view_ = UIView::create(CGRectMake(0, 0, 4000, 4000));
    window_->addSubview(view_);
  }

  void TearDown() override {
    window_ = nullptr;
    CMMotionManager::setSource(nullptr);
    UIApplication::sharedApplication().overrideStatusBarOrientation(UIInterfaceOrientationUnknown);
    NSRunLoop::mainRunLoop().runPending();
    HostClock::setCurrent(nullptr);
    DisplayRefresh::shared().setStepped(false);
  }

  template <class Controller>
  std::shared_ptr<Controller> attached() {
    auto controller = Controller::create();
    controller->attachToView(view_);
    controller->setEnabled(true);
    return controller;
  }

  void deliver(UITouchPhase phase, double x, double y) {
    location_ = CGPointMake(x, y);
    window_->deliverPointer(0, phase, location_, CACurrentMediaTime());
  }

  /// Puts the finger down in the middle and moves it as far as a pan needs to begin, and back.
  void beginPan() {
    deliver(UITouchPhase::Began, 2000, 2000);
    deliver(UITouchPhase::Moved, 2000, 2050);
    deliver(UITouchPhase::Moved, 2000, 2000);
  }

  void moveBy(double x, double y) { deliver(UITouchPhase::Moved, location_.x + x, location_.y + y); }
  void release() { deliver(UITouchPhase::Ended, location_.x, location_.y); }

  /// Pans at a steady speed for a fifth of a second and lets go.
  void fling(double pointsPerSecondX, double pointsPerSecondY) {
    beginPan();
    for (int step = 0; step < 20; ++step) {
      clock_->advance(0.01);
      moveBy(pointsPerSecondX * 0.01, pointsPerSecondY * 0.01);
    }
    release();
  }

  std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
  std::shared_ptr<MadeUpMotion> motion_ = std::make_shared<MadeUpMotion>();
  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<UIView> view_;
  CGPoint location_{};
};

// What both of the controllers that pan do.

template <class Controller>
class PanningControllers : public Controllers {};
using BothKinds = testing::Types<ZEL360RelativeMotionController, ZEL360FreeMotionController>;
TYPED_TEST_SUITE(PanningControllers, BothKinds);

TYPED_TEST(PanningControllers, ADragTurnsAgainstItsDirectionAtOnce) {
  const auto controller = this->template attached<TypeParam>();
  this->beginPan();
  const GLKVector3 before = controller->touchYXZ();
  this->moveBy(100, -40);
  EXPECT_NEAR(controller->touchYXZ().x - before.x, -0.25F, 1e-6F);
  EXPECT_NEAR(controller->touchYXZ().y - before.y, 0.1F, 1e-6F);
  // The very next update shows it.
  controller->updateWithDeltaTime(0);
  expectAngles(*controller, controller->touchYXZ());
}

TYPED_TEST(PanningControllers, AFlingGoesAsFarAtEveryFrameRate) {
  const double expected = -2.0 * (std::pow(0.85, 60.0) - 1.0) / (60.0 * std::log(0.85));
  std::vector<std::vector<float>> tracks;
  for (const int rate : {24, 60, 90, 240}) tracks.emplace_back(rate, 1.0F / static_cast<float>(rate));
  // Refreshes that come too early and too late by turns, one second in all.
  tracks.emplace_back();
  for (int pair = 0; pair < 40; ++pair) {
    const float early = 0.001F + 0.0005F * static_cast<float>(pair % 7);
    tracks.back().insert(tracks.back().end(), {early, 0.025F - early});
  }
  for (const std::vector<float>& steps : tracks) {
    const auto controller = this->template attached<TypeParam>();
    this->fling(1000, 0);
    const float start = controller->touchYXZ().x;
    for (const float step : steps) controller->updateWithDeltaTime(step);
    EXPECT_NEAR(controller->touchYXZ().x - start, expected, 1e-4) << steps.size() << " steps";
    expectAngles(*controller, controller->touchYXZ());
    controller->detach();
  }
}

TYPED_TEST(PanningControllers, ATouchStopsAFling) {
  const auto controller = this->template attached<TypeParam>();
  this->fling(1000, 0);
  controller->updateWithDeltaTime(kFrame);
  this->beginPan();
  const float yaw = controller->touchYXZ().x;
  controller->updateWithDeltaTime(1);
  EXPECT_EQ(controller->touchYXZ().x, yaw);
}

TYPED_TEST(PanningControllers, ATransitionEasesFromTheOldDirection) {
  const auto controller = this->template attached<TypeParam>();
  controller->beginTransitionFromMatrix(GLKMatrix4MakeWithQuaternion(YXZToQuaternion(0.6F, 0.2F, 0.4F)));
  // The pan takes over yaw and pitch; the roll is eased away.
  EXPECT_NEAR(controller->touchYXZ().x, 0.6F, 1e-6F);
  EXPECT_NEAR(controller->touchYXZ().y, 0.2F, 1e-6F);
  controller->updateWithDeltaTime(0);
  expectAngles(*controller, GLKVector3Make(0.6F, 0.2F, 0.4F));

  this->clock_->advance(0.33 / 2);
  controller->updateWithDeltaTime(kFrame);
  expectAngles(*controller, GLKVector3Make(0.6F, 0.2F, 0.2F), 1e-3F);
  float last = anglesOf(*controller).z;
  for (int frame = 0; frame < 10; ++frame) {
    this->clock_->advance(kFrame);
    controller->updateWithDeltaTime(kFrame);
    const float roll = anglesOf(*controller).z;
    EXPECT_LE(roll, last + 1e-6F);
    EXPECT_LT(last - roll, 0.05F) << "no jump";
    last = roll;
  }
  expectAngles(*controller, GLKVector3Make(0.6F, 0.2F, 0));
}

TYPED_TEST(PanningControllers, UpdatesAllocateNothing) {
  const auto controller = this->template attached<TypeParam>();
  this->motion_->setCamera(0.1F, 0.2F, 0.3F);
  this->fling(900, 300);
  controller->beginTransitionFromMatrix(GLKMatrix4Identity);
  controller->updateWithDeltaTime(kFrame);
  const long before = allocationCount();
  for (int frame = 0; frame < 100; ++frame) controller->updateWithDeltaTime(kFrame);
  EXPECT_EQ(allocationCount() - before, 0);
}

TYPED_TEST(PanningControllers, TheDelegateDecidesWhichTouchesPan) {
  const auto controller = this->template attached<TypeParam>();
  auto gate = std::make_shared<Gate>();
  controller->setDelegate(gate);
  gate->open = false;
  this->fling(1000, 0);
  controller->updateWithDeltaTime(kFrame);
  ASSERT_EQ(gate->asked.size(), 1U);
  EXPECT_EQ(gate->asked[0].x, 2000);
  expectAngles(*controller, GLKVector3Make(0, 0, 0));
  // One that went away refuses nothing.
  gate.reset();
  this->fling(1000, 0);
  EXPECT_LT(controller->touchYXZ().x, -0.1F);
}

TYPED_TEST(PanningControllers, SurviveLosingTheirViewInTheMiddleOfAGesture) {
  const auto controller = this->template attached<TypeParam>();
  this->beginPan();
  this->moveBy(50, 0);
  controller->detach();
  const float yaw = controller->touchYXZ().x;
  this->moveBy(50, 0);
  this->release();
  EXPECT_EQ(controller->touchYXZ().x, yaw);

  auto shortLived = this->template attached<TypeParam>();
  this->beginPan();
  shortLived.reset();
  this->moveBy(50, 0);
  EXPECT_TRUE(this->view_->gestureRecognizers().empty());

  controller->attachToView(nullptr);
  controller->attachToView(this->view_);
  controller->attachToView(this->view_);
  EXPECT_EQ(this->view_->gestureRecognizers().size(), 1U);
}

// Switches.

TEST_F(Controllers, MotionAndTouchRunOnlyWhenAllowedAndEnabled) {
  const auto controller = ZEL360FreeMotionController::create();
  controller->attachToView(view_);
  const auto& recognizer = view_->gestureRecognizers().at(0);
  const auto expectRunning = [&](bool motion, bool touch) {
    EXPECT_EQ(motion_->isActive, motion);
    EXPECT_EQ(recognizer->isEnabled(), touch);
  };
  expectRunning(false, false);
  controller->setEnabled(true);
  expectRunning(true, true);
  controller->setTouchEnabled(false);
  expectRunning(true, false);
  controller->setMotionEnabled(false);
  controller->setTouchEnabled(true);
  expectRunning(false, true);
  motion_->setCamera(1, 0, 0);
  controller->updateWithDeltaTime(kFrame);
  expectRunning(false, true);
  expectAngles(*controller, GLKVector3Make(0, 0, 0));
  controller->setMotionEnabled(true);
  controller->setEnabled(false);
  expectRunning(false, false);
}

// The relative controller.

TEST_F(Controllers, RelativeMotionStartsAheadAndKeepsTheHorizonLevel) {
  const auto controller = attached<ZEL360RelativeMotionController>();
  motion_->setCamera(1.0F, 0.3F, 0.2F);
  controller->updateWithDeltaTime(kFrame);
  expectAngles(*controller, GLKVector3Make(0, 0, 0));
  motion_->setCamera(1.1F, 0.3F, 0.2F);
  controller->updateWithDeltaTime(kFrame);
  // The turn about the vertical, as the tilted device sees it.
  const GLKQuaternion from = YXZToQuaternion(1.0F, 0.3F, 0.2F);
  const GLKQuaternion to = YXZToQuaternion(1.1F, 0.3F, 0.2F);
  const GLKVector3 turn = quaternionToYXZ(GLKQuaternionMultiply(GLKQuaternionConjugate(from), to));
  EXPECT_GT(std::abs(turn.z), 0.005F);
  expectAngles(*controller, GLKVector3Make(turn.x, turn.y, 0));
}

TEST_F(Controllers, RelativeMotionAddsUpWhicheverWayTheInterfaceIsTurned) {
  for (int64_t orientation = 1; orientation <= 4; ++orientation) {
    UIApplication::sharedApplication().overrideStatusBarOrientation(static_cast<UIInterfaceOrientation>(orientation));
    const auto controller = attached<ZEL360RelativeMotionController>();
    motion_->setCamera(0, 0, 0);
    controller->updateWithDeltaTime(kFrame);
    // A turn about the device's own X axis is a pitch in portrait, a yaw in landscape.
    for (int step = 1; step <= 10; ++step) {
      motion_->setCamera(0, 0.02F * static_cast<float>(step), 0);
      controller->updateWithDeltaTime(kFrame);
    }
    constexpr GLKVector3 expected[] = {{0, 0.2F, 0}, {0, -0.2F, 0}, {0.2F, 0, 0}, {-0.2F, 0, 0}};
    expectAngles(*controller, expected[orientation - 1], 1e-4F);
    controller->detach();
  }
}

TEST_F(Controllers, RelativePitchStopsAtTheLimitAndComesBackAtOnce) {
  const auto controller = attached<ZEL360RelativeMotionController>();
  beginPan();
  for (int step = 0; step < 60; ++step) moveBy(0, -10);
  controller->updateWithDeltaTime(0);
  const float reached = anglesOf(*controller).y;
  EXPECT_LE(reached, kPitchLimit);
  EXPECT_GT(reached, kPitchLimit - 10 * 0.0025 - 1e-4);
  moveBy(0, 20);
  controller->updateWithDeltaTime(0);
  EXPECT_NEAR(anglesOf(*controller).y, std::min<double>(reached, kPitchLimit) - 0.05, 0.026);
  EXPECT_LT(anglesOf(*controller).y, reached - 0.02F);
}

TEST_F(Controllers, RelativeInertiaDriftsOnAtTheLimit) {
  const auto controller = attached<ZEL360RelativeMotionController>();
  fling(1000, -1000);
  controller->setTouchYXZ(GLKVector3Make(0, static_cast<float>(kPitchLimit) - 0.05F, 0));
  for (int frame = 0; frame < 60; ++frame) controller->updateWithDeltaTime(kFrame);
  const GLKVector3 end = controller->touchYXZ();
  EXPECT_NEAR(end.x, -0.2051F, 1e-3F);
  EXPECT_NEAR(anglesOf(*controller).y, kPitchLimit, 1e-5);
  // What was left of the vertical speed is gone: back inside, nothing moves up again.
  controller->setTouchYXZ(GLKVector3Make(end.x, 0, 0));
  controller->updateWithDeltaTime(kFrame);
  EXPECT_EQ(controller->touchYXZ().y, 0);
}

TEST_F(Controllers, AttachingLooksAheadAgainWithTheRelativeControllerOnly) {
  const auto relative = attached<ZEL360RelativeMotionController>();
  relative->setTouchYXZ(GLKVector3Make(1, 0.5F, 0));
  relative->setDeviceYXZ(GLKVector3Make(1, 0.5F, 0));
  relative->attachToView(view_);
  relative->updateWithDeltaTime(0);
  expectAngles(*relative, GLKVector3Make(0, 0, 0));

  const auto free = attached<ZEL360FreeMotionController>();
  free->setTouchYXZ(GLKVector3Make(1, 0.5F, 0));
  free->attachToView(view_);
  free->updateWithDeltaTime(0);
  expectAngles(*free, GLKVector3Make(1, 0.5F, 0));
}

// The free controller.

TEST_F(Controllers, FreeMotionFollowsTheDeviceWithItsRoll) {
  const auto controller = attached<ZEL360FreeMotionController>();
  motion_->setCamera(0.4F, -0.3F, 0.5F);
  controller->updateWithDeltaTime(kFrame);
  expectAngles(*controller, GLKVector3Make(0.4F, -0.3F, 0.5F));
  UIApplication::sharedApplication().overrideStatusBarOrientation(UIInterfaceOrientationLandscapeLeft);
  controller->updateWithDeltaTime(kFrame);
  expectAngles(*controller, GLKVector3Make(0.4F, -0.3F, 0.5F + static_cast<float>(kPi) / 2));
  // Without samples it stays, and pans on.
  motion_->attitude.reset();
  controller->setTouchYXZ(GLKVector3Make(0.2F, 0, 0));
  controller->updateWithDeltaTime(kFrame);
  expectAngles(*controller, GLKVector3Make(0.6F, -0.3F, 0.5F + static_cast<float>(kPi) / 2));
}

TEST_F(Controllers, FreePanningTurnsOnPastThePole) {
  const auto controller = attached<ZEL360FreeMotionController>();
  beginPan();
  for (int step = 0; step < 80; ++step) moveBy(0, -10);
  controller->updateWithDeltaTime(0);
  // 2 rad up: the camera is upside down, looking back.
  const GLKVector3 angles = anglesOf(*controller);
  EXPECT_NEAR(controller->touchYXZ().y, 2.0F, 0.13F);
  EXPECT_NEAR(angles.y, kPi - controller->touchYXZ().y, 1e-4);
  EXPECT_NEAR(std::abs(angles.x), kPi, 1e-4);
}

// With the view.

TEST_F(Controllers, AnEventIsInTheCameraOfTheNextRefresh) {
  const auto controller = attached<ZEL360RelativeMotionController>();
  const auto view = ZELRenderView::create(CGRectMake(0, 0, 320, 200));
  view->setContentProjection(ZELProjection::createWithProjectionType(ZELProjectionTypeEquirectangular));
  view->setController(controller);
  view->displayAtSyncTime(CACurrentMediaTime());
  beginPan();
  for (int frame = 0; frame < 5; ++frame) {
    clock_->advance(kFrame);
    moveBy(20, 0);
    const float yaw = controller->touchYXZ().x;
    view->displayAtSyncTime(CACurrentMediaTime() + kFrame);
    EXPECT_NEAR(anglesOf(*controller).x, yaw, 1e-6F);
  }
  EXPECT_NEAR(anglesOf(*controller).x, -0.25F, 1e-5F);
}

}  // namespace
