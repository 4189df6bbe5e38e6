#include <ZELPlatform/UIGestureRecognizer.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

/// By how many points the distance of the fingers changes before it is a pinch.
constexpr double kStartChange = 4.0;

/// Fingers are taken to be at least this many points apart, so that a scale is never infinite.
constexpr double kSmallestDistance = 1.0;

}  // namespace

UIPinchGestureRecognizer::UIPinchGestureRecognizer(std::function<void()> action)
    : UIGestureRecognizer(std::move(action)) {}

std::shared_ptr<UIPinchGestureRecognizer> UIPinchGestureRecognizer::create(std::function<void()> action) {
  return std::shared_ptr<UIPinchGestureRecognizer>(new UIPinchGestureRecognizer(std::move(action)));
}

double UIPinchGestureRecognizer::scale() const { return scale_; }

void UIPinchGestureRecognizer::touchesBegan(const UITouchSet& /*began*/) { choosePair(touches()); }

void UIPinchGestureRecognizer::touchesMoved(const UITouchSet& /*moved*/) { follow(); }

void UIPinchGestureRecognizer::touchesEnded(const UITouchSet& ended) {
  follow();
  if (touches().size() > ended.size()) {
    choosePair(touchesWithout(ended));
  } else {
    setState(UIGestureRecognizerState::Ended);
  }
}

void UIPinchGestureRecognizer::reset() {
  pair_.clear();
  scale_ = 1.0;
}

double UIPinchGestureRecognizer::distance() const {
  const CGPoint a = pair_[0]->locationInView(nullptr);
  const CGPoint b = pair_[1]->locationInView(nullptr);
  return std::max(std::hypot(a.x - b.x, a.y - b.y), kSmallestDistance);
}

/// Follows the first two of the touches; the scale goes on from what it is.
void UIPinchGestureRecognizer::choosePair(const UITouchSet& touches) {
  pair_.assign(touches.begin(), touches.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(2, touches.size())));
  startScale_ = scale_;
  startDistance_ = pair_.size() == 2 ? distance() : kSmallestDistance;
}

void UIPinchGestureRecognizer::follow() {
  if (pair_.size() < 2) {
    return;
  }
  const double now = distance();
  if (state() != UIGestureRecognizerState::Possible) {
    scale_ = startScale_ * now / startDistance_;
    setState(UIGestureRecognizerState::Changed);
    return;
  }
  const double change = now - startDistance_;
  if (std::fabs(change) >= kStartChange) {
    // From the distance at which the change became large enough, so that the scale grows out of 1 without a jump.
    startDistance_ += std::copysign(kStartChange, change);
    scale_ = now / startDistance_;
    setState(UIGestureRecognizerState::Began);
  }
}
