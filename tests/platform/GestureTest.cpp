#include <ZELPlatform/UIGestureRecognizer.h>
#include <ZELPlatform/UIWindow.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using State = UIGestureRecognizerState;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Counts what it hears of touches.
class HitView final : public UIView {
 public:
  explicit HitView(Key key) : UIView(key) {}
  static std::shared_ptr<HitView> create(CGRect frame) { return createView<HitView>(frame); }

  void touchesBegan(const UITouchSet&) override { log += 'b'; }
  void touchesMoved(const UITouchSet& touches) override {
    log += 'm';
    newestTime = touches.front()->timestamp();
  }
  void touchesEnded(const UITouchSet&) override { log += 'e'; }
  void touchesCancelled(const UITouchSet&) override {
    log += 'c';
    if (whenCancelled) {
      whenCancelled();
    }
  }

  std::string log;
  double newestTime = 0;
  std::function<void()> whenCancelled;
};

/// Answers by functions; yes and no, as the interface does, without them.
class Answers final : public UIGestureRecognizerDelegate {
 public:
  bool gestureRecognizer(UIGestureRecognizer&, const UITouch& touch) override { return !takes || takes(touch); }
  bool gestureRecognizer(UIGestureRecognizer&, UIGestureRecognizer&) override { return goesWith && goesWith(); }

  std::function<bool(const UITouch&)> takes;
  std::function<bool()> goesWith;
};

/// One call of an action.
struct Step {
  State state;
  CGPoint translation;
  CGPoint velocity;
};

class Gestures : public testing::Test {
 protected:
  Gestures() {
    window->addSubview(view);
    view->addSubview(hit);
    view->addGestureRecognizer(pan);
  }

  /// A gesture that is under way calls back as its window goes: while there is still somebody to call.
  void TearDown() override {
    if (window) {
      window->cancelTouches();
    }
  }

  std::vector<State> states() const {
    std::vector<State> states;
    std::transform(steps.begin(), steps.end(), std::back_inserter(states), [](const Step& step) { return step.state; });
    return states;
  }

  void press(CGPoint place, double time = 0, int64_t pointer = 1) {
    window->deliverPointer(pointer, UITouchPhase::Began, place, time);
  }
  void move(CGPoint place, double time = 0, int64_t pointer = 1) {
    window->deliverPointer(pointer, UITouchPhase::Moved, place, time);
  }
  void release(CGPoint place, double time = 0, int64_t pointer = 1) {
    window->deliverPointer(pointer, UITouchPhase::Ended, place, time);
  }
  /// A whole drag, which the pan sees as began, changed, ended.
  void drag(int64_t pointer = 1) {
    press({150, 100}, 0, pointer);
    move({160, 100}, 0, pointer);
    move({170, 100}, 0, pointer);
    release({170, 100}, 0, pointer);
  }

  std::shared_ptr<UIWindow> window = UIWindow::create(CGRectMake(0, 0, 400, 300));
  std::shared_ptr<UIView> view = UIView::create(CGRectMake(100, 50, 200, 200));
  std::shared_ptr<HitView> hit = HitView::create(CGRectMake(0, 0, 100, 200));
  std::vector<Step> steps;
  std::shared_ptr<UIPanGestureRecognizer> pan = UIPanGestureRecognizer::create([this] {
    const UIView* within = pan->view().get();
    steps.push_back({pan->state(), pan->translationInView(within), pan->velocityInView(within)});
  });
};

// The way of a pan.

class PanOverEvents : public Gestures, public testing::WithParamInterface<int> {};

