#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIView.h>
#include <ZELPlatform/UIWindow.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;

using Log = std::vector<std::string>;

/// Writes down what it is told, under a name.
class LoggingView final : public UIView {
 public:
  explicit LoggingView(Key key) : UIView(key) {}
  ~LoggingView() override {
    if (destroyedOnMainThread) {
      *destroyedOnMainThread = DispatchIsMainThread();
    }
  }

  static std::shared_ptr<LoggingView> create(std::string name, Log* log, CGRect frame = {}) {
    auto view = createView<LoggingView>(frame);
    view->name_ = std::move(name);
    view->log_ = log;
    return view;
  }

  void willMoveToWindow(const std::shared_ptr<UIWindow>& next) override {
    note(std::string(next ? "will enter" : "will leave") + (window() ? ", is in" : ", is out"));
  }
  void didMoveToWindow() override { note(window() ? "entered" : "left"); }
  void layoutSubviews() override { note("layout"); }

  bool* destroyedOnMainThread = nullptr;

 private:
  void note(const std::string& what) {
    if (log_) {
      log_->push_back(name_ + " " + what);
    }
  }
  std::string name_;
  Log* log_ = nullptr;
};

class UnmakeableView final : public UIView {
 public:
  explicit UnmakeableView(Key key) : UIView(key) {}
  static std::shared_ptr<UnmakeableView> create() { return createView<UnmakeableView>({}); }

 protected:
  std::shared_ptr<CALayer> createLayer() override { return nullptr; }
};

class View : public testing::Test {
 protected:
  View() { settle(); }

  static void settle() {
    NSRunLoop::mainRunLoop().runPending();
    NSRunLoop::mainRunLoop().runPending();
  }

  // Before the window, whose end is logged too.
  Log log;
  std::shared_ptr<UIWindow> window = UIWindow::create(CGRectMake(30, 40, 200, 100));
};

TEST_F(View, TheWholeSubtreeIsToldBeforeAndAfterItMovesToAWindow) {
  const auto parent = LoggingView::create("parent", &log);
  const auto child = LoggingView::create("child", &log);
  parent->addSubview(child);
  log.clear();
  window->addSubview(parent);
  EXPECT_THAT(log,
              ElementsAre("parent will enter, is out", "child will enter, is out", "parent entered", "child entered"));
  EXPECT_EQ(child->window(), window);

  log.clear();
  window->addSubview(child);
  EXPECT_THAT(log, ElementsAre()) << "within a window nobody moves to one";
  EXPECT_EQ(child->superview(), window);
  EXPECT_TRUE(parent->subviews().empty());
  EXPECT_TRUE(parent->layer()->sublayers().empty());

  parent->addSubview(child);
  parent->removeFromSuperview();
  EXPECT_THAT(log, ElementsAre("parent will leave, is in", "child will leave, is in", "parent left", "child left"));
  EXPECT_EQ(child->superview(), parent);
}

TEST_F(View, LeavesAWindowThatIsDropped) {
  const auto view = LoggingView::create("view", &log);
  window->addSubview(view);
  settle();
  log.clear();
  window.reset();
  EXPECT_THAT(log, ElementsAre("view will leave, is out", "view left"));
  EXPECT_EQ(view->superview(), nullptr);
  EXPECT_EQ(view->layer()->superlayer(), nullptr);
}

TEST_F(View, RefusesCyclesAndRaisesWhatIsAddedAgain) {
  const auto first = UIView::create();
  const auto second = UIView::create();
  window->addSubview(first);
  window->addSubview(second);
  second->addSubview(second);
  second->addSubview(window);
  second->addSubview(nullptr);
  EXPECT_TRUE(second->subviews().empty());
  window->addSubview(first);
  EXPECT_THAT(window->subviews(), ElementsAre(second, first));
  EXPECT_THAT(window->layer()->sublayers(), ElementsAre(second->layer(), first->layer()));
  EXPECT_EQ(UnmakeableView::create(), nullptr);
}

