#include <SDL2/SDL_events.h>
#include <SDL2/SDL_video.h>
#include <ZELPlatform/CoreGraphics.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIScreen.h>
#include <ZELPlatform/UIWindow.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "window/XWindow.h"

namespace {

using testing::ElementsAre;

constexpr double kPatience = 10.0;

/// Four fields of different colours, so that a picture that is mirrored, turned or has its colours swapped is seen.
constexpr int64_t kTopLeft = 0xFF0000;
constexpr int64_t kTopRight = 0x00FF00;
constexpr int64_t kBottomLeft = 0x0000FF;
constexpr int64_t kBottomRight = 0xFFFF00;

std::shared_ptr<CGImage> fourFields() {
  constexpr size_t kSide = 64;
  std::vector<uint8_t> bytes;
  for (size_t row = 0; row < kSide; ++row) {
    for (size_t column = 0; column < kSide; ++column) {
      const bool left = column < kSide / 2;
      const int64_t colour = row < kSide / 2 ? (left ? kTopLeft : kTopRight) : (left ? kBottomLeft : kBottomRight);
      bytes.insert(bytes.end(), {static_cast<uint8_t>(colour >> 16), static_cast<uint8_t>(colour >> 8),
                                 static_cast<uint8_t>(colour), 255});
    }
  }
  return CGImage::create(kSide, kSide, kSide * 4, CGImageAlphaInfo::PremultipliedLast, std::move(bytes));
}

class Delegate final : public UIWindowDelegate {
 public:
  void windowDidRequestClose(UIWindow&) override { ++closeRequests; }
  void windowDidResize(UIWindow& window) override { sizes.push_back(window.bounds().size); }
  void windowDidScroll(UIWindow&, CGPoint location, double steps) override {
    scrolls.insert(scrolls.end(), {location.x, location.y, steps});
  }
  void windowDidPressKey(UIWindow&, const UIKey& key) override { keys.push_back(key); }
  void windowDidReleaseKey(UIWindow&, const UIKey& key) override { releasedKeys.push_back(key.name); }
  void windowDidChangeFocus(UIWindow&, bool focused) override { focusChanges.push_back(focused); }

  int closeRequests = 0;
  std::vector<CGSize> sizes;
  std::vector<double> scrolls;
  std::vector<UIKey> keys;
  std::vector<std::string> releasedKeys;
  std::vector<bool> focusChanges;
};

class TouchedView final : public UIView {
 public:
  explicit TouchedView(Key key) : UIView(key) {}
  static std::shared_ptr<TouchedView> create(CGRect frame) { return createView<TouchedView>(frame); }

  void touchesBegan(const UITouchSet& touches) override { note("began", touches); }
  void touchesMoved(const UITouchSet& touches) override { note("moved", touches); }
  void touchesEnded(const UITouchSet& touches) override { note("ended", touches); }
  void touchesCancelled(const UITouchSet& touches) override { note("cancelled", touches); }

  std::string newest;
  int count = 0;

 private:
  void note(const std::string& what, const UITouchSet& touches) {
    ++count;
    const CGPoint place = touches.front()->locationInView(this);
    newest = what + " " + std::to_string(touches.front()->identifier()) + " at " +
             std::to_string(static_cast<int>(place.x)) + "," + std::to_string(static_cast<int>(place.y));
  }
};

/// A window of 320 x 240 with a view of its size that shows the four fields, not shown yet.
class NativeWindow : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::getenv("DISPLAY")) {
      GTEST_SKIP() << "there is no X display (DISPLAY is not set)";
    }
    UIApplicationOptions options;
    options.displayDriver = "sdl";
    ASSERT_EQ(UIApplication::start(options), "");
    std::string error;
    window = UIWindow::create(CGRectMake(0, 0, 320, 240), &error);
    ASSERT_TRUE(window) << error;
    window->setTitle("Four fields");
    window->setDelegate(delegate);
    view = TouchedView::create(window->bounds());
    view->layer()->setContents(fourFields());
    window->addSubview(view);
    native = std::make_unique<XWindow>("Four fields");
    ASSERT_TRUE(native->exists());
  }

  static bool eventually(const std::function<bool()>& condition) {
    return NSRunLoop::mainRunLoop().runUntil(condition, kPatience);
  }

  /// Whether the four fields fill a native window of this size.
  bool showsFields(int width, int height) const {
    return native->size() == std::array<int, 2>{width, height} && native->pixel(width / 4, height / 4) == kTopLeft &&
           native->pixel(width - 3, 2) == kTopRight && native->pixel(2, height - 3) == kBottomLeft &&
           native->pixel(width * 3 / 4, height * 3 / 4) == kBottomRight;
  }

  void show() {
    window->makeKeyAndVisible();
    ASSERT_TRUE(eventually([&] { return showsFields(320, 240); }));
  }

  std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
  std::shared_ptr<UIWindow> window;
  std::shared_ptr<TouchedView> view;
  std::unique_ptr<XWindow> native;
};

