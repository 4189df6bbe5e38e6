#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIScreen.h>
#include <ZELPlatform/UIWindow.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

/// Writes down the touches that it gets: what, which pointer, and where in the view.
class TouchedView final : public UIView {
 public:
  explicit TouchedView(Key key) : UIView(key) {}
  static std::shared_ptr<TouchedView> create(CGRect frame) { return createView<TouchedView>(frame); }

  void touchesBegan(const UITouchSet& touches) override { note("began", touches); }
  void touchesMoved(const UITouchSet& touches) override { note("moved", touches); }
  void touchesEnded(const UITouchSet& touches) override { note("ended", touches); }
  void touchesCancelled(const UITouchSet& touches) override { note("cancelled", touches); }

  std::vector<std::string> log;
  std::shared_ptr<UITouch> newest;

 private:
  void note(const std::string& what, const UITouchSet& touches) {
    for (const auto& touch : touches) {
      const CGPoint place = touch->locationInView(this);
      log.push_back(what + " " + std::to_string(touch->identifier()) + " at " +
                    std::to_string(static_cast<int>(place.x)) + "," + std::to_string(static_cast<int>(place.y)));
      newest = touch;
    }
  }
};

class Touches : public testing::Test {
 protected:
  Touches() {
    window->addSubview(view);
    view->addSubview(UIView::create(CGRectMake(0, 0, 10, 10)));
  }

  std::shared_ptr<UIWindow> window = UIWindow::create(CGRectMake(0, 0, 200, 100));
  std::shared_ptr<TouchedView> view = TouchedView::create(CGRectMake(100, 50, 50, 50));
};

TEST_F(Touches, BelongToTheViewInWhichTheyBegan) {
  window->deliverPointer(7, UITouchPhase::Moved, {110, 60}, 1);
  window->deliverPointer(7, UITouchPhase::Began, {120, 60}, 1);
  window->deliverPointer(7, UITouchPhase::Moved, {10, 10}, 2);
  EXPECT_TRUE(CGPointEqualToPoint(view->newest->previousLocationInView(view.get()), {20, 10}));
  EXPECT_TRUE(CGPointEqualToPoint(view->newest->locationInView(nullptr), {10, 10}));
  EXPECT_EQ(view->newest->timestamp(), 2);
  view->removeFromSuperview();
  window->deliverPointer(7, UITouchPhase::Ended, {110, 70}, 3);
  EXPECT_EQ(view->newest->phase(), UITouchPhase::Ended);
  window->deliverPointer(7, UITouchPhase::Ended, {110, 70}, 4);
  EXPECT_THAT(view->log, ElementsAre("began 7 at 20,10", "moved 7 at -90,-40", "ended 7 at 10,20"))
      << "out of the tree the view's frame is all there is to go by";
}

TEST_F(Touches, OfAViewThatDoesNotTakeThemGoToItsSuperview) {
  window->deliverPointer(0, UITouchPhase::Began, {105, 55}, 1);
  EXPECT_THAT(view->log, ElementsAre("began 0 at 5,5"));
  EXPECT_NE(view->newest->view(), view);
}

TEST_F(Touches, AreCancelledWhenThePointerIsLost) {
  window->deliverPointer(1, UITouchPhase::Began, {120, 60}, 1);
  window->deliverPointer(2, UITouchPhase::Began, {130, 60}, 1);
  window->deliverPointer(1, UITouchPhase::Began, {121, 61}, 2);
  EXPECT_THAT(view->log,
              ElementsAre("began 1 at 20,10", "began 2 at 30,10", "cancelled 1 at 20,10", "began 1 at 21,11"))
      << "a pointer goes down once";
  view->log.clear();
  window->cancelTouches();
  window->deliverPointer(2, UITouchPhase::Moved, {140, 60}, 3);
  EXPECT_THAT(view->log, ElementsAre("cancelled 2 at 30,10", "cancelled 1 at 21,11"));
  view->log.clear();
  window->deliverPointer(3, UITouchPhase::Began, {120, 60}, 4);
  window.reset();
  EXPECT_THAT(view->log, ElementsAre("began 3 at 20,10", "cancelled 3 at 20,10"));
}