TEST_P(PanOverEvents, LosesNothingAndNeverJumps) {
  // None: the touch goes up where it was not seen before.
  const int events = GetParam();
  const CGPoint from = {120, 70};
  const CGPoint way = {-90, 120};
  press(from);
  for (int event = 1; event <= events; ++event) {
    const double share = static_cast<double>(event) / events;
    move({from.x + way.x * share, from.y + way.y * share});
    ASSERT_EQ(hit->log.back(), steps.empty() ? 'm' : 'c') << "the action is called before the event is delivered";
  }
  release({from.x + way.x, from.y + way.y});
  ASSERT_GE(steps.size(), 2U);
  EXPECT_EQ(steps.front().state, State::Began);
  EXPECT_EQ(steps.back().state, State::Ended);
  EXPECT_NEAR(steps.back().translation.x, way.x, 1e-9);
  EXPECT_NEAR(steps.back().translation.y, way.y, 1e-9);
  EXPECT_EQ(pan->state(), State::Possible);

  // An event of the drag is `step` points long, and the picture may hurry after the finger by a quarter.
  const double step = 150.0 / std::max(events, 1);
  double before = 0;
  for (const Step& each : steps) {
    const double distance = std::hypot(each.translation.x, each.translation.y);
    EXPECT_GE(distance, before - 1e-9) << "never back";
    EXPECT_LE(distance - before, 1.25 * step + 1e-9) << "never further than the finger";
    EXPECT_NEAR(each.translation.x * way.y, each.translation.y * way.x, 1e-9) << "never astray";
    before = distance;
  }
}

INSTANTIATE_TEST_SUITE_P(Moves, PanOverEvents, testing::Values(0, 1, 2, 7, 40, 1000));

TEST_F(Gestures, LeaveAClickWithAnUnsteadyHandToTheView) {
  press({150, 100});
  move({153, 102});
  move({148, 98});
  release({152, 103});
  EXPECT_THAT(steps, IsEmpty());
  EXPECT_EQ(hit->log, "bmme");
  drag();
  EXPECT_THAT(states(), ElementsAre(State::Began, State::Changed, State::Ended))
      << "each press counts from its own place";
}

TEST_F(Gestures, FollowTheMiddleOfSeveralFingersWithoutAJump) {
  press({150, 100}, 0, 1);
  move({190, 100}, 0, 1);
  EXPECT_EQ(steps.back().translation.x, 40);
  EXPECT_TRUE(CGPointEqualToPoint(pan->locationInView(view.get()), {90, 50}));
  press({290, 240}, 0, 2);
  EXPECT_EQ(pan->numberOfTouches(), 2U);
  EXPECT_TRUE(CGPointEqualToPoint(pan->locationInView(nullptr), {240, 170}));
  EXPECT_EQ(steps.size(), 1U) << "a finger that goes down moves nothing";
  move({290, 250}, 0, 2);
  EXPECT_EQ(steps.back().translation.y, 5) << "half of one finger's way";
  release({200, 100}, 0, 1);
  EXPECT_EQ(pan->state(), State::Changed);
  move({290, 251}, 0, 2);
  EXPECT_EQ(steps.back().translation.x, 45) << "the way that it went while it was lifted";
  EXPECT_EQ(steps.back().translation.y, 6);
  press({110, 60}, 0, 1);
  release({110, 60}, 0, 1);
  release({290, 251}, 0, 2);
  EXPECT_EQ(steps.back().state, State::Ended);
  EXPECT_EQ(steps.back().translation.x, 45);
  EXPECT_EQ(steps.back().translation.y, 6);
}

TEST_F(Gestures, KeepTheVelocityOfFingersThatAreLiftedOneAfterTheOther) {
  press({150, 100}, 0, 1);
  press({150, 150}, 0, 2);
  for (int event = 1; event <= 12; ++event) {
    const double x = 150 + 5 * event;
    move({x, 100}, event / 60.0, 1);
    move({x, 150}, event / 60.0, 2);
  }
  release({210, 100}, 12 / 60.0, 1);
  release({210, 150}, 12.5 / 60.0, 2);
  // Six refreshes at 300 points per second, and half a refresh between the two fingers.
  EXPECT_NEAR(steps.back().velocity.x, 300 * (1 - 0.5 / 6), 1e-6);
  EXPECT_NEAR(steps.back().velocity.y, 0, 1e-9);
}

// Who gets the touch.

TEST_F(Gestures, TakeTheTouchFromTheViewThatWasHit) {
  drag();
  EXPECT_EQ(hit->log, "bc") << "nothing of the move that began it, and nothing after it";
  hit->log.clear();
  press({150, 100}, 0, 1);
  move({150, 120}, 0, 1);
  press({150, 130}, 0, 2);
  move({150, 140}, 0, 2);
  window->cancelTouches();
  EXPECT_EQ(hit->log, "bc") << "the second finger was never the view's";
  hit->log.clear();
  press({150, 100}, 0, 1);
  press({150, 130}, 0, 2);
  move({150, 160}, 0, 2);
  EXPECT_EQ(hit->log, "bbcc") << "all fingers of the gesture";
}

