#pragma once

#include <ZELKit/ZELOrientationMath.h>
#include <ZELPlatform/CMMotionManager.h>
#include <ZELPlatform/CoreGraphics.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/QuartzCore.h>
#include <ZELPlatform/UIApplication.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/zelview/Direction.h"
#include "apps/zelview/PictureContent.h"
#include "apps/zelview/ViewerWindow.h"
#include "tests/zelview/TestFiles.h"

namespace zelview {

/// A device that is turned by hand.
class HandMotion final : public CMMotionSource {
 public:
  std::string description() const override { return "by hand"; }
  void setActive(bool) override {}
  std::optional<CMDeviceMotion> sampleAtTime(double hostTime) override {
    if (!attitude_) return std::nullopt;
    return CMDeviceMotion{*attitude_, hostTime};
  }

  /// The sample of which the kit makes this camera, in portrait.
  void turnTo(float yaw, float pitch, float roll) {
    const GLKQuaternion back = {-0.70710677F, 0, 0, 0.70710677F};
    const GLKQuaternion q = GLKQuaternionMultiply(back, YXZToQuaternion(yaw, pitch, roll));
    attitude_ = CMQuaternion{-q.x, -q.y, q.z, q.w};
  }

 private:
  std::optional<CMQuaternion> attitude_;
};

/// The whole viewer on a window in memory, with a clock and refreshes of the test's own.
class SteppedViewer : public testing::Test {
 protected:
  struct Event {
    double time;
    std::function<void()> act;
  };

  /// What a refresh showed, and when.
  struct Shown {
    double time;
    GLKMatrix4 matrix;
    double zoom;
    Direction direction() const { return directionOf(matrix); }
  };

  void SetUp() override {
    UIApplicationOptions display;
    display.displayDriver = "offscreen";
    ASSERT_EQ(UIApplication::start(display), "");
    UIApplication::sharedApplication().overrideStatusBarOrientation(UIInterfaceOrientationPortrait);
    CMMotionManager::setSource(motion_);
    DisplayRefresh::shared().setStepped(true);
    HostClock::setCurrent(clock_);
    const auto grey = [](size_t, size_t) { return Pixel{90, 90, 90}; };
    ASSERT_EQ(CGImageWritePNG(*makeImage(64, 32, grey), folder_.file("in.png")), "");
  }

  void TearDown() override {
    closeViewer();
    NSRunLoop::mainRunLoop().runPending();
    HostClock::setCurrent(nullptr);
    DisplayRefresh::shared().setStepped(false);
    CMMotionManager::setSource(nullptr);
    UIApplication::sharedApplication().overrideStatusBarOrientation(UIInterfaceOrientationUnknown);
  }

  void open(ControllerChoice controller = ControllerChoice::Relative, const Camera& camera = {},
            ZELProjectionType projection = ZELProjectionTypeEquirectangular) {
    closeViewer();
    Options options;
    options.picture = folder_.file("in.png");
    options.size = CGSizeMake(1280, 720);
    options.controller = controller;
    options.camera = camera;
    options.projection = projection;
    viewer_ = ViewerWindow::create(options, PictureContent::load(options, 16384), CACurrentMediaTime());
    viewer_->setThumbsticks([this] { return sticks_; });
    start_ = CACurrentMediaTime();
    refresh();
  }

  /// Seconds since the window was made.
  double now() const { return CACurrentMediaTime() - start_; }

  Shown refresh(double period = 1.0 / 60) {
    DisplayRefresh::shared().refresh(CACurrentMediaTime(), period);
    shown_ = {now(), viewer_->renderView()->controller()->viewMatrix(), viewer_->renderView()->zoom()};
    return shown_;
  }

  /// Lets the time pass until `end`, with the events at their times and refreshes in between.
  std::vector<Shown> play(const std::vector<Event>& events, double end, const std::function<double()>& period) {
    std::vector<Shown> shown;
    size_t next = 0;
    for (double time = now(); time < end;) {
      const double step = period();
      time += step;
      for (; next < events.size() && events[next].time <= time; ++next) {
        passUntil(events[next].time);
        events[next].act();
      }
      passUntil(time);
      shown.push_back(refresh(step));
    }
    return shown;
  }
  std::vector<Shown> play(const std::vector<Event>& events, double end, double rate = 60) {
    return play(events, end, [rate] { return 1 / rate; });
  }
  std::vector<Shown> wait(double seconds, double rate = 60) { return play({}, now() + seconds, rate); }

  void touch(UITouchPhase phase, double x, double y, int64_t finger = 0) {
    viewer_->window()->deliverPointer(finger, phase, CGPointMake(x, y), CACurrentMediaTime());
  }
  void press(const char* name) { viewer_->window()->deliverKey({.name = name}); }
  void release(const char* name) { viewer_->window()->deliverKeyUp({.name = name}); }
  void tap(const char* name) { press(name), release(name); }
  void click(double x, double y) { touch(UITouchPhase::Began, x, y), touch(UITouchPhase::Ended, x, y); }

  /// A drag at an even speed from (x, y), which begins at once with a jerk and back so that no way is lost on the
  /// recogniser's threshold; let go in motion, or after a rest.
  std::vector<Event> drag(double x, double y, CGPoint velocity, double seconds, double rest = 0.0) {
    std::vector<Event> events = {{now(), [=, this] {
                                    touch(UITouchPhase::Began, x, y);
                                    touch(UITouchPhase::Moved, x + 40, y);
                                    touch(UITouchPhase::Moved, x, y);
                                  }}};
    const double begin = now();
    const int count = static_cast<int>(std::lround(seconds * 125));
    const auto place = [=](int i) { return CGPointMake(x + velocity.x * i / 125, y + velocity.y * i / 125); };
    for (int i = 1; i <= count; ++i) {
      events.push_back({begin + i / 125.0, [=, this] { touch(UITouchPhase::Moved, place(i).x, place(i).y); }});
    }
    events.push_back(
        {begin + count / 125.0 + rest, [=, this] { touch(UITouchPhase::Ended, place(count).x, place(count).y); }});
    return events;
  }

  std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
  std::shared_ptr<HandMotion> motion_ = std::make_shared<HandMotion>();
  std::shared_ptr<ViewerWindow> viewer_;
  GCThumbsticks sticks_;
  Shown shown_{};
  /// Holds `in.png`, which the window shows.
  ScratchFolder folder_;

 private:
  void closeViewer() {
    if (!viewer_) return;
    // Waits for the picture under way: a process that ends while the driver compiles its first program crashes in it.
    viewer_->renderView()->takeSnapshot();
    viewer_->close();
    viewer_ = nullptr;
  }

  void passUntil(double time) { clock_->advance(time - now()); }

  double start_ = 0.0;
};

}  // namespace zelview
