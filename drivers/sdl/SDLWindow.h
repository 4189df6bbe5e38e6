#pragma once

#include "platform/uikit/DisplayDriver.h"

#include <SDL2/SDL_video.h>

#include <memory>
#include <optional>
#include <string>

namespace ZELPlatform {

class SDLEventPump;

/// The handles behind an SDL window: what to compose onto, and the connection that it stands on. None when SDL's window
/// system is neither X11 nor Wayland.
std::optional<NativeSurface> nativeSurfaceOfSDLWindow(SDL_Window* window);

/// A resizable window of the desktop, made hidden. Main thread.
class SDLWindow final : public NativeWindow {
 public:
  /// Null, with one sentence in `error`, when there can be no window.
  static std::unique_ptr<SDLWindow> create(SDLEventPump& pump, NativeWindowEvents* events, const std::string& title,
                                           CGSize points, std::string* error);
  ~SDLWindow() override;

  NativeWindowEvents& events() const { return *events_; }

  /// Tells the new size if it is not the one that was told last.
  void reportSize();

  void show() override;
  void setTitle(const std::string& title) override;
  void setFullScreen(bool fullScreen) override;
  void setSize(CGSize points) override;
  CGSize size() const override { return CGSizeMake(measured_.width, measured_.height); }
  int pixelWidth() const override { return measured_.pixelWidth; }
  int pixelHeight() const override { return measured_.pixelHeight; }
  double scale() const override;
  NativeSurface surface() const override { return surface_; }

  SDLWindow(const SDLWindow&) = delete;
  SDLWindow& operator=(const SDLWindow&) = delete;

 private:
  /// In points and in pixels.
  struct Size {
    int width = 0;
    int height = 0;
    int pixelWidth = 0;
    int pixelHeight = 0;
    bool operator==(const Size&) const = default;
  };

  SDLWindow(SDLEventPump& pump, NativeWindowEvents* events, SDL_Window* window, const NativeSurface& surface);
  Size measure() const;

  SDLEventPump& pump_;
  NativeWindowEvents* events_;
  SDL_Window* window_;
  NativeSurface surface_;
  Size measured_;
};

}  // namespace ZELPlatform