enum class Allows { Neither, First, Second };

class RivalPans : public Gestures, public testing::WithParamInterface<Allows> {
 protected:
  RivalPans() {
    hit->addGestureRecognizer(inner);
    answers->goesWith = [] { return true; };
    if (GetParam() == Allows::First) {
      inner->setDelegate(answers);
    } else if (GetParam() == Allows::Second) {
      pan->setDelegate(answers);
    }
  }
  bool bothGoOn() const { return GetParam() != Allows::Neither; }

  std::vector<State> innerStates;
  std::shared_ptr<UIPanGestureRecognizer> inner =
      UIPanGestureRecognizer::create([this] { innerStates.push_back(inner->state()); });
  std::shared_ptr<Answers> answers = std::make_shared<Answers>();
};

TEST_P(RivalPans, ExcludeEachOtherUnlessADelegateAllowsBoth) {
  press({150, 100});
  move({160, 100});
  EXPECT_EQ(pan->state(), bothGoOn() ? State::Began : State::Failed) << "the deeper view comes first";
  EXPECT_EQ(hit->log, "bc") << "cancelled once";
  press({160, 100}, 0, 2);
  move({170, 100}, 0, 2);
  release({170, 100}, 0, 2);
  EXPECT_EQ(pan->state(), bothGoOn() ? State::Changed : State::Failed) << "until all its touches are up";
  release({160, 100});
  EXPECT_THAT(innerStates, ElementsAre(State::Began, State::Changed, State::Ended));
  EXPECT_EQ(states(), bothGoOn() ? innerStates : std::vector<State>());
  EXPECT_EQ(pan->state(), State::Possible);

  // Beside the inner view the outer one is alone.
  steps.clear();
  innerStates.clear();
  press({250, 100});
  move({260, 100});
  EXPECT_THAT(states(), ElementsAre(State::Began));
  // A finger that joins it belongs to it, also in the inner view.
  press({150, 100}, 0, 2);
  EXPECT_EQ(inner->state(), bothGoOn() ? State::Possible : State::Failed);
  move({190, 100}, 0, 2);
  EXPECT_EQ(innerStates.size(), bothGoOn() ? 1U : 0U);
  EXPECT_EQ(steps.back().translation.x, 30) << "10, and half of 40";
}

INSTANTIATE_TEST_SUITE_P(Delegates, RivalPans, testing::Values(Allows::Neither, Allows::First, Allows::Second));

TEST_F(Gestures, TakeOnlyTheTouchesThatTheDelegateGivesThem) {
  auto answers = std::make_shared<Answers>();
  answers->takes = [this](const UITouch& touch) { return touch.view() != hit; };
  pan->setDelegate(answers);
  drag();
  EXPECT_THAT(steps, IsEmpty());
  EXPECT_EQ(hit->log, "bmme");
  press({250, 100}, 0, 1);
  press({150, 100}, 0, 2);
  EXPECT_EQ(pan->numberOfTouches(), 1U);
  move({260, 100}, 0, 1);
  move({150, 200}, 0, 2);
  EXPECT_EQ(steps.back().translation.y, 0) << "the other finger is the view's";
  release({150, 200}, 0, 2);
  release({260, 100}, 0, 1);
  EXPECT_EQ(hit->log, "bmmebme");
  steps.clear();
  answers.reset();
  drag();
  EXPECT_EQ(steps.size(), 3U) << "a delegate that has gone refuses nothing";
}

// Cancelling.

class InterruptedGesture : public Gestures, public testing::WithParamInterface<const char*> {
 protected:
  InterruptedGesture() {
    window->addSubview(middle);
    middle->addSubview(view);
  }

