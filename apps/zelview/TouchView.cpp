#include "apps/zelview/TouchView.h"

#include <utility>

namespace zelview {

std::shared_ptr<TouchView> TouchView::create(CGRect frame, Handlers handlers) {
  std::shared_ptr<TouchView> view = createView<TouchView>(frame);
  if (view) view->handlers_ = std::move(handlers);
  return view;
}

void TouchView::touchesBegan(const UITouchSet& touches) {
  if (followed_ || touches.empty()) return;
  followed_ = touches.front()->identifier();
  handlers_.began(touches.front()->locationInView(this));
}

void TouchView::touchesMoved(const UITouchSet& touches) {
  for (const auto& touch : touches) {
    if (touch->identifier() == followed_) handlers_.moved(touch->locationInView(this));
  }
}

void TouchView::touchesEnded(const UITouchSet& touches) {
  for (const auto& touch : touches) {
    if (touch->identifier() != followed_) continue;
    followed_.reset();
    handlers_.ended();
    return;
  }
}

}  // namespace zelview
