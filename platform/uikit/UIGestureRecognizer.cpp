#include <ZELPlatform/UIGestureRecognizer.h>

#include <ZELPlatform/UIView.h>
#include <ZELPlatform/UIWindow.h>

#include <algorithm>
#include <utility>

namespace {

template <class Element>
bool contains(const std::vector<Element>& elements, const Element& element) {
  return std::find(elements.begin(), elements.end(), element) != elements.end();
}

}  // namespace

bool UIGestureRecognizerDelegate::gestureRecognizer(UIGestureRecognizer& /*recognizer*/,
                                                    const UITouch& /*shouldReceiveTouch*/) {
  return true;
}

bool UIGestureRecognizerDelegate::gestureRecognizer(
    UIGestureRecognizer& /*recognizer*/, UIGestureRecognizer& /*shouldRecognizeSimultaneouslyWithGestureRecognizer*/) {
  return false;
}

UIGestureRecognizer::UIGestureRecognizer(std::function<void()> action) : action_(std::move(action)) {}

UIGestureRecognizer::~UIGestureRecognizer() = default;

void UIGestureRecognizer::touchesBegan(const UITouchSet& /*touches*/) {}
void UIGestureRecognizer::touchesMoved(const UITouchSet& /*touches*/) {}
void UIGestureRecognizer::touchesEnded(const UITouchSet& /*touches*/) {}
void UIGestureRecognizer::reset() {}

void UIGestureRecognizer::setEnabled(bool enabled) {
  if (enabled_ != enabled) {
    enabled_ = enabled;
    if (!enabled) {
      abandonTouches();
    }
  }
}

// Touches.

CGPoint UIGestureRecognizer::meanLocation(const UITouchSet& touches) {
  CGPoint mean = CGPointMake(0, 0);
  const auto count = static_cast<double>(touches.size());
  for (const std::shared_ptr<UITouch>& touch : touches) {
    const CGPoint place = touch->locationInView(nullptr);
    mean = CGPointMake(mean.x + place.x / count, mean.y + place.y / count);
  }
  return mean;
}

CGPoint UIGestureRecognizer::locationInView(const UIView* view) const {
  const CGPoint place = meanLocation(touches_);
  return view ? view->convertPointFromView(place, nullptr) : place;
}

UITouchSet UIGestureRecognizer::touchesWithout(const UITouchSet& touches) const {
  UITouchSet others;
  std::copy_if(touches_.begin(), touches_.end(), std::back_inserter(others),
               [&touches](const std::shared_ptr<UITouch>& touch) { return !contains(touches, touch); });
  return others;
}

std::vector<std::shared_ptr<UIGestureRecognizer>> UIGestureRecognizer::recognizersOf(const UITouch& touch) {
  std::vector<std::shared_ptr<UIGestureRecognizer>> recognizers;
  for (const std::weak_ptr<UIGestureRecognizer>& weak : touch.recognizers_) {
    if (std::shared_ptr<UIGestureRecognizer> recognizer = weak.lock()) {
      recognizers.push_back(std::move(recognizer));
    }
  }
  return recognizers;
}

void UIGestureRecognizer::cancelInView(const std::shared_ptr<UITouch>& touch) {
  if (std::exchange(touch->isWithView_, false)) {
    if (const std::shared_ptr<UIView> view = touch->view()) {
      view->touchesCancelled({touch});
    }
  }
}

void UIGestureRecognizer::offerTouch(const std::shared_ptr<UITouch>& touch) {
  const std::shared_ptr<UIView> view = this->view();
  if (!view || !enabled_) {
    return;
  }
  const std::shared_ptr<UIGestureRecognizerDelegate> delegate = this->delegate();
  if (delegate && !delegate->gestureRecognizer(*this, *touch)) {
    return;
  }
  // The answer may have changed anything.
  const bool isStillWanted = enabled_ && this->view() == view && view->window() && view->window() == touch->window() &&
                             touch->phase() == UITouchPhase::Began;
  if (isStillWanted && !contains(touches_, touch)) {
    touches_.push_back(touch);
    touch->recognizers_.push_back(weak_from_this());
  }
}

