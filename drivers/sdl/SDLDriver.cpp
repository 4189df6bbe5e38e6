#include "drivers/sdl/SDLDriver.h"

#include "drivers/sdl/SDLEventPump.h"
#include "drivers/sdl/SDLWindow.h"

#include <SDL2/SDL.h>
#include <SDL2/SDL_syswm.h>
#ifdef ZEL_WITH_WAYLAND
#include <wayland-client-core.h>
#endif

#include <cstdlib>
#include <optional>

namespace ZELPlatform {

namespace {

/// The window systems that can be composed onto; SDL's others would take the console or show nothing.
/// Wayland's sockets lie in XDG_RUNTIME_DIR: without it there is none, and its
/// library would say so on standard error by itself.
const char* videoDrivers() {
#ifdef ZEL_WITH_WAYLAND
  if (const char* directory = std::getenv("XDG_RUNTIME_DIR"); directory && *directory) return "x11,wayland";
#endif
  return "x11";
}

constexpr double kUnknownRefreshRate = 60.0;

class SDLDriver final : public DisplayDriver {
 public:
  SDLDriver(const NativeDisplay& display, const ScreenDescription& screen, std::string applicationName)
      : display_(display), screen_(screen), applicationName_(std::move(applicationName)) {}

  void start(int connectionDescriptor) { pump_.start(connectionDescriptor); }

  ScreenDescription screen() const override { return screen_; }
  NativeDisplay nativeDisplay() const override { return display_; }

  std::unique_ptr<NativeWindow> createWindow(NativeWindowEvents* events, CGSize points, std::string* error) override {
    return SDLWindow::create(pump_, events, applicationName_, points, error);
  }

 private:
  NativeDisplay display_;
  ScreenDescription screen_;
  std::string applicationName_;
  SDLEventPump pump_;
};

/// What has to be said before SDL's video starts. Hints that the person set in the environment win.
void setHints(const std::string& applicationName) {
  SDL_SetHint(SDL_HINT_APP_NAME, applicationName.c_str());
  SDL_SetHint(SDL_HINT_VIDEODRIVER, videoDrivers());
  // The interrupt key ends the program; SDL would turn it into an event.
  SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
  // Each pointer arrives once, as what it is.
  SDL_SetHint(SDL_HINT_TOUCH_MOUSE_EVENTS, "0");
  SDL_SetHint(SDL_HINT_MOUSE_TOUCH_EVENTS, "0");
  // A drag goes on outside the window.
  SDL_SetHint(SDL_HINT_MOUSE_AUTO_CAPTURE, "1");
  // The first click into a window that lacks the focus also begins a drag.
  SDL_SetHint(SDL_HINT_MOUSE_FOCUS_CLICKTHROUGH, "1");
  SDL_SetHint(SDL_HINT_QUIT_ON_LAST_WINDOW_CLOSE, "0");
  SDL_SetHint(SDL_HINT_VIDEO_MINIMIZE_ON_FOCUS_LOSS, "0");
  SDL_SetHint(SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "1");
  SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
}

/// The descriptor on which the window system's events arrive; -1 when it is not known.
int connectionDescriptor(const NativeDisplay& display) {
  if (display.system == WindowSystem::X11) {
    return ConnectionNumber(static_cast<Display*>(display.display));
  }
#ifdef ZEL_WITH_WAYLAND
  if (display.system == WindowSystem::Wayland) {
    return wl_display_get_fd(static_cast<wl_display*>(display.display));
  }
#endif
  return -1;
}

/// Learns from a hidden window what every window will stand on, and the scale that it will have.
struct Probe {
  std::optional<NativeSurface> surface;
  double scale = 1.0;

  Probe() {
    SDL_Window* window = SDL_CreateWindow("", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, 16, 16,
                                          SDL_WINDOW_HIDDEN | SDL_WINDOW_ALLOW_HIGHDPI);
    if (!window) {
      return;
    }
    surface = nativeSurfaceOfSDLWindow(window);
    int points = 0;
    int pixels = 0;
    SDL_GetWindowSize(window, &points, nullptr);
    SDL_GetWindowSizeInPixels(window, &pixels, nullptr);
    scale = points > 0 && pixels > 0 ? static_cast<double>(pixels) / points : 1.0;
    SDL_DestroyWindow(window);
  }
};

ScreenDescription describeScreen(double scale) {
  ScreenDescription screen;
  screen.nativeScale = scale;
  SDL_Rect bounds{};
  if (SDL_GetDisplayBounds(0, &bounds) == 0) {
    screen.size = CGSizeMake(bounds.w, bounds.h);
  }
  SDL_DisplayMode mode{};
  const bool known = SDL_GetDesktopDisplayMode(0, &mode) == 0 && mode.refresh_rate > 0;
  screen.refreshRate = known ? mode.refresh_rate : kUnknownRefreshRate;
  return screen;
}

std::string openingSentence(const std::string& reason) { return "The display cannot be opened (" + reason + ")."; }

}  // namespace

std::unique_ptr<DisplayDriver> createSDLDriver(const UIApplicationOptions& options, std::string* error) {
  setHints(options.applicationName);
  if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
    *error = openingSentence(std::string("SDL: ") + SDL_GetError());
    return nullptr;
  }
  const Probe probe;
  const int descriptor = probe.surface ? connectionDescriptor(probe.surface->display) : -1;
  if (descriptor < 0) {
    const char* system = SDL_GetCurrentVideoDriver();
    *error = openingSentence(std::string("SDL: the video driver \"") + (system ? system : "") +
                             "\" is neither X11 nor Wayland");
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    return nullptr;
  }
  // Keys are commands here: no input method is to swallow them.
  SDL_StopTextInput();
  auto driver =
      std::make_unique<SDLDriver>(probe.surface->display, describeScreen(probe.scale), options.applicationName);
  driver->start(descriptor);
  return driver;
}

}  // namespace ZELPlatform
