#include "drivers/sdl/SDLControllers.h"

#include <SDL2/SDL.h>

#include <algorithm>
#include <cmath>

namespace ZELPlatform {

namespace {

/// A stick that is let go comes to rest within this share of its way.
constexpr double kDeadZone = 0.15;

/// SDL counts down as positive, and one further to the left and up.
double pushed(SDL_GameController* controller, SDL_GameControllerAxis axis) {
  return std::max(SDL_GameControllerGetAxis(controller, axis) / 32767.0, -1.0);
}

/// Zero in the dead zone, from which it grows evenly to 1 in every direction.
CGPoint stick(SDL_GameController* controller, SDL_GameControllerAxis horizontal, SDL_GameControllerAxis vertical) {
  const double x = pushed(controller, horizontal);
  const double y = -pushed(controller, vertical);
  const double distance = std::hypot(x, y);
  if (distance <= kDeadZone) {
    return {};
  }
  const double share = (std::min(distance, 1.0) - kDeadZone) / (1.0 - kDeadZone) / distance;
  return {x * share, y * share};
}

CGPoint further(CGPoint a, CGPoint b) { return std::hypot(a.x, a.y) >= std::hypot(b.x, b.y) ? a : b; }

}  // namespace

SDLControllers& SDLControllers::shared() {
  static SDLControllers& controllers = *new SDLControllers;
  return controllers;
}

SDLControllers::SDLControllers() {
  SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
  // A gyroscope that missed a turn would never find back.
  SDL_SetHint(SDL_HINT_JOYSTICK_ALLOW_BACKGROUND_EVENTS, "1");
  running_ = SDL_InitSubSystem(SDL_INIT_GAMECONTROLLER | SDL_INIT_SENSOR) == 0;
}

void SDLControllers::update() {
  if (!running_) {
    return;
  }
  SDL_JoystickUpdate();
  SDL_SensorUpdate();
  // Who listens has heard them; without windows nobody else takes them away.
  SDL_FlushEvents(SDL_JOYAXISMOTION, SDL_CONTROLLERSENSORUPDATE);
  SDL_FlushEvent(SDL_SENSORUPDATE);
  closeGone();
  openNew();
}

void SDLControllers::closeGone() {
  const auto isThere = [](SDL_JoystickID id) {
    for (int i = 0; i < SDL_NumJoysticks(); ++i) {
      if (SDL_JoystickGetDeviceInstanceID(i) == id) return true;
    }
    return false;
  };
  std::erase_if(open_, [&](const auto& entry) {
    if (isThere(entry.first)) return false;
    if (entry.second) SDL_GameControllerClose(entry.second);
    return true;
  });
}

void SDLControllers::openNew() {
  for (int i = 0; i < SDL_NumJoysticks(); ++i) {
    const SDL_JoystickID id = SDL_JoystickGetDeviceInstanceID(i);
    if (id >= 0 && !open_.contains(id)) {
      open_[id] = SDL_IsGameController(i) == SDL_TRUE ? SDL_GameControllerOpen(i) : nullptr;
    }
  }
}

GCThumbsticks SDLControllers::thumbsticks() const {
  GCThumbsticks sticks;
  if (SDL_WasInit(SDL_INIT_VIDEO) != 0 && !SDL_GetKeyboardFocus()) {
    return sticks;
  }
  for (const auto& [id, controller] : open_) {
    if (controller) {
      sticks.left = further(sticks.left, stick(controller, SDL_CONTROLLER_AXIS_LEFTX, SDL_CONTROLLER_AXIS_LEFTY));
      sticks.right = further(sticks.right, stick(controller, SDL_CONTROLLER_AXIS_RIGHTX, SDL_CONTROLLER_AXIS_RIGHTY));
    }
  }
  return sticks;
}

}  // namespace ZELPlatform