void UIGestureRecognizer::touchBegan(const std::shared_ptr<UITouch>& touch) {
  if (!contains(touches_, touch)) {
    return;
  }
  if (isUnderWay()) {
    // A gesture under way takes the touch as well.
    for (const std::shared_ptr<UIGestureRecognizer>& other : recognizersOf(*touch)) {
      if (other->state_ == UIGestureRecognizerState::Possible && !mayRecognizeWith(*other)) {
        other->fail();
      }
    }
  }
  if (contains(touches_, touch) && isFollowing()) {
    touchesBegan({touch});
  }
}

void UIGestureRecognizer::touchChanged(const std::shared_ptr<UITouch>& touch) {
  if (!contains(touches_, touch)) {
    return;
  }
  const UITouchPhase phase = touch->phase();
  if (phase == UITouchPhase::Moved) {
    if (isFollowing()) {
      touchesMoved({touch});
    }
    return;
  }
  if (phase == UITouchPhase::Ended && isFollowing()) {
    touchesEnded({touch});
  } else if (phase == UITouchPhase::Cancelled) {
    fail();
    setState(UIGestureRecognizerState::Cancelled);
  }
  std::erase(touches_, touch);
  if (touches_.empty()) {
    abandonTouches();
  }
}

void UIGestureRecognizer::abandonTouches() {
  const std::shared_ptr<UIGestureRecognizer> keep = weak_from_this().lock();
  setState(UIGestureRecognizerState::Cancelled);
  touches_.clear();
  state_ = UIGestureRecognizerState::Possible;
  reset();
}

// The gesture.

bool UIGestureRecognizer::isUnderWay() const {
  return state_ == UIGestureRecognizerState::Began || state_ == UIGestureRecognizerState::Changed;
}

bool UIGestureRecognizer::isFollowing() const { return state_ == UIGestureRecognizerState::Possible || isUnderWay(); }

void UIGestureRecognizer::setState(UIGestureRecognizerState state) {
  const std::shared_ptr<UIGestureRecognizer> keep = weak_from_this().lock();
  if (state == UIGestureRecognizerState::Began) {
    begin();
  } else if (state == UIGestureRecognizerState::Failed) {
    fail();
  } else if (state != UIGestureRecognizerState::Possible && isUnderWay()) {
    state_ = state;
    callAction();
  }
}

void UIGestureRecognizer::begin() {
  if (state_ != UIGestureRecognizerState::Possible || touches_.empty() || !winTouches()) {
    return;
  }
  const UITouchSet touches = touches_;
  state_ = UIGestureRecognizerState::Began;
  callAction();
  std::for_each(touches.begin(), touches.end(), cancelInView);
}

void UIGestureRecognizer::fail() {
  if (state_ == UIGestureRecognizerState::Possible && !touches_.empty()) {
    state_ = UIGestureRecognizerState::Failed;
  }
}

/// Asks who else may go on with these touches; the others fail. If one of those is under way already, nobody else fails
/// but this one.
bool UIGestureRecognizer::winTouches() {
  std::vector<std::shared_ptr<UIGestureRecognizer>> others;
  for (const std::shared_ptr<UITouch>& touch : touches_) {
    for (const std::shared_ptr<UIGestureRecognizer>& other : recognizersOf(*touch)) {
      const bool isRival = other.get() != this && other->isFollowing() && contains(other->touches_, touch);
      if (isRival && !contains(others, other)) {
        others.push_back(other);
      }
    }
  }
  std::erase_if(others, [this](const auto& other) { return mayRecognizeWith(*other); });
  // An answer may have taken the touches away.
  if (state_ != UIGestureRecognizerState::Possible || touches_.empty()) {
    return false;
  }
  if (std::any_of(others.begin(), others.end(), [](const auto& other) { return other->isUnderWay(); })) {
    fail();
    return false;
  }
  for (const std::shared_ptr<UIGestureRecognizer>& other : others) {
    other->fail();
  }
  return true;
}

bool UIGestureRecognizer::mayRecognizeWith(UIGestureRecognizer& other) {
  if (const std::shared_ptr<UIGestureRecognizerDelegate> delegate = this->delegate()) {
    if (delegate->gestureRecognizer(*this, other)) {
      return true;
    }
  }
  const std::shared_ptr<UIGestureRecognizerDelegate> delegate = other.delegate();
  return delegate && delegate->gestureRecognizer(other, *this);
}

void UIGestureRecognizer::callAction() {
  if (action_) {
    action_();
  }
}
