#pragma once

#include <ZELKit/ZELDisplayable.h>
#include <ZELPlatform/QuartzCore.h>

#include <memory>

/// Ties something that can be drawn to the display's refresh, while the application is active. Main thread only, but
/// `invalidate` may be called anywhere.
class ZELDisplayLink : public std::enable_shared_from_this<ZELDisplayLink> {
 public:
  /// A paused link. The displayable is held weakly; the platform's timer holds the link until `invalidate`.
  static std::shared_ptr<ZELDisplayLink> createWithDisplayable(const std::shared_ptr<ZELDisplayable>& displayable);

  void resume();
  void pause();

  /// Ends the link for good; `resume` and `pause` then do nothing.
  void invalidate();

  /// The action of every refresh.
  void display();

  std::shared_ptr<ZELDisplayable> displayable() const { return displayable_.lock(); }
  const std::shared_ptr<CADisplayLink>& displayLink() const { return displayLink_; }

 private:
  ZELDisplayLink() = default;

  std::weak_ptr<ZELDisplayable> displayable_;
  std::shared_ptr<CADisplayLink> displayLink_;
};
