#pragma once

#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/Export.h>
#include <ZELPlatform/QuartzCore.h>
#include <ZELPlatform/UITouch.h>

#include <memory>
#include <vector>

class UIGestureRecognizer;
class UIWindow;

/// A rectangle in a tree of views, with a layer that shows it and touches that reach it.
///
/// Main thread only. References may be dropped on any thread: the view is then destroyed on the main thread, when its
/// run loop is next driven.
class ZELPLATFORM_EXPORT UIView : public std::enable_shared_from_this<UIView> {
 protected:
  /// Only `createView` can make one, so that every view is held by a shared pointer and has been initialised.
  struct Key {
    explicit Key() = default;
  };

 public:
  explicit UIView(Key) {}
  virtual ~UIView();

  static std::shared_ptr<UIView> create(CGRect frame = {});

  /// Position and size in the superview, in points. A change of size asks for layout.
  CGRect frame() const { return frame_; }
  virtual void setFrame(CGRect frame);

  /// (0, 0, frame size).
  CGRect bounds() const { return CGRectMake(0, 0, frame_.size.width, frame_.size.height); }

  const std::shared_ptr<CALayer>& layer() const { return layer_; }

  /// Adds a view on top, taking it from its old superview. Adding an ancestor or the view itself does nothing.
  void addSubview(const std::shared_ptr<UIView>& view);
  void removeFromSuperview();
  std::shared_ptr<UIView> superview() const { return superview_.lock(); }
  const std::vector<std::shared_ptr<UIView>>& subviews() const { return subviews_; }

  /// The window at the top of the tree, or null.
  std::shared_ptr<UIWindow> window() const { return window_.lock(); }

  /// Called before the view enters a window (or leaves it: null). The base does nothing.
  virtual void willMoveToWindow(const std::shared_ptr<UIWindow>& window);
  /// Called after the view entered or left a window. The base does nothing.
  virtual void didMoveToWindow();

  /// Places the subviews; called before the next refresh after the size changed or `setNeedsLayout`. The base does
  /// nothing.
  virtual void layoutSubviews();
  void setNeedsLayout();
  /// Lays out the view and everything below it now, where needed.
  void layoutIfNeeded();

  bool isOpaque() const { return layer_->isOpaque(); }
  void setOpaque(bool opaque) { layer_->setOpaque(opaque); }
  bool isHidden() const { return layer_->isHidden(); }
  void setHidden(bool hidden) { layer_->setHidden(hidden); }

  /// Whether touches reach the view and everything below it; true at first.
  bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
  void setUserInteractionEnabled(bool enabled) { userInteractionEnabled_ = enabled; }

  /// Whether the point, in the view's coordinates, lies in its bounds.
  virtual bool pointInside(CGPoint point) const;

  /// The deepest, topmost view under the point (in this view's coordinates) that is shown and takes touches, or null.
  virtual std::shared_ptr<UIView> hitTest(CGPoint point);

  /// A point of this view's coordinates in the other's (null: the window's), and the way back.
  CGPoint convertPointToView(CGPoint point, const UIView* view) const;
  CGPoint convertPointFromView(CGPoint point, const UIView* view) const;

  /// Touches that began in this view. The base passes them to the superview.
  virtual void touchesBegan(const UITouchSet& touches);
  virtual void touchesMoved(const UITouchSet& touches);
  virtual void touchesEnded(const UITouchSet& touches);
  virtual void touchesCancelled(const UITouchSet& touches);

  /// Lets a recogniser see the touches of this view and of the views in it, taking it from its old view.
  void addGestureRecognizer(const std::shared_ptr<UIGestureRecognizer>& recognizer);
  /// Cancels its gesture and takes it away; another view's recogniser is left alone.
  void removeGestureRecognizer(const std::shared_ptr<UIGestureRecognizer>& recognizer);
  const std::vector<std::shared_ptr<UIGestureRecognizer>>& gestureRecognizers() const { return gestureRecognizers_; }

  /// Draws what the view and everything below it show now into the current image context, stretched to `rect` (points);
  /// waits for the GPU to finish the picture. With `afterScreenUpdates` pending layout is done first. False without an
  /// image context.
  bool drawViewHierarchyInRect(CGRect rect, bool afterScreenUpdates);

  UIView(const UIView&) = delete;
  UIView& operator=(const UIView&) = delete;

 protected:
  /// Makes a view of class `View`, whose constructor takes a `Key`; null when its initialiser fails.
  template <class View>
  static std::shared_ptr<View> createView(CGRect frame) {
    std::shared_ptr<View> view(new View(Key()), [](View* dead) { destroyOnMainThread(dead); });
    return static_cast<UIView&>(*view).initWithFrame(frame) ? view : nullptr;
  }

  /// Prepares the view; a class that overrides it calls the base first and gives up when that fails.
  virtual bool initWithFrame(CGRect frame);

  /// The layer that goes with the class; called once, by `initWithFrame`.
  virtual std::shared_ptr<CALayer> createLayer();

 private:
  friend class UIWindow;
  static void destroyOnMainThread(UIView* view);
  void announceWindow(const std::shared_ptr<UIWindow>& window);
  void enterWindow(const std::shared_ptr<UIWindow>& window);
  void detach();
  CGPoint originInWindow() const;

  CGRect frame_{};
  bool needsLayout_ = true;
  bool userInteractionEnabled_ = true;
  std::shared_ptr<CALayer> layer_;
  std::weak_ptr<UIView> superview_;
  std::weak_ptr<UIWindow> window_;
  std::vector<std::shared_ptr<UIView>> subviews_;
  std::vector<std::shared_ptr<UIGestureRecognizer>> gestureRecognizers_;
};