  std::shared_ptr<UIView> other = UIView::create(CGRectMake(0, 0, 10, 10));
  std::shared_ptr<UIView> middle = UIView::create(CGRectMake(0, 0, 400, 300));
  std::shared_ptr<UIWindow> otherWindow = UIWindow::create(CGRectMake(0, 0, 400, 300));
  std::map<std::string, std::function<void()>> ways = {
      {"PointerLost", [this] { window->cancelTouches(); }},
      {"PointerCancelled",
       [this] {
         window->deliverPointer(1, UITouchPhase::Cancelled, {160, 100}, 0);
       }},
      {"Disabled", [this] { pan->setEnabled(false); }},
      {"Removed", [this] { view->removeGestureRecognizer(view->gestureRecognizers().front()); }},
      {"AddedElsewhere", [this] { other->addGestureRecognizer(view->gestureRecognizers().front()); }},
      {"ViewRemoved", [this] { view->removeFromSuperview(); }},
      {"SuperviewRemoved", [this] { middle->removeFromSuperview(); }},
      {"ViewInAnotherWindow", [this] { otherWindow->addSubview(view); }},
      {"WindowClosed", [this] { window->close(); }},
      {"WindowDestroyed", [this] { window.reset(); }}};
};

TEST_P(InterruptedGesture, IsCancelledOnce) {
  press({150, 100});
  move({160, 100});
  ways.at(GetParam())();
  EXPECT_THAT(states(), ElementsAre(State::Began, State::Cancelled));
  EXPECT_EQ(steps.back().translation.x, steps.front().translation.x);
  EXPECT_EQ(pan->state(), State::Possible);
  EXPECT_EQ(pan->numberOfTouches(), 0U);
  if (window) {
    move({200, 100});
    release({200, 100});
  }
  EXPECT_EQ(steps.size(), 2U) << "the rest of the touch is nobody's";
  EXPECT_EQ(hit->log, "bc");

  // Brought back, it works as before.
  steps.clear();
  window = window ? window : UIWindow::create(CGRectMake(0, 0, 400, 300));
  window->addSubview(view);
  view->addGestureRecognizer(pan);
  pan->setEnabled(true);
  drag();
  EXPECT_THAT(states(), ElementsAre(State::Began, State::Changed, State::Ended));
}

