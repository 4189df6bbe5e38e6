#include <ZELPlatform/UIWindow.h>

#include "platform/quartzcore/LayerTree.h"
#include "platform/uikit/UIWindowNative.h"

#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIGestureRecognizer.h>
#include <ZELPlatform/UIScreen.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

/// How far a pointer may be from the window's origin, in points: beyond every desktop, and harmless in single
/// precision.
constexpr double kFarthest = 1e6;

bool isPlace(CGPoint location) {
  // Neither holds for what is not a number.
  return std::fabs(location.x) <= kFarthest && std::fabs(location.y) <= kFarthest;
}

}  // namespace

void UIWindowDelegate::windowDidRequestClose(UIWindow& /*window*/) {}
void UIWindowDelegate::windowDidResize(UIWindow& /*window*/) {}
void UIWindowDelegate::windowDidMovePointer(UIWindow& /*window*/, CGPoint /*location*/) {}
void UIWindowDelegate::windowDidScroll(UIWindow& /*window*/, CGPoint /*location*/, double /*steps*/) {}
void UIWindowDelegate::windowDidPressKey(UIWindow& /*window*/, const UIKey& /*key*/) {}
void UIWindowDelegate::windowDidReleaseKey(UIWindow& /*window*/, const UIKey& /*key*/) {}
void UIWindowDelegate::windowDidChangeFocus(UIWindow& /*window*/, bool /*focused*/) {}

UIWindow::UIWindow(Key key) : UIView(key) {}

UIWindow::~UIWindow() {
  if (!layer()) {
    return;
  }
  layer()->setTreeChangedHandler(nullptr);
  close();
  for (const std::shared_ptr<UIView>& view : std::vector(subviews())) {
    view->announceWindow(nullptr);
    view->detach();
    view->enterWindow(nullptr);
  }
}

std::shared_ptr<UIWindow> UIWindow::create(CGRect frame, std::string* error) {
  std::shared_ptr<UIWindow> window(new UIWindow(Key()), [](UIWindow* dead) { destroyOnMainThread(dead); });
  if (window->initWithFrame(frame)) {
    return window;
  }
  if (error) {
    *error = window->creationError_;
  }
  return nullptr;
}

bool UIWindow::initWithFrame(CGRect frame) {
  if (!UIView::initWithFrame(frame)) {
    return false;
  }
  window_ = std::static_pointer_cast<UIWindow>(shared_from_this());
  layer()->setTreeChangedHandler([this] { sceneChanged(); });
  native_ = std::make_unique<Native>(*this);
  creationError_ = native_->open(frame.size);
  if (!creationError_.empty()) {
    native_.reset();
    return false;
  }
  // The window system may have chosen another size.
  UIView::setFrame({frame.origin, native_->window->size()});
  return true;
}

// Being key, being seen.

void UIWindow::makeKeyWindow() {
  UIApplication::sharedApplication().keyWindowChanged(std::static_pointer_cast<UIWindow>(shared_from_this()));
}

bool UIWindow::isKeyWindow() const { return UIApplication::sharedApplication().keyWindow().get() == this; }

void UIWindow::makeKeyAndVisible() {
  const std::shared_ptr<UIView> keep = shared_from_this();
  makeKeyWindow();
  if (!native_ || native_->isShown) {
    return;
  }
  native_->isShown = true;
  visible_ = true;
  update();
  native_->window->show();
  Native::updateApplicationState();
  // The window system may have given the window another size as it was shown.
  update();
  if (native_) {
    native_->startComposing();
  }
}

void UIWindow::close() {
  cancelTouches();
  visible_ = false;
  if (native_) {
    native_.reset();
    Native::updateApplicationState();
  }
  // A window that is being destroyed is no longer known as the key window.
  UIApplication& application = UIApplication::sharedApplication();
  if (isKeyWindow() || !application.keyWindow()) {
    application.keyWindowChanged(nullptr);
  }
}

void UIWindow::setTitle(const std::string& title) {
  if (native_) {
    native_->window->setTitle(title);
  }
}

void UIWindow::setFullScreen(bool fullScreen) {
  if (native_ && fullScreen_ != fullScreen) {
    fullScreen_ = fullScreen;
    native_->window->setFullScreen(fullScreen);
  }
}

double UIWindow::displayScale() const {
  return native_ ? native_->window->scale() : UIScreen::mainScreen().nativeScale();
}

// Size.

void UIWindow::setFrame(CGRect frame) {
  UIView::setFrame({frame.origin, this->frame().size});
  if (CGSizeEqualToSize(frame.size, this->frame().size)) {
    return;
  }
  if (native_) {
    native_->window->setSize(frame.size);
  } else {
    resizeTo(frame.size);
  }
}

void UIWindow::resizeTo(CGSize size) {
  const std::shared_ptr<UIView> keep = shared_from_this();
  const CGRect oldBounds = bounds();
  UIView::setFrame({frame().origin, size});
  for (const std::shared_ptr<UIView>& view : std::vector(subviews())) {
    if (CGRectEqualToRect(view->frame(), oldBounds)) {
      view->setFrame(bounds());
    }
  }
  // Also with an unchanged size in points: the pixels may be others.
  sceneChanged();
  UIApplication::sharedApplication().followKeyWindowShape();
  if (const std::shared_ptr<UIWindowDelegate> delegate = delegate_.lock()) {
    delegate->windowDidResize(*this);
  }
}

// The scene. Changes of the tree and pending layout are gathered and brought to the compositor once: at the start of
// the next refresh or in the next turn of the main loop, whichever comes first.

void UIWindow::scheduleUpdate() {
  if (std::exchange(updateScheduled_, true)) {
    return;
  }
  DispatchQueue::mainQueue()->async([weak = window_] {
    const std::shared_ptr<UIWindow> window = weak.lock();
    if (window && window->updateScheduled_) {
      window->update();
    }
  });
}

