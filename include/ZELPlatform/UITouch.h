#pragma once

#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/Export.h>

#include <cstdint>
#include <memory>
#include <vector>

class UIGestureRecognizer;
class UIView;
class UIWindow;

enum class UITouchPhase : int64_t {
  Began = 0,
  Moved = 1,
  Ended = 3,
  Cancelled = 4,
};

/// A finger, or the mouse with its main button held, from the moment it goes down until it goes up. Main thread.
class ZELPLATFORM_EXPORT UITouch {
 public:
  UITouch(int64_t identifier, std::weak_ptr<UIWindow> window, const std::shared_ptr<UIView>& view, CGPoint location,
          double timestamp);

  /// Names the pointer while it is down.
  int64_t identifier() const { return identifier_; }
  UITouchPhase phase() const { return phase_; }

  /// Host time of the newest change, in seconds; never falls.
  double timestamp() const { return timestamp_; }

  /// The view that was hit when the touch began; it gets every later change, wherever the pointer goes, until a gesture
  /// recogniser takes the touch.
  std::shared_ptr<UIView> view() const { return view_.lock(); }
  std::shared_ptr<UIWindow> window() const { return window_.lock(); }

  /// The place in the view's coordinates, in points; in the window's for null.
  CGPoint locationInView(const UIView* view) const;
  CGPoint previousLocationInView(const UIView* view) const;

  /// Follows the pointer; called by the window. A time before the newest one counts as that.
  void update(UITouchPhase phase, CGPoint locationInWindow, double timestamp);

 private:
  friend class UIGestureRecognizer;
  friend class UIWindow;

  int64_t identifier_;
  std::weak_ptr<UIWindow> window_;
  std::weak_ptr<UIView> view_;
  UITouchPhase phase_ = UITouchPhase::Began;
  CGPoint location_;
  CGPoint previousLocation_;
  double timestamp_;
  /// Those that took the touch when it began; each may have let go of it since.
  std::vector<std::weak_ptr<UIGestureRecognizer>> recognizers_;
  /// Whether the view was told of the touch, and hears how it goes on.
  bool isWithView_ = false;
};

/// The touches of one event.
using UITouchSet = std::vector<std::shared_ptr<UITouch>>;