TEST_F(NativeWindow, AppearsWithThePictureInIt) {
  NSRunLoop::mainRunLoop().runFor(0.05);
  EXPECT_FALSE(native->isMapped()) << "made hidden";
  window->makeKeyAndVisible();
  // Without a turn of the loop: what was handed over is all there is. The server may take a moment to paint it.
  for (int round = 0; round < 100 && !showsFields(320, 240); ++round) {
    const timespec moment{0, 10'000'000};
    nanosleep(&moment, nullptr);
  }
  EXPECT_EQ(native->pixel(80, 60), kTopLeft);
  EXPECT_EQ(native->pixel(240, 60), kTopRight);
  EXPECT_EQ(native->pixel(80, 180), kBottomLeft);
  EXPECT_EQ(native->pixel(240, 180), kBottomRight);
  EXPECT_TRUE(window->isVisible());
  EXPECT_EQ(window->displayScale(), 1.0);
}

TEST_F(NativeWindow, FollowsTheSizeThatThePersonOrTheProgramGivesIt) {
  show();
  native->resize(240, 400);
  EXPECT_TRUE(eventually([&] { return showsFields(240, 400); }));
  EXPECT_TRUE(CGRectEqualToRect(view->frame(), CGRectMake(0, 0, 240, 400)));
  EXPECT_EQ(UIApplication::sharedApplication().statusBarOrientation(), UIInterfaceOrientationPortrait);
  window->setFrame(CGRectMake(0, 0, 200, 100));
  EXPECT_TRUE(eventually([&] { return showsFields(200, 100); }));
  EXPECT_EQ(UIApplication::sharedApplication().statusBarOrientation(), UIInterfaceOrientationLandscapeRight);
  ASSERT_FALSE(delegate->sizes.empty());
  EXPECT_TRUE(CGSizeEqualToSize(delegate->sizes.back(), CGSizeMake(200, 100)));
}

TEST_F(NativeWindow, ShowsChangesOfTheTreeAndRepairsWhatWasPaintedOver) {
  show();
  native->damage();
  EXPECT_FALSE(showsFields(320, 240));
  native->expose();
  EXPECT_TRUE(eventually([&] { return showsFields(320, 240); }));
  view->setFrame(CGRectMake(160, 120, 160, 120));
  EXPECT_TRUE(eventually([&] { return native->pixel(170, 130) == kTopLeft && native->pixel(80, 60) == 0; }))
      << "black where there is no view";
  view->setHidden(true);
  EXPECT_TRUE(eventually([&] { return native->pixel(170, 130) == 0; }));
}

TEST_F(NativeWindow, BringsTheMouseToTheViewAlsoOutsideDuringADrag) {
  show();
  ASSERT_TRUE(native->xdotool("mousemove --window %w 100 60 mousedown 1"));
  EXPECT_TRUE(eventually([&] { return view->newest == "began 0 at 100,60"; })) << view->newest;
  ASSERT_TRUE(native->xdotool("mousemove --window %w 110 75"));
  EXPECT_TRUE(eventually([&] { return view->newest == "moved 0 at 110,75"; })) << view->newest;
  ASSERT_TRUE(native->xdotool("mousemove --window %w 400 300"));
  EXPECT_TRUE(eventually([&] { return view->newest == "moved 0 at 400,300"; })) << view->newest;
  ASSERT_TRUE(native->xdotool("mouseup 1"));
  EXPECT_TRUE(eventually([&] { return view->newest == "ended 0 at 400,300"; })) << view->newest;

  ASSERT_TRUE(native->xdotool("mousemove --window %w 30 40 mousedown 3 mouseup 3 click 4 click 5"));
  EXPECT_TRUE(eventually([&] { return delegate->scrolls.size() == 6; }));
  EXPECT_THAT(delegate->scrolls, ElementsAre(30, 40, 1, 30, 40, -1));
  EXPECT_EQ(view->newest, "ended 0 at 400,300") << "moving and other buttons are no touches";
}

TEST_F(NativeWindow, BringsFingersOnceAndApartFromTheMouse) {
  show();
  uint32_t windowID = 1;
  while (!SDL_GetWindowFromID(windowID)) {
    ++windowID;
  }
  SDL_Event finger{};
  finger.tfinger = {SDL_FINGERDOWN, 0, 5, 0, 0.5F, 0.25F, 0, 0, 1, windowID};
  SDL_Event echo{};
  echo.button = {SDL_MOUSEBUTTONDOWN, 0, windowID, SDL_TOUCH_MOUSEID, SDL_BUTTON_LEFT, SDL_PRESSED, 1, 0, 3, 3};
  SDL_PushEvent(&finger);
  SDL_PushEvent(&echo);
  finger.tfinger.type = SDL_FINGERUP;
  SDL_PushEvent(&finger);
  EXPECT_TRUE(eventually([&] { return view->newest == "ended 1 at 160,60"; })) << view->newest;
  EXPECT_EQ(view->count, 2) << "the echo of a finger as a mouse is no touch";
}

