#include "drivers/sdl/SDLWindow.h"

#include "drivers/sdl/SDLEventPump.h"

#include <SDL2/SDL_error.h>
#include <SDL2/SDL_syswm.h>

#include <algorithm>
#include <cmath>

namespace ZELPlatform {

namespace {

int wholePoints(double points) { return std::max(1, static_cast<int>(std::lround(points))); }

}  // namespace

std::optional<NativeSurface> nativeSurfaceOfSDLWindow(SDL_Window* window) {
  SDL_SysWMinfo info;
  SDL_VERSION(&info.version);
  if (SDL_GetWindowWMInfo(window, &info) != SDL_TRUE) {
    return std::nullopt;
  }
  if (info.subsystem == SDL_SYSWM_X11) {
    return NativeSurface{{WindowSystem::X11, info.info.x11.display}, info.info.x11.window};
  }
  if (info.subsystem == SDL_SYSWM_WAYLAND) {
    return NativeSurface{{WindowSystem::Wayland, info.info.wl.display},
                         reinterpret_cast<uintptr_t>(info.info.wl.surface)};
  }
  return std::nullopt;
}

std::unique_ptr<SDLWindow> SDLWindow::create(SDLEventPump& pump, NativeWindowEvents* events, const std::string& title,
                                             CGSize points, std::string* error) {
  SDL_Window* window =
      SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, wholePoints(points.width),
                       wholePoints(points.height), SDL_WINDOW_HIDDEN | SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI);
  const std::optional<NativeSurface> surface = window ? nativeSurfaceOfSDLWindow(window) : std::nullopt;
  if (!surface) {
    *error = std::string("The window cannot be made (SDL: ") + SDL_GetError() + ").";
    if (window) {
      SDL_DestroyWindow(window);
    }
    return nullptr;
  }
  pump.pumpSoon();
  return std::unique_ptr<SDLWindow>(new SDLWindow(pump, events, window, *surface));
}

SDLWindow::SDLWindow(SDLEventPump& pump, NativeWindowEvents* events, SDL_Window* window, const NativeSurface& surface)
    : pump_(pump), events_(events), window_(window), surface_(surface), measured_(measure()) {
  pump_.add(SDL_GetWindowID(window_), this);
}

SDLWindow::~SDLWindow() {
  pump_.remove(SDL_GetWindowID(window_));
  SDL_DestroyWindow(window_);
}

SDLWindow::Size SDLWindow::measure() const {
  Size size;
  SDL_GetWindowSize(window_, &size.width, &size.height);
  SDL_GetWindowSizeInPixels(window_, &size.pixelWidth, &size.pixelHeight);
  return size;
}

double SDLWindow::scale() const {
  return measured_.width > 0 ? static_cast<double>(measured_.pixelWidth) / measured_.width : 1.0;
}

void SDLWindow::reportSize() {
  const Size size = measure();
  if (size != measured_) {
    measured_ = size;
    events_->resized(this->size(), size.pixelWidth, size.pixelHeight);
  }
}

void SDLWindow::show() {
  SDL_ShowWindow(window_);
  pump_.pump();
}

void SDLWindow::setTitle(const std::string& title) {
  SDL_SetWindowTitle(window_, title.c_str());
  pump_.pumpSoon();
}

void SDLWindow::setFullScreen(bool fullScreen) {
  SDL_SetWindowFullscreen(window_, fullScreen ? SDL_WINDOW_FULLSCREEN_DESKTOP : 0);
  pump_.pumpSoon();
}

void SDLWindow::setSize(CGSize points) {
  SDL_SetWindowSize(window_, wholePoints(points.width), wholePoints(points.height));
  pump_.pumpSoon();
  reportSize();
}

}  // namespace ZELPlatform
