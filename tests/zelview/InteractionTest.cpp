// Turning and zooming through the whole viewer, from the event to the camera of a refresh, on a clock that the test
// steps.

#include <algorithm>
#include <numbers>
#include <random>

#include "apps/zelview/HelpOverlay.h"
#include "tests/Allocations.h"
#include "tests/zelview/SteppedViewer.h"

namespace zelview {
namespace {

constexpr double kDegree = std::numbers::pi / 180;
constexpr double kPitchLimit = 0.35 * std::numbers::pi;

/// The angle of the rotation between two camera matrices, mirrored or not.
double angleBetween(const GLKMatrix4& a, const GLKMatrix4& b) {
  double trace = 0;
  for (int column = 0; column < 3; ++column) {
    for (int row = 0; row < 3; ++row) trace += static_cast<double>(a.m[column * 4 + row]) * b.m[column * 4 + row];
  }
  // By way of the sine of half the angle, which stays exact near zero.
  return 2 * std::asin(std::sqrt(std::clamp((3 - trace) / 4, 0.0, 1.0)));
}

using Interaction = SteppedViewer;

TEST_F(Interaction, EveryInputShowsInTheCameraOfTheNextRefresh) {
  const struct {
    const char* what;
    std::function<void()> act;
  } inputs[] = {
      {"a drag begins", [&] { touch(UITouchPhase::Began, 600, 300), touch(UITouchPhase::Moved, 640, 300); }},
      {"a drag goes on", [&] { touch(UITouchPhase::Moved, 641, 300); }},
      {"the device turns", [&] { motion_->turnTo(0.1F, 0, 0); }},
      {"the wheel turns",
       [&] {
         viewer_->window()->deliverScroll({5, 5}, 0.2);
       }},
      {"a pinch",
       [&] {
         viewer_->pinch(1.1, {600, 300});
       }},
      {"an arrow is pressed", [&] { press("Up"); }},
      {"a stick is pushed", [&] { sticks_.right.x = 1; }},
      {"the view is mirrored", [&] { press("m"); }},
  };
  for (const ControllerChoice controller : {ControllerChoice::Relative, ControllerChoice::Free}) {
    motion_->turnTo(0, 0, 0);
    sticks_ = {};
    open(controller);
    for (const auto& input : inputs) {
      // What the inputs before set moving comes to rest; a refresh in this very moment shows nothing new.
      viewer_->window()->deliverKeyUp({.name = "Up"});
      sticks_ = {};
      wait(3);
      const Shown before = refresh();
      EXPECT_TRUE(std::ranges::equal(before.matrix.m, refresh().matrix.m)) << input.what;
      input.act();
      const Shown after = refresh();
      const bool turned = angleBetween(before.matrix, after.matrix) > 1e-3;
      EXPECT_TRUE(turned || std::abs(std::log(after.zoom / before.zoom)) > 1e-3) << input.what;
    }
  }
}

TEST_F(Interaction, AFlingEndsAtTheSamePlaceAtAnyFrameRate) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> jitter(0.002, 0.05);
  const std::function<double()> periods[] = {[] { return 1.0 / 24; }, [] { return 1.0 / 60; }, [] { return 1.0 / 90; },
                                             [] { return 1.0 / 240; }, [&] { return jitter(random); }};
  const CGPoint velocity = CGPointMake(900, -300);
  // 0.002 rad/s per point per second, times 0.85 every sixtieth of a second.
  const double way = 0.002 / (60 * -std::log(0.85));
  const double dragged = 0.0025 * 0.4;
  for (const ControllerChoice controller : {ControllerChoice::Relative, ControllerChoice::Free}) {
    for (const auto& period : periods) {
      open(controller);
      play(drag(200, 400, velocity, 0.4), 3.5, period);
      EXPECT_NEAR(shown_.direction().yaw, -velocity.x * (dragged + way), 1e-4);
      EXPECT_NEAR(shown_.direction().pitch, velocity.y * -(-dragged - way), 1e-4);

      open(controller);
      play(drag(200, 400, velocity, 0.4, 0.2), 3.5, period);
      EXPECT_NEAR(shown_.direction().yaw, -velocity.x * dragged, 1e-4) << "a rest before letting go is no fling";

      open(controller, {.zoom = 4});
      play(drag(200, 400, velocity, 0.4), 3.5, period);
      EXPECT_NEAR(shown_.direction().yaw, -velocity.x * (dragged + way) / 4, 1e-4) << "finer when zoomed in";
    }
  }
}

TEST_F(Interaction, KeysAndSticksTurnTheSameAtAnyFrameRate) {
  std::mt19937 random(6);
  std::uniform_real_distribution<double> jitter(0.002, 0.05);
  const std::function<double()> periods[] = {[] { return 1.0 / 24; }, [] { return 1.0 / 240; },
                                             [&] { return jitter(random); }};
  for (const auto& period : periods) {
    open();
    const std::vector<Event> events = {
        {0.1, [&] { press("Right"); }},
        {0.2, [&] { viewer_->window()->deliverKey({.name = "Right", .repeated = true}); }},
        {0.613, [&] { release("Right"); }},
        {0.8, [&] { tap("Up"), tap("Up"), tap("Up"), tap("Up"), tap("Down"); }},
        {2.0, [&] { press("Left"), viewer_->windowDidChangeFocus(*viewer_->window(), false); }}};
    play(events, 4, period);
    EXPECT_NEAR(shown_.direction().yaw, (60 * 0.513 - 5) * kDegree, 1e-4);
    EXPECT_NEAR(shown_.direction().pitch, 15 * kDegree, 1e-4);
  }

  // Pressed with a wish for more than there is.
  open(ControllerChoice::Relative, {.yaw = 10, .pitch = -20});
  press("Up");
  for (const Shown& each : wait(3)) EXPECT_LE(each.direction().pitch, kPitchLimit + 1e-6);
  EXPECT_NEAR(shown_.direction().pitch, kPitchLimit, 1e-6);
  EXPECT_NEAR(shown_.direction().yaw, 10 * kDegree, 1e-6);
  release("Up");
  wait(1);
  press("Down");
  refresh();
  EXPECT_LT(shown_.direction().pitch, kPitchLimit - 1e-3) << "the way back starts at once";

  open(ControllerChoice::Relative, {.zoom = 10});
  sticks_.left.x = 1;
  wait(2);
  sticks_.left.x = 0;
  wait(2);
  // Polled at the refreshes, so the push lasts for 2 seconds to within one.
  EXPECT_NEAR(shown_.direction().yaw, 2 * 90 * kDegree / 10, 90 * kDegree / 10 / 60 + 1e-6) << "finer when zoomed in";
}

TEST_F(Interaction, ControllersChangeWithoutAJump) {
  // A tilted device far away from where it is looked.
  motion_->turnTo(-1.2F, 0.3F, 0.5F);
  open(ControllerChoice::Relative, {.yaw = 130, .pitch = 40});
  wait(0.5);
  const Direction level = shown_.direction();
  EXPECT_NEAR(level.yaw, 130 * kDegree, 1e-6);
  EXPECT_NEAR(level.pitch, 40 * kDegree, 1e-6);

  // The steepest of the easing is 15/8 of the average speed over 0.33 s. Every turn is the roll's, or less.
  const auto expectSmooth = [&](const char* what, GLKMatrix4 before) {
    const double rate = 240;
    for (const Shown& each : wait(0.5, rate)) {
      EXPECT_LT(angleBetween(before, each.matrix), 1.0 * 15 / 8 / 0.33 / rate) << what << " at " << each.time;
      before = each.matrix;
    }
  };
  tap("c");
  expectSmooth("to free", shown_.matrix);
  EXPECT_EQ(viewer_->camera()->choice(), ControllerChoice::Free);
  EXPECT_NEAR(shown_.direction().yaw, level.yaw, 1e-5);
  EXPECT_NEAR(shown_.direction().pitch, level.pitch, 1e-5);
  EXPECT_GT(std::abs(shown_.matrix.m[1]), 0.1) << "the device's roll is seen";

  tap("c");
  wait(0.1, 240);
  tap("c");
  expectSmooth("changed back half-way", shown_.matrix);
  tap("c");
  expectSmooth("to relative", shown_.matrix);
  EXPECT_NEAR(shown_.direction().yaw, level.yaw, 1e-5);
  EXPECT_NEAR(shown_.direction().pitch, level.pitch, 1e-5);
  EXPECT_NEAR(shown_.matrix.m[1], 0, 1e-6) << "the horizon is level";

  // Beyond the relative controller's limit: as far as that goes.
  open(ControllerChoice::Free, {.yaw = -70, .pitch = 85});
  motion_->turnTo(0, 0, 0);
  wait(0.1);
  tap("c");
  wait(0.5);
  EXPECT_NEAR(shown_.direction().yaw, -70 * kDegree, 1e-5);
  EXPECT_NEAR(shown_.direction().pitch, kPitchLimit, 1e-5);

  open(ControllerChoice::Fixed, {.yaw = 50, .pitch = 20});
  tap("Up");
  play(drag(200, 400, {500, 500}, 0.2), 0.5);
  EXPECT_NEAR(shown_.direction().yaw, 50 * kDegree, 1e-6);
  EXPECT_NEAR(shown_.direction().pitch, 0, 1e-6);
}

TEST_F(Interaction, EasesBackToStraightAheadAndToTheStart) {
  const auto doubleClick = [&] { click(640, 360), clock_->advance(0.2), click(643, 358); };
  for (const ControllerChoice controller : {ControllerChoice::Relative, ControllerChoice::Free}) {
    motion_->turnTo(0.4F, -0.2F, 0);
    const Camera start = {.yaw = 100, .pitch = 30, .zoom = 3, .mirror = true};
    open(controller, start);
    // In the midst of a fling and of a change of zoom.
    play(drag(600, 400, {2000, 700}, 0.2), now() + 0.21);
    viewer_->window()->deliverScroll({5, 5}, 4);
    refresh();
    GLKMatrix4 before = shown_.matrix;
    doubleClick();
    for (const Shown& each : wait(2, 240)) {
      EXPECT_LT(angleBetween(before, each.matrix), std::numbers::pi * 15 / 8 / 0.33 / 240);
      before = each.matrix;
    }
    EXPECT_NEAR(shown_.direction().yaw, 0, 1e-5);
    EXPECT_NEAR(shown_.direction().pitch, 0, 1e-5);
    EXPECT_EQ(shown_.zoom, 1.0);
    EXPECT_TRUE(viewer_->camera()->isMirrored());

    tap("m");
    tap("r");
    wait(2);
    EXPECT_NEAR(shown_.direction().yaw, -100 * kDegree, 1e-5) << "seen in the mirror";
    EXPECT_NEAR(shown_.direction().pitch, 30 * kDegree, 1e-5);
    EXPECT_EQ(shown_.zoom, 3.0);
  }

  // What is not a double click.
  open();
  tap("Right");
  wait(2);
  const double yaw = shown_.direction().yaw;
  click(100, 100), clock_->advance(0.1), click(200, 100);
  clock_->advance(1), click(100, 100), clock_->advance(0.5), click(100, 100);
  clock_->advance(1), touch(UITouchPhase::Began, 100, 100), click(300, 300), touch(UITouchPhase::Ended, 100, 100);
  clock_->advance(0.1), click(100, 100);
  clock_->advance(1), click(100, 100), touch(UITouchPhase::Began, 100, 100), touch(UITouchPhase::Cancelled, 100, 100);
  wait(1);
  EXPECT_EQ(shown_.direction().yaw, yaw);
}

TEST_F(Interaction, ZoomEasesWithinItsLimitsOnFlatContentToo) {
  for (const ZELProjectionType projection : {ZELProjectionTypeFlat, ZELProjectionTypeEquirectangular}) {
    for (const double rate : {24.0, 240.0}) {
      open(ControllerChoice::Relative, {}, projection);
      const double begun = now();
      viewer_->window()->deliverScroll({5, 5}, 5);
      wait(0.08, rate);
      // A picture is seen one refresh after its timestamp.
      const double target = 5 * std::log(1.1);
      const double eased = shown_.time + 1 / rate - begun;
      EXPECT_NEAR(std::log(shown_.zoom), target * (1 - std::exp(-eased / 0.08)), 1e-9) << rate;
      wait(1);
      EXPECT_DOUBLE_EQ(shown_.zoom, std::exp(target));
      double before = shown_.zoom;
      viewer_->pinch(1e6, {1, 1});
      for (const Shown& each : wait(2)) {
        EXPECT_GE(each.zoom, before);
        EXPECT_LE(each.zoom, kLargestZoom);
        before = each.zoom;
      }
      EXPECT_EQ(shown_.zoom, kLargestZoom);
      for (const double nonsense : {std::nan(""), -1.0, 0.0, HUGE_VAL}) viewer_->pinch(nonsense, {1, 1});
      for (const double nonsense : {std::nan(""), -HUGE_VAL}) viewer_->window()->deliverScroll({1, 1}, nonsense);
      wait(2);
      EXPECT_EQ(shown_.zoom, kSmallestZoom) << "the wheel turned down without an end";
    }
  }
  open(ControllerChoice::Relative, {}, ZELProjectionTypeFlat);
  press("Right");
  play(drag(200, 400, {500, 500}, 0.2), 1);
  release("Right");
  wait(2);
  tap("2");
  wait(1);
  EXPECT_EQ(shown_.direction().yaw, 0) << "what was dragged on a flat picture turns nothing later";

  touch(UITouchPhase::Began, 500, 300, 1), touch(UITouchPhase::Began, 700, 300, 2);
  touch(UITouchPhase::Moved, 400, 300, 1), touch(UITouchPhase::Moved, 800, 300, 2);
  wait(1);
  EXPECT_NEAR(shown_.zoom, 2, 0.1) << "two fingers";
}

TEST_F(Interaction, ControlsOnThePictureDoNotTurnIt) {
  open();
  tap("?");
  EXPECT_TRUE(play(drag(640, 360, {500, 0}, 0.2), now() + 1).back().direction().yaw == 0.0);
  tap("Right");
  wait(2);
  const double yaw = shown_.direction().yaw;
  click(640, 360), click(640, 360);
  touch(UITouchPhase::Began, 600, 360, 1), touch(UITouchPhase::Began, 700, 360, 2);
  touch(UITouchPhase::Moved, 500, 360, 1), touch(UITouchPhase::Moved, 800, 360, 2);
  touch(UITouchPhase::Ended, 500, 360, 1), touch(UITouchPhase::Ended, 800, 360, 2);
  wait(1);
  EXPECT_EQ(shown_.direction().yaw, yaw);
  EXPECT_EQ(shown_.zoom, 1.0);
  play(drag(20, 20, {500, 0}, 0.2), now() + 1);
  EXPECT_NE(shown_.direction().yaw, yaw) << "beside the list the picture is within reach";
}

TEST_F(Interaction, ARefreshAllocatesNothingInTheCamera) {
  for (const ControllerChoice controller : {ControllerChoice::Relative, ControllerChoice::Free}) {
    motion_->turnTo(0.1F, 0.2F, 0.3F);
    open(controller, {.zoom = 2});
    play(drag(200, 400, {900, 300}, 0.4), 0.41);
    viewer_->window()->deliverScroll({5, 5}, 3);
    press("Left");
    CameraRig& camera = *viewer_->camera();
    const long before = allocationCount();
    for (int i = 0; i < 100; ++i) {
      clock_->advance(0.01);
      camera.pushSticks({.right = {0.01 * i, 0.5}});
      camera.advanceTo(CACurrentMediaTime() + 0.01);
      camera.updateWithDeltaTime(0.01F);
    }
    EXPECT_EQ(allocationCount() - before, 0);
  }
}

TEST_F(Interaction, ThePictureGoesWithTheFingerMirroredOrNot) {
  for (const bool mirrored : {false, true}) {
    open(ControllerChoice::Relative, {.yaw = 30, .mirror = mirrored});
    const GLKMatrix4 before = refresh().matrix;
    touch(UITouchPhase::Began, 600, 300);
    touch(UITouchPhase::Moved, 700, 350);
    const GLKMatrix4 after = refresh().matrix;
    // Where what was in the middle is now, in the view: the inverse of a rotation, mirrored or not, is its transpose.
    const auto along = [&](int axis) {
      double sum = 0;
      for (int row = 0; row < 3; ++row) sum += static_cast<double>(after.m[axis * 4 + row]) * before.m[8 + row];
      return sum;
    };
    EXPECT_GT(along(0), 0.1) << "to the right, mirrored: " << mirrored;
    EXPECT_LT(along(1), -0.05) << "down, mirrored: " << mirrored;
  }
}

}  // namespace
}  // namespace zelview
