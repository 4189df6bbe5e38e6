#include "apps/zelview/TapView.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace zelview {
namespace {

/// The longest time that a tap takes, and the longest time between two, in seconds.
constexpr double kTapTime = 0.3;
/// How far two taps, or the ends of one, may lie apart, in points: a finger does not hit the same spot twice.
constexpr double kTapDistance = 10.0;

}  // namespace

std::shared_ptr<TapView> TapView::create(CGRect frame, std::function<void()> doubleTapped) {
  std::shared_ptr<TapView> view = createView<TapView>(frame);
  if (view) view->doubleTapped_ = std::move(doubleTapped);
  return view;
}

bool TapView::isNear(const Tap& earlier, const Tap& later) {
  return later.time - earlier.time <= kTapTime &&
         std::hypot(later.place.x - earlier.place.x, later.place.y - earlier.place.y) <= kTapDistance;
}

TapView::Tap TapView::tapOf(const UITouch& touch) const { return {touch.timestamp(), touch.locationInView(this)}; }

void TapView::touchesBegan(const UITouchSet& touches) {
  for (const auto& touch : touches) {
    if (touch->view().get() != this) continue;
    ++touchesDown_;
    begun_.reset();
    if (touchesDown_ == 1) begun_ = tapOf(*touch);
    if (first_ && (!begun_ || !isNear(*first_, *begun_))) first_.reset();
  }
}

void TapView::end(const UITouch& touch) {
  if (touchesDown_ > 0) --touchesDown_;
  const std::optional<Tap> begun = std::exchange(begun_, std::nullopt);
  const Tap ended = tapOf(touch);
  if (touch.phase() != UITouchPhase::Ended || !begun || !isNear(*begun, ended)) {
    first_.reset();
  } else if (std::exchange(first_, std::nullopt)) {
    doubleTapped_();
  } else {
    first_ = ended;
  }
}

void TapView::touchesEnded(const UITouchSet& touches) {
  for (const auto& touch : touches) {
    if (touch->view().get() == this) end(*touch);
  }
}

void TapView::touchesCancelled(const UITouchSet& touches) { touchesEnded(touches); }

}  // namespace zelview
