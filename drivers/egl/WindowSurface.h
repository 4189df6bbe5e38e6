#pragma once

#include "drivers/egl/EglDisplay.h"
#include "platform/quartzcore/Compositor.h"

#include <memory>
#include <string>

namespace ZELPlatform {

/// A native window as something to draw on. Made on the main thread, then used and destroyed by one other.
class WindowSurface {
 public:
  /// Null, with one sentence in `error`, when the window cannot be drawn on.
  static std::unique_ptr<WindowSurface> create(const EglDisplay& display, const NativeSurface& native,
                                               std::string* error);
  virtual ~WindowSurface();

  /// What contexts that draw on it are made for.
  EGLConfig config() const { return config_; }

  /// Ends the EGL surface, which must go before its native window, and makes it again; false when the driver refuses.
  void close();
  bool reopen();

  /// Makes the context current with the window; false when the window is gone.
  bool makeCurrent(EGLContext context) const;

  /// Tells the size of the window in pixels before drawing.
  virtual void resize(int width, int height) = 0;

  /// Whether the window was destroyed under us, as far as the window system has said.
  virtual bool isLost() = 0;

  /// Shows what was drawn; false when the window is gone.
  bool swap() const;

  WindowSurface(const WindowSurface&) = delete;
  WindowSurface& operator=(const WindowSurface&) = delete;

 protected:
  WindowSurface(const EglDisplay& display, EGLConfig config) : display_(display), config_(config) {}

  /// Makes the EGL surface on the window; false, with one sentence in `error`, when the driver refuses.
  bool open(EGLNativeWindowType window, std::string* error);

  /// Refreshes of the display that a swap waits for.
  virtual EGLint swapInterval() const = 0;

 private:
  const EglDisplay& display_;
  EGLConfig config_;
  EGLNativeWindowType window_{};
  EGLSurface surface_ = EGL_NO_SURFACE;
};

}  // namespace ZELPlatform