TEST_F(Touches, SurviveTheDestructionOfTheirView) {
  window->deliverPointer(1, UITouchPhase::Began, {120, 60}, 1);
  view->newest.reset();
  view->removeFromSuperview();
  const std::weak_ptr<UIView> weak = view;
  view.reset();
  EXPECT_TRUE(weak.expired());
  window->deliverPointer(1, UITouchPhase::Moved, {120, 70}, 2);
  window->deliverPointer(1, UITouchPhase::Ended, {120, 70}, 3);
}

class RecordingDelegate final : public UIWindowDelegate {
 public:
  void windowDidResize(UIWindow& window) override { sizes.push_back(window.bounds().size.width); }
  void windowDidScroll(UIWindow&, CGPoint, double amount) override { steps.push_back(amount); }
  void windowDidPressKey(UIWindow& window, const UIKey& key) override {
    keys.push_back(key.name);
    window.close();
  }
  void windowDidReleaseKey(UIWindow&, const UIKey& key) override { keys.push_back(key.name + " up"); }
  std::vector<double> sizes;
  std::vector<double> steps;
  std::vector<std::string> keys;
};

TEST(Window, TellsItsDelegateAndMayBeClosedInTheAnswer) {
  const auto delegate = std::make_shared<RecordingDelegate>();
  const auto window = UIWindow::create(CGRectMake(0, 0, 200, 100));
  window->setDelegate(delegate);
  window->makeKeyAndVisible();
  EXPECT_TRUE(window->isVisible());
  EXPECT_EQ(window->displayScale(), 1.5);
  window->setFrame(CGRectMake(9, 9, 200, 100));
  window->setFrame(CGRectMake(0, 0, 210, 100));
  window->setFullScreen(true);
  EXPECT_TRUE(window->isFullScreen());
  window->setFullScreen(true);
  window->setFullScreen(false);
  EXPECT_THAT(delegate->sizes, ElementsAre(210, 400, 210));
  window->deliverScroll({5, 5}, -0.5);
  window->deliverKey({.name = "Escape"});
  window->deliverKeyUp({.name = "Escape"});
  EXPECT_THAT(delegate->steps, ElementsAre(-0.5));
  EXPECT_THAT(delegate->keys, ElementsAre("Escape", "Escape up"));
  EXPECT_FALSE(window->isVisible());
  window->makeKeyAndVisible();
  EXPECT_FALSE(window->isVisible()) << "closed is closed";
}

TEST(Application, OrientationFollowsTheShapeOfTheKeyWindow) {
  UIApplication& application = UIApplication::sharedApplication();
  auto wide = UIWindow::create(CGRectMake(0, 0, 200, 100));
  const auto square = UIWindow::create(CGRectMake(0, 0, 100, 100));
  EXPECT_EQ(application.statusBarOrientation(), UIInterfaceOrientationPortrait) << "the screen's shape";
  wide->makeKeyWindow();
  EXPECT_TRUE(wide->isKeyWindow());
  EXPECT_FALSE(wide->isVisible());
  EXPECT_EQ(application.statusBarOrientation(), UIInterfaceOrientationLandscapeRight);
  square->makeKeyAndVisible();
  EXPECT_EQ(application.keyWindow(), square);
  EXPECT_EQ(application.statusBarOrientation(), UIInterfaceOrientationPortrait);
  square->setFrame(CGRectMake(0, 0, 101, 100));
  EXPECT_EQ(application.statusBarOrientation(), UIInterfaceOrientationLandscapeRight);

  application.overrideStatusBarOrientation(UIInterfaceOrientationPortraitUpsideDown);
  wide->makeKeyWindow();
  EXPECT_EQ(application.statusBarOrientation(), UIInterfaceOrientationPortraitUpsideDown);
  application.overrideStatusBarOrientation(UIInterfaceOrientationUnknown);
  EXPECT_EQ(application.statusBarOrientation(), UIInterfaceOrientationLandscapeRight);
  wide.reset();
  EXPECT_EQ(application.keyWindow(), nullptr);
  EXPECT_EQ(application.statusBarOrientation(), UIInterfaceOrientationPortrait);
  EXPECT_EQ(application.applicationState(), UIApplicationStateActive);
}

}  // namespace