TEST_F(NativeWindow, TellsKeysByWhatTheyType) {
  show();
  ASSERT_TRUE(eventually([&] { return !delegate->focusChanges.empty() && delegate->focusChanges.back(); }));
  ASSERT_TRUE(native->xdotool("key a shift+b question 1 plus minus space Escape Left F11 Page_Up ctrl+q"));
  EXPECT_TRUE(eventually([&] { return !delegate->keys.empty() && delegate->keys.back().name == "q"; }));
  std::vector<std::string> names;
  for (const UIKey& key : delegate->keys) {
    if (key.name.find("Shift") == std::string::npos && key.name.find("Ctrl") == std::string::npos) {
      names.push_back((key.shift ? "shift " : "") + key.name);
    }
    EXPECT_FALSE(key.repeated);
  }
  EXPECT_THAT(names, ElementsAre("a", "shift b", "shift ?", "1", "shift +", "-", "Space", "Escape", "Left", "F11",
                                 "PageUp", "q"));
  EXPECT_TRUE(delegate->keys.back().control);

  ASSERT_TRUE(native->xdotool("keydown Left keydown KP_Up keyup KP_Up keyup Left"));
  EXPECT_TRUE(eventually([&] { return !delegate->releasedKeys.empty() && delegate->releasedKeys.back() == "Left"; }));
  EXPECT_THAT(delegate->releasedKeys, testing::IsSupersetOf({"Escape", "Left", "Up", "q"}));
}

TEST_F(NativeWindow, LeavesClosingToTheHost) {
  show();
  native->askToClose();
  EXPECT_TRUE(eventually([&] { return delegate->closeRequests == 1; }));
  EXPECT_TRUE(native->isMapped());
  window->close();
  EXPECT_FALSE(window->isVisible());
  EXPECT_TRUE(eventually([&] { return !native->exists(); }));
  EXPECT_EQ(view->superview(), window) << "the views stay";
}

TEST_F(NativeWindow, PutsTheApplicationInTheBackgroundWhileItIsMinimised) {
  const UIApplication& application = UIApplication::sharedApplication();
  show();
  EXPECT_EQ(application.applicationState(), UIApplicationStateActive);
  ASSERT_TRUE(native->xdotool("mousemove --window %w 100 60 mousedown 1"));
  EXPECT_TRUE(eventually([&] { return view->newest == "began 0 at 100,60"; }));
  native->unmap();
  EXPECT_TRUE(eventually([&] { return application.applicationState() == UIApplicationStateBackground; }));
  EXPECT_FALSE(window->isVisible());
  EXPECT_EQ(view->newest.substr(0, 9), "cancelled");
  ASSERT_TRUE(native->xdotool("mouseup 1"));
  native->map();
  EXPECT_TRUE(eventually([&] { return application.applicationState() == UIApplicationStateActive; }));
  EXPECT_TRUE(window->isVisible());
  EXPECT_TRUE(eventually([&] { return showsFields(320, 240); }));
}

TEST_F(NativeWindow, PacesDisplayLinksAtAboutTheScreensRate) {
  show();
  const double period = 1.0 / UIScreen::mainScreen().maximumFramesPerSecond();
  std::vector<double> times;
  std::shared_ptr<CADisplayLink> link;
  link = CADisplayLink::create([&] {
    times.push_back(link->timestamp());
    EXPECT_NEAR(link->duration(), period, 0.5 * period);
    EXPECT_NEAR(link->timestamp(), CACurrentMediaTime(), 1.0);
  });
  link->addToMainRunLoop();
  EXPECT_TRUE(eventually([&] { return times.size() == 40; }));
  link->invalidate();
  // Wide, since a busy machine skips refreshes; but never is the display asked for more than it can show.
  const double mean = (times.back() - times.front()) / static_cast<double>(times.size() - 1);
  EXPECT_GT(mean, 0.9 * period);
  EXPECT_LT(mean, 3.0 * period);
}

TEST_F(NativeWindow, CostsNothingWhileNothingHappens) {
  show();
  NSRunLoop::mainRunLoop().runFor(0.3);
  const std::clock_t before = std::clock();
  NSRunLoop::mainRunLoop().runFor(1.0);
  const double processorSeconds = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
  EXPECT_LT(processorSeconds, 0.2) << "of all threads in one second";

  struct sigaction interrupt {};
  ASSERT_EQ(sigaction(SIGINT, nullptr, &interrupt), 0);
  EXPECT_EQ(interrupt.sa_handler, SIG_DFL) << "the interrupt key ends the program";
}

}  // namespace
