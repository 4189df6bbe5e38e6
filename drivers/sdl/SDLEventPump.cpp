#include "drivers/sdl/SDLEventPump.h"

#include "drivers/sdl/SDLKeys.h"
#include "drivers/sdl/SDLWindow.h"
#include "platform/quartzcore/RefreshPreparation.h"

#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/Foundation.h>

#include <utility>

namespace ZELPlatform {

namespace {

/// How often events are looked for without a sign from the window system: other threads on the same connection may have
/// read them already, and SDL holds back focus changes for a while.
constexpr double kCoarsePumpInterval = 0.1;

constexpr int64_t kMouseIdentifier = 0;

/// Fingers are counted from 0 by the window system; the mouse has that number here.
int64_t fingerIdentifier(SDL_FingerID finger) { return static_cast<int64_t>(finger) + 1; }

CGPoint point(int x, int y) { return CGPointMake(x, y); }

}  // namespace

void SDLEventPump::start(int connectionDescriptor) {
  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  loop.addReadableDescriptor(connectionDescriptor, [this] { pump(); });
  loop.addTimer(kCoarsePumpInterval, kCoarsePumpInterval, [this] { pump(); });
  addRefreshPreparation([this] { pump(); });
}

void SDLEventPump::remove(uint32_t windowID) {
  windows_.erase(windowID);
  if (draggedWindowID_ == windowID) {
    draggedWindowID_ = 0;
  }
}

SDLWindow* SDLEventPump::find(uint32_t windowID) const {
  const auto found = windows_.find(windowID);
  return found == windows_.end() ? nullptr : found->second;
}

void SDLEventPump::pump() {
  SDL_Event event;
  while (SDL_PollEvent(&event) != 0) {
    handle(event);
  }
}

void SDLEventPump::pumpSoon() {
  if (std::exchange(pumpsSoon_, true)) {
    return;
  }
  DispatchQueue::mainQueue()->async([this] {
    pumpsSoon_ = false;
    pump();
  });
}

void SDLEventPump::handle(const SDL_Event& event) {
  switch (event.type) {
    case SDL_WINDOWEVENT:
      return handleWindow(event.window);
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
      return handleButton(event.button);
    case SDL_MOUSEMOTION:
      return handleMotion(event.motion);
    case SDL_MOUSEWHEEL:
      return handleWheel(event.wheel);
    case SDL_FINGERDOWN:
    case SDL_FINGERMOTION:
    case SDL_FINGERUP:
      return handleFinger(event.tfinger);
    case SDL_KEYDOWN:
    case SDL_KEYUP:
      return handleKey(event.key);
    default:
      return;
  }
}

// The answer to an event may destroy the window: it is looked up again before it is told more.

void SDLEventPump::handleWindow(const SDL_WindowEvent& event) {
  if (event.event == SDL_WINDOWEVENT_FOCUS_LOST || event.event == SDL_WINDOWEVENT_MINIMIZED) {
    losePointer(event.windowID);
  }
  SDLWindow* window = find(event.windowID);
  if (!window) {
    return;
  }
  switch (event.event) {
    case SDL_WINDOWEVENT_SIZE_CHANGED:
    case SDL_WINDOWEVENT_DISPLAY_CHANGED:
      return window->reportSize();
    case SDL_WINDOWEVENT_EXPOSED:
      return window->events().exposed();
    case SDL_WINDOWEVENT_CLOSE:
      return window->events().closeRequested();
    case SDL_WINDOWEVENT_MINIMIZED:
      return window->events().minimised(true);
    case SDL_WINDOWEVENT_RESTORED:
    case SDL_WINDOWEVENT_MAXIMIZED:
    case SDL_WINDOWEVENT_SHOWN:
      return window->events().minimised(false);
    case SDL_WINDOWEVENT_FOCUS_GAINED:
      return window->events().focused(true);
    case SDL_WINDOWEVENT_FOCUS_LOST:
      return window->events().focused(false);
    default:
      return;
  }
}

void SDLEventPump::losePointer(uint32_t windowID) {
  if (draggedWindowID_ == windowID) {
    draggedWindowID_ = 0;
  }
  if (SDLWindow* window = find(windowID)) {
    window->events().pointerLost();
  }
}

void SDLEventPump::handleButton(const SDL_MouseButtonEvent& event) {
  if (event.button != SDL_BUTTON_LEFT || event.which == SDL_TOUCH_MOUSEID) {
    return;
  }
  const bool down = event.type == SDL_MOUSEBUTTONDOWN;
  const uint32_t windowID = std::exchange(draggedWindowID_, down ? event.windowID : 0);
  if (SDLWindow* window = find(down ? event.windowID : windowID)) {
    window->events().pointer(kMouseIdentifier, down ? UITouchPhase::Began : UITouchPhase::Ended,
                             point(event.x, event.y), CACurrentMediaTime());
  }
}

void SDLEventPump::handleMotion(const SDL_MouseMotionEvent& event) {
  if (event.which == SDL_TOUCH_MOUSEID || (draggedWindowID_ != 0 && event.windowID != draggedWindowID_)) {
    return;
  }
  if (SDLWindow* window = find(event.windowID)) {
    window->events().pointer(kMouseIdentifier, UITouchPhase::Moved, point(event.x, event.y), CACurrentMediaTime());
  }
}

void SDLEventPump::handleWheel(const SDL_MouseWheelEvent& event) {
  SDLWindow* window = find(event.windowID);
  if (!window || event.which == SDL_TOUCH_MOUSEID || event.preciseY == 0.0F) {
    return;
  }
  const double direction = event.direction == SDL_MOUSEWHEEL_FLIPPED ? -1.0 : 1.0;
  window->events().scrolled(point(event.mouseX, event.mouseY), direction * event.preciseY);
}

void SDLEventPump::handleFinger(const SDL_TouchFingerEvent& event) {
  SDLWindow* window = find(event.windowID);
  if (!window || event.touchId == SDL_MOUSE_TOUCHID) {
    return;
  }
  const CGSize size = window->size();
  UITouchPhase phase = UITouchPhase::Moved;
  if (event.type == SDL_FINGERDOWN) {
    phase = UITouchPhase::Began;
  } else if (event.type == SDL_FINGERUP) {
    phase = UITouchPhase::Ended;
  }
  window->events().pointer(fingerIdentifier(event.fingerId), phase,
                           CGPointMake(event.x * size.width, event.y * size.height), CACurrentMediaTime());
}

void SDLEventPump::handleKey(const SDL_KeyboardEvent& event) {
  SDLWindow* window = find(event.windowID);
  if (!window) {
    return;
  }
  if (event.type == SDL_KEYDOWN) {
    window->events().keyPressed(keyFromSDL(event.keysym, event.repeat != 0));
  } else {
    window->events().keyReleased(keyFromSDL(event.keysym, false));
  }
}

}  // namespace ZELPlatform
