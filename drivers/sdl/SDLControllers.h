#pragma once

#include <ZELPlatform/GameController.h>

#include <SDL2/SDL_gamecontroller.h>

#include <map>

namespace ZELPlatform {

/// Every game controller that is connected, whether or not there are windows. Main thread.
class SDLControllers {
 public:
  /// Starts SDL's part with its first use, and lives for the process.
  static SDLControllers& shared();

  /// Takes in which controllers came and went, and what they sent.
  void update();

  /// Those that are open, under the numbers that SDL gives each anew.
  const std::map<SDL_JoystickID, SDL_GameController*>& open() const { return open_; }

  /// As they stood at the last update; zero while another program has the keyboard.
  GCThumbsticks thumbsticks() const;

  SDLControllers(const SDLControllers&) = delete;
  SDLControllers& operator=(const SDLControllers&) = delete;

 private:
  SDLControllers();
  void closeGone();
  void openNew();

  bool running_ = false;
  /// A controller that cannot be opened is null here, so that it is not tried again.
  std::map<SDL_JoystickID, SDL_GameController*> open_;
};

}  // namespace ZELPlatform
