#pragma once

#include <ZELPlatform/UIView.h>

#include <cstddef>
#include <functional>
#include <optional>

namespace zelview {

/// An invisible view that notices two quick taps, or clicks, on the same place. What becomes of a gesture, or begins in
/// a view that lies in this one, is no tap. Main thread.
class TapView final : public UIView {
 public:
  explicit TapView(Key key) : UIView(key) {}
  static std::shared_ptr<TapView> create(CGRect frame, std::function<void()> doubleTapped);

  void touchesBegan(const UITouchSet& touches) override;
  void touchesEnded(const UITouchSet& touches) override;
  void touchesCancelled(const UITouchSet& touches) override;

 private:
  struct Tap {
    double time = 0.0;
    CGPoint place{};
  };

  static bool isNear(const Tap& earlier, const Tap& later);
  Tap tapOf(const UITouch& touch) const;
  void end(const UITouch& touch);

  std::function<void()> doubleTapped_;
  size_t touchesDown_ = 0;
  /// Where and when the only touch that is down went down.
  std::optional<Tap> begun_;
  /// The tap before.
  std::optional<Tap> first_;
};

}  // namespace zelview
