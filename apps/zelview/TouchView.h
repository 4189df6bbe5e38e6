#pragma once

#include <ZELPlatform/UIView.h>

#include <cstdint>
#include <functional>
#include <optional>

namespace zelview {

/// An invisible view that follows one finger (or the mouse) at a time; others are ignored until it is up. Main thread.
class TouchView final : public UIView {
 public:
  struct Handlers {
    std::function<void(CGPoint)> began;
    std::function<void(CGPoint)> moved;
    std::function<void()> ended;
  };

  explicit TouchView(Key key) : UIView(key) {}
  static std::shared_ptr<TouchView> create(CGRect frame, Handlers handlers);

  void touchesBegan(const UITouchSet& touches) override;
  void touchesMoved(const UITouchSet& touches) override;
  void touchesEnded(const UITouchSet& touches) override;
  void touchesCancelled(const UITouchSet& touches) override { touchesEnded(touches); }

 private:
  Handlers handlers_;
  std::optional<int64_t> followed_;
};

}  // namespace zelview
