#pragma once

#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/Export.h>
#include <ZELPlatform/UITouch.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class UIGestureRecognizer;
class UIView;

/// Where a gesture stands.
enum class UIGestureRecognizerState : int64_t {
  /// Nothing was recognised so far; the state between gestures.
  Possible = 0,
  Began = 1,
  Changed = 2,
  Ended = 3,
  Cancelled = 4,
  /// These touches are not, or no longer, the recogniser's; until all of them are up.
  Failed = 5,
};

/// Answers a recogniser's questions. Main thread.
class ZELPLATFORM_EXPORT UIGestureRecognizerDelegate {
 public:
  virtual ~UIGestureRecognizerDelegate() = default;

  /// Whether the recogniser may take a touch that has just begun; yes by default.
  virtual bool gestureRecognizer(UIGestureRecognizer& recognizer, const UITouch& shouldReceiveTouch);

  /// Whether both may recognise at the same time, asked of either delegate when one begins while the other is under way
  /// on the same touch; one yes is enough. No by default.
  virtual bool gestureRecognizer(UIGestureRecognizer& recognizer,
                                 UIGestureRecognizer& shouldRecognizeSimultaneouslyWithGestureRecognizer);
};

/// Turns the touches of a view, and of the views in it, into one gesture. Main thread only.
///
/// A touch goes to the recognisers of the view that was hit and of all views above it. The first one that begins keeps
/// the touch: the others on it fail, and the view that was hit gets its touch cancelled. A gesture under way is
/// cancelled when its touches are (the window lost the pointer), when the recogniser is disabled, and when it leaves
/// its view.
class ZELPLATFORM_EXPORT UIGestureRecognizer : public std::enable_shared_from_this<UIGestureRecognizer> {
 public:
  virtual ~UIGestureRecognizer();

  UIGestureRecognizerState state() const { return state_; }

  /// A recogniser that is switched off gets no touches; on at first.
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled);

  /// The view that it was added to, or null.
  std::shared_ptr<UIView> view() const { return view_.lock(); }

  /// Held weakly.
  std::shared_ptr<UIGestureRecognizerDelegate> delegate() const { return delegate_.lock(); }
  void setDelegate(const std::weak_ptr<UIGestureRecognizerDelegate>& delegate) { delegate_ = delegate; }

  /// How many touches are on it now.
  size_t numberOfTouches() const { return touches_.size(); }

  /// The mean place of its touches in a view's coordinates, in points; in the window's for null.
  CGPoint locationInView(const UIView* view) const;

  UIGestureRecognizer(const UIGestureRecognizer&) = delete;
  UIGestureRecognizer& operator=(const UIGestureRecognizer&) = delete;

 protected:
  /// `action` is called after every change of state to began, changed, ended or cancelled, with the new state.
  explicit UIGestureRecognizer(std::function<void()> action);

  /// What a gesture makes of its touches; the base does nothing. `touches` are those that changed.
  virtual void touchesBegan(const UITouchSet& touches);
  virtual void touchesMoved(const UITouchSet& touches);
  virtual void touchesEnded(const UITouchSet& touches);

  /// Back to before the first touch; called when the last touch is gone.
  virtual void reset();

  /// Moves the gesture on: to began (which asks for the touches and may fail instead), changed, ended, cancelled.
  void setState(UIGestureRecognizerState state);

  /// The touches that are down and belong to this recogniser.
  const UITouchSet& touches() const { return touches_; }

 private:
  friend class UIView;
  friend class UIWindow;

  std::function<void()> action_;
  UIGestureRecognizerState state_ = UIGestureRecognizerState::Possible;
  bool enabled_ = true;
  UITouchSet touches_;
  std::weak_ptr<UIView> view_;
  std::weak_ptr<UIGestureRecognizerDelegate> delegate_;
};

/// Follows a drag by a finger, by several (their mean place), or by the mouse.
///
/// It begins once the touch has moved a few points from where it went down, ends when the last touch is up, and changes
/// at every move in between.
class ZELPLATFORM_EXPORT UIPanGestureRecognizer final : public UIGestureRecognizer {
 public:
  static std::shared_ptr<UIPanGestureRecognizer> create(std::function<void()> action);

  /// How far the touches have gone since the gesture began, in the view's points; y down.
  CGPoint translationInView(const UIView* view) const;

  /// Their speed over the last tenth of a second, in the view's points per second. Zero when they rested that long.
  CGPoint velocityInView(const UIView* view) const;
};

/// Follows two fingers that move apart or together.
class ZELPLATFORM_EXPORT UIPinchGestureRecognizer final : public UIGestureRecognizer {
 public:
  static std::shared_ptr<UIPinchGestureRecognizer> create(std::function<void()> action);

  /// The distance of the fingers over what it was when the gesture began; above 1 means apart.
  double scale() const;
};
