#include <ZELPlatform/UIView.h>

#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/UIGestureRecognizer.h>
#include <ZELPlatform/UIWindow.h>

#include <algorithm>

namespace {

/// The view and everything below it, from the top down: a copy, since the views that are told may change the tree.
std::vector<std::shared_ptr<UIView>> subtree(const std::shared_ptr<UIView>& root) {
  std::vector<std::shared_ptr<UIView>> views = {root};
  for (size_t index = 0; index < views.size(); ++index) {
    const std::vector<std::shared_ptr<UIView>>& below = views[index]->subviews();
    views.insert(views.end(), below.begin(), below.end());
  }
  return views;
}

}  // namespace

UIView::~UIView() {
  for (const std::shared_ptr<UIView>& view : subviews_) {
    view->layer_->removeFromSuperlayer();
  }
}

std::shared_ptr<UIView> UIView::create(CGRect frame) { return createView<UIView>(frame); }

bool UIView::initWithFrame(CGRect frame) {
  layer_ = createLayer();
  if (!layer_) {
    return false;
  }
  frame_ = frame;
  layer_->setFrame(frame);
  return true;
}

std::shared_ptr<CALayer> UIView::createLayer() { return std::make_shared<CALayer>(); }

void UIView::destroyOnMainThread(UIView* view) {
  if (DispatchIsMainThread()) {
    delete view;
  } else {
    DispatchQueue::mainQueue()->async([view] { delete view; });
  }
}

void UIView::setFrame(CGRect frame) {
  const bool resized = !CGSizeEqualToSize(frame.size, frame_.size);
  frame_ = frame;
  layer_->setFrame(frame);
  if (resized) {
    setNeedsLayout();
  }
}

// The tree.

void UIView::addSubview(const std::shared_ptr<UIView>& view) {
  if (!view) {
    return;
  }
  for (const UIView* ancestor = this; ancestor; ancestor = ancestor->superview().get()) {
    if (ancestor == view.get()) {
      return;
    }
  }
  const std::shared_ptr<UIWindow> window = this->window();
  const bool changesWindow = view->window() != window;
  if (changesWindow) {
    view->announceWindow(window);
  }
  view->detach();
  view->superview_ = weak_from_this();
  subviews_.push_back(view);
  layer_->addSublayer(view->layer_);
  if (changesWindow) {
    view->enterWindow(window);
  }
  setNeedsLayout();
}

void UIView::removeFromSuperview() {
  if (!superview()) {
    return;
  }
  // The superview's reference may be the last one.
  const std::shared_ptr<UIView> self = shared_from_this();
  const bool leavesWindow = window() != nullptr;
  if (leavesWindow) {
    announceWindow(nullptr);
  }
  detach();
  if (leavesWindow) {
    enterWindow(nullptr);
  }
}

/// Takes the view out of its superview without a word to anyone.
void UIView::detach() {
  const std::shared_ptr<UIView> parent = superview();
  superview_.reset();
  layer_->removeFromSuperlayer();
  if (parent) {
    std::erase(parent->subviews_, shared_from_this());
    parent->setNeedsLayout();
  }
}

/// Tells the whole subtree what is going to happen, from the top down.
void UIView::announceWindow(const std::shared_ptr<UIWindow>& window) {
  for (const std::shared_ptr<UIView>& view : subtree(shared_from_this())) {
    view->willMoveToWindow(window);
  }
}

/// Makes it true for the whole subtree, then tells it, from the top down.
void UIView::enterWindow(const std::shared_ptr<UIWindow>& window) {
  const std::vector<std::shared_ptr<UIView>> views = subtree(shared_from_this());
  for (const std::shared_ptr<UIView>& view : views) {
    view->window_ = window;
  }
  for (const std::shared_ptr<UIView>& view : views) {
    for (const std::shared_ptr<UIGestureRecognizer>& recognizer : std::vector(view->gestureRecognizers_)) {
      recognizer->abandonTouches();
    }
  }
  for (const std::shared_ptr<UIView>& view : views) {
    // A view that was told before may have taken this one out again.
    if (view->window() == window) {
      view->didMoveToWindow();
    }
  }
}

void UIView::willMoveToWindow(const std::shared_ptr<UIWindow>& /*window*/) {}

void UIView::didMoveToWindow() {}

