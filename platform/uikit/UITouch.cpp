#include <ZELPlatform/UITouch.h>

#include <ZELPlatform/UIView.h>
#include <ZELPlatform/UIWindow.h>

#include <algorithm>
#include <utility>

UITouch::UITouch(int64_t identifier, std::weak_ptr<UIWindow> window, const std::shared_ptr<UIView>& view,
                 CGPoint location, double timestamp)
    : identifier_(identifier),
      window_(std::move(window)),
      view_(view),
      location_(location),
      previousLocation_(location),
      timestamp_(timestamp) {}

CGPoint UITouch::locationInView(const UIView* view) const {
  return view ? view->convertPointFromView(location_, nullptr) : location_;
}

CGPoint UITouch::previousLocationInView(const UIView* view) const {
  return view ? view->convertPointFromView(previousLocation_, nullptr) : previousLocation_;
}

void UITouch::update(UITouchPhase phase, CGPoint locationInWindow, double timestamp) {
  phase_ = phase;
  previousLocation_ = location_;
  location_ = locationInWindow;
  timestamp_ = std::max(timestamp_, timestamp);
}