TEST_P(InterruptedGesture, WithoutHavingBegunIsForgotten) {
  press({150, 100});
  ways.at(GetParam())();
  EXPECT_EQ(pan->state(), State::Possible);
  if (window) {
    move({200, 100});
    release({200, 100});
  }
  EXPECT_THAT(steps, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Ways, InterruptedGesture,
                         testing::Values("PointerLost", "PointerCancelled", "Disabled", "Removed", "AddedElsewhere",
                                         "ViewRemoved", "SuperviewRemoved", "ViewInAnotherWindow", "WindowClosed",
                                         "WindowDestroyed"));

// Whatever happens within a call.

enum class Moment { Began, Changed, Ended, Cancelled, Asked, AskedWithOther, ViewCancelled };

class Demolition : public Gestures, public testing::WithParamInterface<std::tuple<Moment, std::string>> {
 protected:
  Demolition() {
    view->removeGestureRecognizer(pan);
    pan = UIPanGestureRecognizer::create([this] {
      seen.push_back(weakPan.lock()->state());
      actIf(static_cast<Moment>(static_cast<int>(seen.back()) - static_cast<int>(State::Began)));
    });
    weakPan = pan;
    view->addGestureRecognizer(pan);
    hit->addGestureRecognizer(UIPinchGestureRecognizer::create(nullptr));
    hit->whenCancelled = [this] { actIf(Moment::ViewCancelled); };
    answers->takes = [this](const UITouch&) {
      actIf(Moment::Asked);
      return true;
    };
    answers->goesWith = [this] {
      actIf(Moment::AskedWithOther);
      return false;
    };
    pan->setDelegate(answers);
  }

  void actIf(Moment moment) {
    if (std::get<0>(GetParam()) == moment && !std::exchange(isDone, true)) {
      deeds.at(std::get<1>(GetParam()))();
    }
  }

  void dropView() {
    view->removeFromSuperview();
    pan.reset();
    hit.reset();
    view.reset();
  }
  void dropWindow() {
    pan.reset();
    hit.reset();
    view.reset();
    window.reset();
  }

  /// Delivers to a window that may be gone.
  void deliver(UITouchPhase phase, double x) {
    if (window) {
      window->deliverPointer(1, phase, {x, 100}, 0);
    }
  }

  std::vector<State> seen;
  bool isDone = false;
  std::weak_ptr<UIPanGestureRecognizer> weakPan;
  std::shared_ptr<Answers> answers = std::make_shared<Answers>();
  std::map<std::string, std::function<void()>> deeds = {
      {"DropRecognizer", [this] { view->removeGestureRecognizer(std::exchange(pan, nullptr)); }},
      {"DropView", [this] { dropView(); }},
      {"DropWindow", [this] { dropWindow(); }},
      {"DropDelegate", [this] { answers.reset(); }},
      {"Disable", [this] { pan->setEnabled(false); }},
      {"LosePointer", [this] { window->cancelTouches(); }},
      {"MoveAway", [this] { window->addGestureRecognizer(pan); }},
      {"LiftFinger",
       [this] {
         release({170, 100});
       }},
      {"NextGesture", [this] { drag(7); }}};
};

TEST_P(Demolition, InsideACallLeavesAWholeGestureBehind) {
  const auto [moment, deed] = GetParam();
  deliver(UITouchPhase::Began, 150);
  deliver(UITouchPhase::Moved, 160);
  deliver(UITouchPhase::Moved, 170);
  if (moment == Moment::Cancelled && window) {
    window->cancelTouches();
  }
  deliver(UITouchPhase::Ended, 170);
  EXPECT_TRUE(isDone);

  // Of one gesture there is one beginning and one end, whatever became of it.
  if (deed != "NextGesture") {
    const auto isEnd = [](State state) { return state == State::Ended || state == State::Cancelled; };
    EXPECT_EQ(std::count(seen.begin(), seen.end(), State::Began), std::count_if(seen.begin(), seen.end(), isEnd));
    EXPECT_LE(std::count(seen.begin(), seen.end(), State::Began), 1);
  }
  const bool isGone = deed == "DropRecognizer" || deed == "DropView" || deed == "DropWindow";
  EXPECT_EQ(weakPan.expired(), isGone) << "nothing holds on to it";
  if (hit) {
    const auto told = [this](char what) { return std::count(hit->log.begin(), hit->log.end(), what); };
    EXPECT_EQ(told('b'), told('e') + told('c')) << hit->log;
  }
  if (!isGone) {
    EXPECT_EQ(pan->state(), State::Possible);
    EXPECT_EQ(pan->numberOfTouches(), 0U);
    pan->setEnabled(true);
    seen.clear();
    drag();
    EXPECT_THAT(seen, ElementsAre(State::Began, State::Changed, State::Ended));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Calls, Demolition,
    testing::Combine(testing::Values(Moment::Began, Moment::Changed, Moment::Ended, Moment::Cancelled, Moment::Asked,
                                     Moment::AskedWithOther, Moment::ViewCancelled),
                     testing::Values("DropRecognizer", "DropView", "DropWindow", "DropDelegate", "Disable",
                                     "LosePointer", "MoveAway", "LiftFinger", "NextGesture")));

// Bad input.

struct BadEvent {
  CGPoint place;
  double time;
};

class BadPointer : public Gestures, public testing::WithParamInterface<BadEvent> {};

TEST_P(BadPointer, ReachesNobody) {
  const auto [place, time] = GetParam();
  press(place, time);
  EXPECT_EQ(pan->numberOfTouches(), 0U);
  press({150, 100}, 1);
  move(place, time);
  EXPECT_EQ(hit->log, "b");
  move({180, 100}, 1.05);
  move(place, time);
  press(place, time);
  EXPECT_THAT(states(), ElementsAre(State::Began)) << "not a new touch either";
  release(place, time);
  EXPECT_THAT(states(), ElementsAre(State::Began, State::Ended)) << "no touch stays down for ever";
  EXPECT_EQ(steps.back().translation.x, 30);
  EXPECT_EQ(steps.back().translation.y, 0);
  EXPECT_NEAR(steps.back().velocity.x, 600, 1e-6);
}

INSTANTIATE_TEST_SUITE_P(Events, BadPointer,
                         testing::Values(BadEvent{{kNaN, 100}, 1}, BadEvent{{150, kNaN}, 1},
                                         BadEvent{{kInfinity, 100}, 1}, BadEvent{{150, -kInfinity}, 1},
                                         BadEvent{{1e300, 100}, 1}, BadEvent{{150, 100}, kNaN},
                                         BadEvent{{150, 100}, kInfinity}));

TEST_F(Gestures, SeeThatThePointersTimeNeverFalls) {
  press({150, 100}, 10);
  move({151, 100}, 9);
  EXPECT_EQ(hit->newestTime, 10);
  move({160, 100}, 9.5);
  EXPECT_EQ(steps.back().velocity.x, 0);
  move({170, 100}, 10.05);
  EXPECT_NEAR(steps.back().velocity.x, 400, 1e-6);
}

// The pinch.

class Pinches : public Gestures {
 protected:
  Pinches() { view->addGestureRecognizer(pinch); }

  std::vector<State> pinchStates;
  std::vector<double> scales;
  std::shared_ptr<UIPinchGestureRecognizer> pinch = UIPinchGestureRecognizer::create([this] {
    pinchStates.push_back(pinch->state());
    scales.push_back(pinch->scale());
  });
};

TEST_F(Pinches, GrowOutOfOneAndGoOnWhenAFingerIsPutElsewhere) {
  pan->setEnabled(false);
  press({150, 100}, 0, 1);
  press({200, 100}, 0, 2);
  for (int halves = 1; halves <= 108; ++halves) {
    move({200 + halves / 2.0, 100}, 0, 2);
  }
  EXPECT_NEAR(scales.front(), 1, 1e-12) << "no jump";
  EXPECT_NEAR(scales.back(), 104.0 / 54.0, 1e-12) << "over the distance at which it began";
  EXPECT_TRUE(CGPointEqualToPoint(pinch->locationInView(nullptr), {202, 100}));
  release({254, 100}, 0, 2);
  move({150, 150}, 0, 1);
  press({150, 200}, 0, 3);
  EXPECT_NEAR(pinch->scale(), 104.0 / 54.0, 1e-12);
  move({150, 175}, 0, 3);
  EXPECT_NEAR(pinch->scale(), 104.0 / 54.0 / 2, 1e-12);
  release({150, 150}, 0, 1);
  EXPECT_EQ(pinch->state(), State::Changed);
  release({150, 175}, 0, 3);
  EXPECT_EQ(pinchStates.back(), State::Ended);
  EXPECT_EQ(pinch->scale(), 1) << "between gestures";
}

TEST_F(Pinches, StayFiniteWhenFingersMeet) {
  pan->setEnabled(false);
  press({150, 100}, 0, 1);
  press({150, 100}, 0, 2);
  move({153, 100}, 0, 2);
  EXPECT_THAT(scales, IsEmpty());
  move({160, 100}, 0, 2);
  move({150, 100}, 0, 2);
  move({1e6, 100}, 0, 2);
  for (const double scale : scales) {
    EXPECT_GT(scale, 0);
    EXPECT_LT(scale, 1e7);
  }
  EXPECT_EQ(scales.size(), 3U);
}

TEST_F(Pinches, GoWithAPanWhereADelegateAllowsIt) {
  const auto pinchInAPan = [this] {
    press({150, 100}, 0, 1);
    move({150, 120}, 0, 1);
    press({250, 120}, 0, 2);
    move({270, 120}, 0, 2);
    release({270, 120}, 0, 2);
    release({150, 120}, 0, 1);
  };
  pinchInAPan();
  EXPECT_THAT(scales, IsEmpty());
  EXPECT_EQ(steps.back().translation.x, 10);
  const auto answers = std::make_shared<Answers>();
  answers->goesWith = [] { return true; };
  pinch->setDelegate(answers);
  pinchInAPan();
  EXPECT_THAT(pinchStates, ElementsAre(State::Began, State::Changed, State::Ended));
  EXPECT_EQ(steps.back().translation.x, 10);
  EXPECT_EQ(steps.back().state, State::Ended);
}

}  // namespace
