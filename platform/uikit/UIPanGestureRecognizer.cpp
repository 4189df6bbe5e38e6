#include <ZELPlatform/UIGestureRecognizer.h>

#include "platform/uikit/PanTrack.h"

#include <utility>

UIPanGestureRecognizer::UIPanGestureRecognizer(std::function<void()> action)
    : UIGestureRecognizer(std::move(action)), track_(std::make_unique<ZELPlatform::PanTrack>()) {}

UIPanGestureRecognizer::~UIPanGestureRecognizer() = default;

std::shared_ptr<UIPanGestureRecognizer> UIPanGestureRecognizer::create(std::function<void()> action) {
  return std::shared_ptr<UIPanGestureRecognizer>(new UIPanGestureRecognizer(std::move(action)));
}

// Views are not scaled or turned against each other: a way is the same in all of them.

CGPoint UIPanGestureRecognizer::translationInView(const UIView* /*view*/) const { return track_->translation(); }

CGPoint UIPanGestureRecognizer::velocityInView(const UIView* /*view*/) const { return track_->velocity(); }

void UIPanGestureRecognizer::touchesBegan(const UITouchSet& began) {
  const CGPoint place = locationInView(nullptr);
  if (touches().size() == began.size()) {
    track_->begin(place, began.front()->timestamp());
  } else {
    track_->continueFrom(place);
  }
}

void UIPanGestureRecognizer::touchesMoved(const UITouchSet& moved) {
  follow(moved);
  if (state() == UIGestureRecognizerState::Possible) {
    beginIfFarEnough();
  } else {
    setState(UIGestureRecognizerState::Changed);
  }
}

void UIPanGestureRecognizer::touchesEnded(const UITouchSet& ended) {
  // A touch may go up elsewhere than where it was last seen.
  follow(ended);
  if (state() == UIGestureRecognizerState::Possible) {
    beginIfFarEnough();
  }
  if (touches().size() > ended.size()) {
    track_->continueFrom(meanLocation(touchesWithout(ended)));
  } else {
    setState(UIGestureRecognizerState::Ended);
  }
}

void UIPanGestureRecognizer::reset() { *track_ = ZELPlatform::PanTrack(); }

void UIPanGestureRecognizer::follow(const UITouchSet& changed) {
  track_->follow(locationInView(nullptr), changed.front()->timestamp());
}

void UIPanGestureRecognizer::beginIfFarEnough() {
  if (track_->isLongEnough()) {
    track_->start();
    setState(UIGestureRecognizerState::Began);
  }
}