// Layout.

void UIView::layoutSubviews() {}

void UIView::setNeedsLayout() {
  needsLayout_ = true;
  if (const std::shared_ptr<UIWindow> window = this->window()) {
    window->scheduleUpdate();
  }
}

void UIView::layoutIfNeeded() {
  if (needsLayout_) {
    needsLayout_ = false;
    layoutSubviews();
  }
  // A copy: layout may change the tree.
  for (const std::shared_ptr<UIView>& view : std::vector(subviews_)) {
    view->layoutIfNeeded();
  }
}

// Places.

/// Where the view's origin lies in its window; for a tree without a window, in the coordinates around the tree.
CGPoint UIView::originInWindow() const {
  CGPoint origin = CGPointMake(0, 0);
  const UIView* top = window().get();
  for (const UIView* view = this; view && view != top; view = view->superview().get()) {
    origin.x += view->frame_.origin.x;
    origin.y += view->frame_.origin.y;
  }
  return origin;
}

CGPoint UIView::convertPointToView(CGPoint point, const UIView* view) const {
  const CGPoint from = originInWindow();
  const CGPoint to = view ? view->originInWindow() : CGPointMake(0, 0);
  return CGPointMake(point.x + from.x - to.x, point.y + from.y - to.y);
}

CGPoint UIView::convertPointFromView(CGPoint point, const UIView* view) const {
  const CGPoint from = view ? view->originInWindow() : CGPointMake(0, 0);
  const CGPoint to = originInWindow();
  return CGPointMake(point.x + from.x - to.x, point.y + from.y - to.y);
}

bool UIView::pointInside(CGPoint point) const { return CGRectContainsPoint(bounds(), point); }

std::shared_ptr<UIView> UIView::hitTest(CGPoint point) {
  if (isHidden() || !userInteractionEnabled_ || !pointInside(point)) {
    return nullptr;
  }
  const std::vector<std::shared_ptr<UIView>> views = subviews_;
  for (auto view = views.rbegin(); view != views.rend(); ++view) {
    const CGPoint origin = (*view)->frame_.origin;
    if (std::shared_ptr<UIView> hit = (*view)->hitTest(CGPointMake(point.x - origin.x, point.y - origin.y))) {
      return hit;
    }
  }
  return shared_from_this();
}

// Touches.

void UIView::touchesBegan(const UITouchSet& touches) {
  if (const std::shared_ptr<UIView> parent = superview()) {
    parent->touchesBegan(touches);
  }
}

void UIView::touchesMoved(const UITouchSet& touches) {
  if (const std::shared_ptr<UIView> parent = superview()) {
    parent->touchesMoved(touches);
  }
}

void UIView::touchesEnded(const UITouchSet& touches) {
  if (const std::shared_ptr<UIView> parent = superview()) {
    parent->touchesEnded(touches);
  }
}

void UIView::touchesCancelled(const UITouchSet& touches) {
  if (const std::shared_ptr<UIView> parent = superview()) {
    parent->touchesCancelled(touches);
  }
}

// Gesture recognisers.

void UIView::addGestureRecognizer(const std::shared_ptr<UIGestureRecognizer>& recognizer) {
  if (!recognizer || recognizer->view().get() == this) {
    return;
  }
  const std::shared_ptr<UIView> self = shared_from_this();
  // The caller's reference may be the old view's own.
  const std::shared_ptr<UIGestureRecognizer> added = recognizer->shared_from_this();
  if (const std::shared_ptr<UIView> old = added->view()) {
    old->removeGestureRecognizer(added);
  }
  // Its cancelled gesture may have taken it elsewhere.
  if (!added->view()) {
    added->view_ = self;
    gestureRecognizers_.push_back(added);
  }
}

void UIView::removeGestureRecognizer(const std::shared_ptr<UIGestureRecognizer>& recognizer) {
  if (!recognizer || recognizer->view().get() != this) {
    return;
  }
  // The caller's reference may be this view's own, or go away as the gesture is cancelled.
  const std::shared_ptr<UIView> self = shared_from_this();
  const std::shared_ptr<UIGestureRecognizer> removed = recognizer->shared_from_this();
  removed->abandonTouches();
  if (removed->view() == self) {
    removed->view_.reset();
    std::erase(gestureRecognizers_, removed);
  }
}
