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
namespace ZELPlatform {
class PanTrack;
}

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

/// Answers a recogniser's questions; an answer may change anything, the recogniser and its view included. Main thread.
class ZELPLATFORM_EXPORT UIGestureRecognizerDelegate {
 public:
  virtual ~UIGestureRecognizerDelegate() = default;

  /// Whether the recogniser may take a touch that has just begun; yes by default.
  virtual bool gestureRecognizer(UIGestureRecognizer& recognizer, const UITouch& shouldReceiveTouch);

  /// Whether both may recognise at the same time, asked of either's delegate when one begins on a touch that the other
  /// has too; one yes is enough. No by default.
  virtual bool gestureRecognizer(UIGestureRecognizer& recognizer,
                                 UIGestureRecognizer& shouldRecognizeSimultaneouslyWithGestureRecognizer);
};

/// Turns the touches of a view, and of the views in it, into one gesture. Main thread only.
///
/// A touch goes to the recognisers of the view that was hit and of all views above it, before it goes to the view that
/// was hit. The first one that begins keeps the touch: the others on it fail, and the view that was hit gets its touch
/// cancelled; of touches that join a gesture under way it never hears. A gesture under way is cancelled when one of its
/// touches is (the window lost the pointer), when the recogniser is disabled, when it leaves its view, and when that
/// leaves its window.
///
/// The action is called while the window delivers the event. It may do anything: remove the recogniser, the view or the
/// window, or give up the last reference to them.
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

  /// How many touches are on it now, with the one that is going up as a gesture ends.
  size_t numberOfTouches() const { return touches_.size(); }

  /// The mean place of its touches in a view's coordinates, in points; in the window's for null. The window's origin
  /// when it has none.
  CGPoint locationInView(const UIView* view) const;

  UIGestureRecognizer(const UIGestureRecognizer&) = delete;
  UIGestureRecognizer& operator=(const UIGestureRecognizer&) = delete;

 protected:
  /// `action` is called after every change of state to began, changed, ended or cancelled, with the new state.
  explicit UIGestureRecognizer(std::function<void()> action);

  /// What a gesture makes of its touches; the base does nothing. `touches` are those that changed; touches that end are
  /// among the recogniser's until `touchesEnded` returns. Not called once the gesture failed, ended or was cancelled,
  /// until all touches are up.
  virtual void touchesBegan(const UITouchSet& touches);
  virtual void touchesMoved(const UITouchSet& touches);
  virtual void touchesEnded(const UITouchSet& touches);

  /// Back to before the first touch; called when the last touch is gone.
  virtual void reset();

  /// Moves the gesture on: from possible to failed or began (which asks for the touches and may fail instead), from
  /// began or changed to changed, ended or cancelled. Any other change does nothing. A gesture that has not ended when
  /// its last touch is up is cancelled.
  void setState(UIGestureRecognizerState state);

  /// The touches that are down and belong to this recogniser, in the order in which they went down.
  const UITouchSet& touches() const { return touches_; }
  UITouchSet touchesWithout(const UITouchSet& touches) const;

  /// In the window's coordinates.
  static CGPoint meanLocation(const UITouchSet& touches);

 private:
  friend class UIView;
  friend class UIWindow;

  /// What the window tells: a touch began, which it may take; one that it has began, or changed.
  void offerTouch(const std::shared_ptr<UITouch>& touch);
  void touchBegan(const std::shared_ptr<UITouch>& touch);
  void touchChanged(const std::shared_ptr<UITouch>& touch);
  static std::vector<std::shared_ptr<UIGestureRecognizer>> recognizersOf(const UITouch& touch);
  static void cancelInView(const std::shared_ptr<UITouch>& touch);

  /// Cancels a gesture under way and lets go of all touches.
  void abandonTouches();

  bool isUnderWay() const;
  bool isFollowing() const;
  void begin();
  void fail();
  bool winTouches();
  bool mayRecognizeWith(UIGestureRecognizer& other);
  void callAction();

  std::function<void()> action_;
  UIGestureRecognizerState state_ = UIGestureRecognizerState::Possible;
  bool enabled_ = true;
  UITouchSet touches_;
  std::weak_ptr<UIView> view_;
  std::weak_ptr<UIGestureRecognizerDelegate> delegate_;
};

/// Follows a drag by a finger, by several (their mean place), or by the mouse.
///
/// It begins once the touches have moved 4 points from where they went down, changes at every move, and ends when the
/// last touch is up. Fingers that are added or lifted meanwhile move nothing.
class ZELPLATFORM_EXPORT UIPanGestureRecognizer final : public UIGestureRecognizer {
 public:
  ~UIPanGestureRecognizer() override;
  static std::shared_ptr<UIPanGestureRecognizer> create(std::function<void()> action);

  /// How far the touches have gone, in the view's points; y down.
  ///
  /// It grows out of zero from the place where the 4 points were passed, so that nothing jumps as the gesture begins,
  /// and makes those 4 points good over the next 16. From then on it is the whole way from where the touches went down:
  /// what was grabbed stays under the finger, however many events the way came in.
  CGPoint translationInView(const UIView* view) const;

  /// Their mean velocity over the last tenth of a second before the newest event, in the view's points per second. Zero
  /// when they rested that long.
  CGPoint velocityInView(const UIView* view) const;

 private:
  explicit UIPanGestureRecognizer(std::function<void()> action);
  void touchesBegan(const UITouchSet& began) override;
  void touchesMoved(const UITouchSet& moved) override;
  void touchesEnded(const UITouchSet& ended) override;
  void reset() override;
  void follow(const UITouchSet& changed);
  void beginIfFarEnough();

  std::unique_ptr<ZELPlatform::PanTrack> track_;
};

/// Follows two fingers that move apart or together.
///
/// It begins once their distance has changed by 4 points, and ends when the last finger is up. A finger that is lifted
/// and put down again elsewhere goes on with the scale as it was.
class ZELPLATFORM_EXPORT UIPinchGestureRecognizer final : public UIGestureRecognizer {
 public:
  static std::shared_ptr<UIPinchGestureRecognizer> create(std::function<void()> action);

  /// The distance of the fingers over what it was when the gesture began; above 1 means apart. Grows out of 1 without a
  /// jump; never zero or infinite, as fingers count as at least one point apart.
  double scale() const;

 private:
  explicit UIPinchGestureRecognizer(std::function<void()> action);
  void touchesBegan(const UITouchSet& began) override;
  void touchesMoved(const UITouchSet& moved) override;
  void touchesEnded(const UITouchSet& ended) override;
  void reset() override;
  double distance() const;
  void choosePair(const UITouchSet& touches);
  void follow();

  UITouchSet pair_;
  double scale_ = 1.0;
  double startScale_ = 1.0;
  double startDistance_ = 1.0;
};
