// The window's mouse and keys, on a window in memory.

#include "apps/zelview/PictureContent.h"
#include "apps/zelview/ViewerWindow.h"

#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <numbers>
#include <string>
#include <vector>

#include "tests/zelview/Octants.h"
#include "tests/zelview/TestFiles.h"

namespace zelview {
namespace {

constexpr double kTimeLimit = 30.0;
constexpr double kShare = 0.8;

/// One thing that the person does, and what must come of it.
struct Step {
  const char* what;
  std::function<void(UIWindow&)> act;
  std::function<bool(UIWindow&)> holds;
};

/// Does the steps one after the other while the main run loop runs; ends it when one does not come true.
class Script {
 public:
  explicit Script(std::vector<Step> steps) : steps_(std::move(steps)) {
    token_ = NSRunLoop::mainRunLoop().addTimer(0.02, 0.02, [this] { advance(); });
  }
  ~Script() { NSRunLoop::mainRunLoop().remove(token_); }

  bool isAtLastStep() const { return next_ + 1 == steps_.size(); }

 private:
  void advance() {
    const std::shared_ptr<UIWindow> window = UIApplication::sharedApplication().keyWindow();
    if (next_ == steps_.size() || !window) return;
    const Step& step = steps_[next_];
    if (!acted_) {
      step.act(*window);
      acted_ = true;
      since_ = CACurrentMediaTime();
    } else if (step.holds(*window)) {
      ++next_;
      acted_ = false;
    } else if (CACurrentMediaTime() - since_ > kTimeLimit) {
      ADD_FAILURE() << step.what;
      NSRunLoop::mainRunLoop().stop();
    }
  }

  std::vector<Step> steps_;
  NSRunLoop::Token token_ = 0;
  size_t next_ = 0;
  bool acted_ = false;
  double since_ = 0.0;
};

std::function<void(UIWindow&)> press(const char* name, int times = 1) {
  return [=](UIWindow& window) {
    for (int i = 0; i < times; ++i) {
      window.deliverKey({.name = name});
      window.deliverKeyUp({.name = name});
    }
  };
}

/// Whether the window's picture is what that camera sees.
std::function<bool(UIWindow&)> shows(View view) {
  return [=](UIWindow& window) {
    const auto renderView = std::dynamic_pointer_cast<ZELRenderView>(window.subviews().front());
    const std::shared_ptr<UIImage> picture = renderView ? renderView->takeSnapshot() : nullptr;
    return picture && shareOfRightOctants(*picture->cgImage(), view) > kShare;
  };
}

bool hasSnapshotFile() {
  for (const auto& entry : std::filesystem::directory_iterator(".")) {
    const std::string path = entry.path().string();
    if (entry.path().filename().string().starts_with("zelview-") && CGImageCreateWithContentsOfFile(path).image) {
      return true;
    }
  }
  return false;
}

TEST(ViewerWindow, MouseAndKeysDoWhatTheListSays) {
  UIApplicationOptions display;
  display.displayDriver = "offscreen";
  ASSERT_EQ(UIApplication::start(display), "");
  const ScratchFolder folder;
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.file(""));

  Options options;
  options.size = CGSizeMake(200, 120);
  const auto viewer = ViewerWindow::create(options, PictureContent::load(options, 16384), CACurrentMediaTime());
  EXPECT_FALSE(UIApplication::sharedApplication().keyWindow()->isVisible()) << "shown before its first picture";

  // 60 points at 0.0025 radians each; a rest of a tenth of a second before letting go leaves no fling.
  const double dragged = -0.0025 * 60 * 180 / std::numbers::pi;
  const auto nothing = [](UIWindow&) {};
  const auto drag = [](UIWindow& window) {
    const double now = CACurrentMediaTime();
    window.deliverPointer(1, UITouchPhase::Began, CGPointMake(100, 60), now - 0.4);
    window.deliverPointer(1, UITouchPhase::Moved, CGPointMake(160, 60), now - 0.3);
    window.deliverPointer(1, UITouchPhase::Ended, CGPointMake(160, 60), now);
  };
  const auto controls = [](size_t count) {
    return [=](UIWindow& window) { return window.subviews().back()->subviews().size() == count; };
  };
  const Script script({
      {"the window appears", nothing, [](UIWindow& window) { return window.isVisible(); }},
      {"it looks ahead", nothing, shows({.yaw = 0})},
      {"m mirrors", press("m"), shows({.yaw = 0, .mirror = true})},
      {"m mirrors back", press("m"), shows({.yaw = 0})},
      {"dragging turns", drag, shows({.yaw = dragged})},
      {"r resets", press("r"), shows({.yaw = 0})},
      {"Home looks straight ahead", [](UIWindow& w) { press("Right")(w), press("Home")(w); }, shows({.yaw = 0})},
      {"arrows turn right", press("Right", 5), shows({.yaw = 25})},
      {"arrows turn up", press("Up", 4), shows({.yaw = 25, .pitch = 20})},
      // At the largest zoom all of the view looks about where its middle does.
      {"the wheel zooms", [](UIWindow& w) { w.deliverScroll(CGPointMake(1, 1), 100); },
       shows({.yaw = 25, .pitch = 20, .zoom = 10})},
      {"and back to the smallest", [](UIWindow& w) { w.deliverScroll(CGPointMake(1, 1), -100); },
       shows({.yaw = 25, .pitch = 20, .zoom = 0.3})},
      {"3 shows a cube", [](UIWindow& w) { press("r")(w), press("3")(w); }, shows({.yaw = 0})},
      {"s saves a snapshot", press("s"), [](UIWindow&) { return hasSnapshotFile(); }},
      {"? lists the keys", press("?"), controls(1)},
      {"Escape hides the list", press("Escape"), controls(0)},
      {"Escape leaves", press("Escape"), [](UIWindow&) { return false; }},
  });
  viewer->run();
  EXPECT_TRUE(script.isAtLastStep()) << "the window was left too early";
  std::filesystem::current_path(before);
}

}  // namespace
}  // namespace zelview