void UIWindow::sceneChanged() {
  sceneDirty_ = true;
  scheduleUpdate();
}

void UIWindow::update() {
  const std::shared_ptr<UIView> keep = shared_from_this();
  updateScheduled_ = false;
  layoutIfNeeded();
  if (std::exchange(sceneDirty_, false)) {
    commitScene();
  }
}

void UIWindow::commitScene() {
  if (!native_ || !native_->compositor) {
    return;
  }
  ZELPlatform::Scene scene;
  scene.points = bounds().size;
  scene.pixelWidth = native_->window->pixelWidth();
  scene.pixelHeight = native_->window->pixelHeight();
  scene.items = ZELPlatform::visibleLayers(*layer());
  native_->compositor->setScene(std::move(scene));
}

// Events.

void UIWindow::deliverPointer(int64_t identifier, UITouchPhase phase, CGPoint location, double timestamp) {
  const std::shared_ptr<UIView> keep = shared_from_this();
  const bool isSound = isPlace(location) && std::isfinite(timestamp);
  const bool isOver = phase == UITouchPhase::Ended || phase == UITouchPhase::Cancelled;
  if (!isSound && !isOver) {
    return;
  }
  const auto isSame = [identifier](const auto& touch) { return touch->identifier() == identifier; };
  const auto found = std::find_if(touches_.begin(), touches_.end(), isSame);
  const std::shared_ptr<UITouch> touch = found != touches_.end() ? *found : nullptr;
  if (touch && phase != UITouchPhase::Moved) {
    touches_.erase(found);
  }
  if (phase == UITouchPhase::Began) {
    if (touch) {
      // The end of the touch before got lost.
      cancelTouch(touch);
    }
    beginTouch(identifier, location, timestamp);
  } else if (touch) {
    // A touch that must not stay down ends where it was last seen.
    touch->update(phase, isSound ? location : touch->location_, isSound ? timestamp : touch->timestamp_);
    followTouch(touch);
  }
  if (isOver) {
    return;
  }
  // After the touch: what the delegate shows now was not there to be hit.
  if (const std::shared_ptr<UIWindowDelegate> delegate = delegate_.lock()) {
    delegate->windowDidMovePointer(*this, location);
  }
}

void UIWindow::beginTouch(int64_t identifier, CGPoint location, double timestamp) {
  const std::shared_ptr<UIView> view = hitTest(location);
  if (!view) {
    return;
  }
  const auto touch = std::make_shared<UITouch>(identifier, window_, view, location, timestamp);
  touches_.push_back(touch);
  std::vector<std::shared_ptr<UIGestureRecognizer>> recognizers;
  for (std::shared_ptr<UIView> above = view; above; above = above->superview()) {
    recognizers.insert(recognizers.end(), above->gestureRecognizers().begin(), above->gestureRecognizers().end());
  }
  for (const std::shared_ptr<UIGestureRecognizer>& recognizer : recognizers) {
    recognizer->offerTouch(touch);
  }
  bool isTaken = false;
  for (const std::shared_ptr<UIGestureRecognizer>& recognizer : UIGestureRecognizer::recognizersOf(*touch)) {
    recognizer->touchBegan(touch);
    isTaken = isTaken || recognizer->isUnderWay();
  }
  // What was asked or told may have ended the touch again.
  if (!isTaken && std::find(touches_.begin(), touches_.end(), touch) != touches_.end()) {
    touch->isWithView_ = true;
    view->touchesBegan({touch});
  }
}

/// Tells the recognisers that have the touch, and then the view that was hit, how it went on.
void UIWindow::followTouch(const std::shared_ptr<UITouch>& touch) {
  for (const std::shared_ptr<UIGestureRecognizer>& recognizer : UIGestureRecognizer::recognizersOf(*touch)) {
    recognizer->touchChanged(touch);
  }
  const std::shared_ptr<UIView> view = touch->view();
  if (!touch->isWithView_ || !view) {
    return;
  }
  if (touch->phase() == UITouchPhase::Moved) {
    view->touchesMoved({touch});
    return;
  }
  touch->isWithView_ = false;
  if (touch->phase() == UITouchPhase::Ended) {
    view->touchesEnded({touch});
  } else {
    view->touchesCancelled({touch});
  }
}

void UIWindow::cancelTouches() {
  // None when the window is being destroyed.
  const std::shared_ptr<UIView> keep = weak_from_this().lock();
  for (const std::shared_ptr<UITouch>& touch : std::exchange(touches_, {})) {
    cancelTouch(touch);
  }
}

void UIWindow::cancelTouch(const std::shared_ptr<UITouch>& touch) {
  touch->update(UITouchPhase::Cancelled, touch->location_, CACurrentMediaTime());
  followTouch(touch);
}

void UIWindow::deliverScroll(CGPoint location, double steps) {
  const std::shared_ptr<UIView> keep = shared_from_this();
  if (const std::shared_ptr<UIWindowDelegate> delegate = delegate_.lock()) {
    delegate->windowDidScroll(*this, location, steps);
  }
}

void UIWindow::deliverKey(const UIKey& key) {
  const std::shared_ptr<UIView> keep = shared_from_this();
  if (const std::shared_ptr<UIWindowDelegate> delegate = delegate_.lock()) {
    delegate->windowDidPressKey(*this, key);
  }
}

void UIWindow::deliverKeyUp(const UIKey& key) {
  const std::shared_ptr<UIView> keep = shared_from_this();
  if (const std::shared_ptr<UIWindowDelegate> delegate = delegate_.lock()) {
    delegate->windowDidReleaseKey(*this, key);
  }
}
