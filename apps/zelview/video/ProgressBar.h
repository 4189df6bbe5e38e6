#pragma once

#include <ZELPlatform/UIView.h>

#include <functional>
#include <memory>
#include <optional>

namespace zelview {

/// A thin bar that shows how far a video has come. A click or a drag on it looks for another place, a click on the sign
/// at its left pauses and goes on. Main thread.
class ProgressBar final : public UIView {
 public:
  explicit ProgressBar(Key key) : UIView(key) {}

  struct Actions {
    /// Called with the place wanted, 0 to 1, and whether the person is still looking for it.
    std::function<void(double place, bool isLooking)> seek;
    std::function<void()> togglePause;
  };

  /// `scale` is in pixels a point.
  static std::shared_ptr<ProgressBar> create(double scale, Actions actions);

  /// What it shows: seconds, and whether the video stands. Without a duration nothing can be sought.
  struct State {
    double time = 0.0;
    std::optional<double> duration;
    bool isPaused = false;
    bool isMuted = false;
    bool operator==(const State&) const = default;
  };

  /// Draws when that makes a difference to be seen and the bar is not hidden.
  void show(const State& state);

  /// Along the bottom of a view of that size.
  void layOut(CGSize viewSize);

  bool isDragged() const { return dragged_.has_value(); }

  void touchesBegan(const UITouchSet& touches) override;
  void touchesMoved(const UITouchSet& touches) override;
  void touchesEnded(const UITouchSet& touches) override;
  void touchesCancelled(const UITouchSet& touches) override;

 private:
  double placeOf(const UITouch& touch) const;
  void draw();

  Actions actions_;
  double scale_ = 1.0;
  State state_;
  bool isDrawn_ = false;
  /// The place under the finger, and whose finger that is.
  std::optional<double> dragged_;
  int64_t finger_ = 0;
};

}  // namespace zelview
