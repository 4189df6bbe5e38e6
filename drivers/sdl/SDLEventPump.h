#pragma once

#include <SDL2/SDL_events.h>

#include <cstdint>
#include <unordered_map>

namespace ZELPlatform {

class SDLWindow;

/// Brings SDL's events to the windows that they belong to, whenever the window system has sent some. Main thread;
/// lives for the process.
class SDLEventPump {
 public:
  /// Pumps from now on whenever the connection's descriptor is readable, before every refresh, and now and then.
  void start(int connectionDescriptor);

  void add(uint32_t windowID, SDLWindow* window) { windows_[windowID] = window; }
  void remove(uint32_t windowID);

  void pump();

  /// Pumps in the main loop's next turn: a call into SDL may have read events off the connection.
  void pumpSoon();

 private:
  SDLWindow* find(uint32_t windowID) const;
  void handle(const SDL_Event& event);
  void handleWindow(const SDL_WindowEvent& event);
  void handleButton(const SDL_MouseButtonEvent& event);
  void handleMotion(const SDL_MouseMotionEvent& event);
  void handleWheel(const SDL_MouseWheelEvent& event);
  void handleFinger(const SDL_TouchFingerEvent& event);
  void handleKey(const SDL_KeyboardEvent& event);
  void losePointer(uint32_t windowID);

  std::unordered_map<uint32_t, SDLWindow*> windows_;
  /// The window in which the mouse's main button went down and was not yet let go; 0 for none.
  uint32_t draggedWindowID_ = 0;
  bool pumpsSoon_ = false;
};

}  // namespace ZELPlatform