TEST_F(View, PendingLayoutIsDoneOnceBeforeTheNextRefreshOrTurnOfTheMainLoop) {
  const auto view = LoggingView::create("view", &log, CGRectMake(0, 0, 10, 10));
  window->addSubview(view);
  settle();
  log.clear();
  view->setFrame(CGRectMake(5, 5, 10, 10));
  settle();
  EXPECT_THAT(log, ElementsAre()) << "a view that only moves keeps its layout";

  view->setFrame(CGRectMake(5, 5, 20, 10));
  view->setNeedsLayout();
  EXPECT_THAT(log, ElementsAre());
  settle();
  EXPECT_THAT(log, ElementsAre("view layout"));

  log.clear();
  const auto link = CADisplayLink::create([&] { log.emplace_back("frame"); });
  link->addToMainRunLoop();
  view->setNeedsLayout();
  DisplayRefresh::shared().refresh(1, 1);
  settle();
  link->invalidate();
  ASSERT_GE(log.size(), 2u);
  EXPECT_THAT(Log(log.begin(), log.begin() + 2), ElementsAre("view layout", "frame"));
  EXPECT_EQ(std::count(log.begin(), log.end(), "view layout"), 1);
}

TEST_F(View, SubviewsOfTheWindowsSizeFollowIt) {
  const auto full = UIView::create(window->bounds());
  const auto other = UIView::create(CGRectMake(0, 0, 200, 99));
  window->addSubview(full);
  window->addSubview(other);
  window->setFrame(CGRectMake(1, 2, 300, 400));
  EXPECT_TRUE(CGRectEqualToRect(window->frame(), CGRectMake(1, 2, 300, 400)));
  EXPECT_TRUE(CGRectEqualToRect(full->frame(), CGRectMake(0, 0, 300, 400)));
  EXPECT_TRUE(CGRectEqualToRect(other->frame(), CGRectMake(0, 0, 200, 99)));
}

TEST_F(View, IsDestroyedOnTheMainThreadWhereverItIsDropped) {
  bool onMainThread = false;
  auto view = LoggingView::create("view", nullptr);
  view->destroyedOnMainThread = &onMainThread;
  const std::weak_ptr<UIView> weak = view;
  std::thread([dropped = std::move(view)]() mutable { dropped.reset(); }).join();
  EXPECT_TRUE(weak.expired());
  EXPECT_FALSE(onMainThread);
  settle();
  EXPECT_TRUE(onMainThread);
}

TEST_F(View, PointsAreConvertedThroughTheWindow) {
  const auto left = UIView::create(CGRectMake(10, 20, 50, 50));
  const auto inner = UIView::create(CGRectMake(3, 4, 20, 20));
  const auto right = UIView::create(CGRectMake(100, 0, 50, 50));
  window->addSubview(left);
  left->addSubview(inner);
  window->addSubview(right);
  EXPECT_TRUE(CGPointEqualToPoint(inner->convertPointToView({1, 1}, nullptr), {14, 25}));
  EXPECT_TRUE(CGPointEqualToPoint(inner->convertPointToView({1, 1}, right.get()), {-86, 25}));
  EXPECT_TRUE(CGPointEqualToPoint(inner->convertPointFromView({-86, 25}, right.get()), {1, 1}));
  EXPECT_TRUE(CGPointEqualToPoint(window->convertPointFromView({1, 1}, left.get()), {11, 21}))
      << "the window's own place on the desktop does not count";
}

TEST_F(View, TheTopmostDeepestViewThatTakesTouchesIsHit) {
  const auto panel = UIView::create(CGRectMake(50, 0, 100, 100));
  const auto button = UIView::create(CGRectMake(10, 10, 20, 20));
  const auto cover = UIView::create(CGRectMake(120, 0, 80, 100));
  window->addSubview(panel);
  panel->addSubview(button);
  window->addSubview(cover);
  EXPECT_EQ(window->hitTest({60, 10}), button);
  EXPECT_EQ(window->hitTest({80, 10}), panel) << "the right edge is outside";
  EXPECT_EQ(window->hitTest({130, 50}), cover);
  EXPECT_EQ(window->hitTest({10, 50}), window);
  EXPECT_EQ(window->hitTest({200, 50}), nullptr);
  cover->setUserInteractionEnabled(false);
  EXPECT_EQ(window->hitTest({130, 50}), panel);
  panel->setHidden(true);
  EXPECT_EQ(window->hitTest({60, 10}), window);
}

}  // namespace
