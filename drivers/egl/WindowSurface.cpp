#include "drivers/egl/WindowSurface.h"

#include "drivers/window/XWindowWatch.h"

#include <array>
#include <bit>
#include <functional>
#include <utility>
#include <vector>

#ifdef ZEL_WITH_WAYLAND
#include <wayland-egl.h>
#endif

namespace ZELPlatform {
namespace {

#if defined(ZEL_WITH_X11) || defined(ZEL_WITH_WAYLAND)

EGLint attribute(EGLDisplay display, EGLConfig config, EGLint name) {
  EGLint value = 0;
  eglGetConfigAttrib(display, config, name, &value);
  return value;
}

/// The first configuration for windows of eight bits a component that is accepted.
EGLConfig chooseConfig(EGLDisplay display, const std::function<bool(EGLConfig)>& accept) {
  const std::array<EGLint, 11> wanted{EGL_RENDERABLE_TYPE,
                                      EGL_OPENGL_ES2_BIT,
                                      EGL_SURFACE_TYPE,
                                      EGL_WINDOW_BIT,
                                      EGL_RED_SIZE,
                                      8,
                                      EGL_GREEN_SIZE,
                                      8,
                                      EGL_BLUE_SIZE,
                                      8,
                                      EGL_NONE};
  EGLint count = 0;
  eglChooseConfig(display, wanted.data(), nullptr, 0, &count);
  std::vector<EGLConfig> configs(static_cast<size_t>(count));
  eglChooseConfig(display, wanted.data(), configs.data(), count, &count);
  for (EGLConfig config : configs) {
    // More than eight bits come first in the list, and a window has rarely use for them.
    if (attribute(display, config, EGL_RED_SIZE) == 8 && accept(config)) return config;
  }
  return EGL_NO_CONFIG_KHR;
}

#endif
#ifdef ZEL_WITH_X11

class X11WindowSurface final : public WindowSurface {
 public:
  static std::unique_ptr<WindowSurface> create(const EglDisplay& display, uintptr_t window, std::string* error) {
    auto native = std::make_unique<XWindowWatch>(window);
    if (native->visual() == 0) {
      *error = "The window cannot be drawn on: the X server knows no window " + std::to_string(window) + ".";
      return nullptr;
    }
    const auto hasVisual = [&](EGLConfig config) {
      return attribute(display.handle(), config, EGL_NATIVE_VISUAL_ID) == static_cast<EGLint>(native->visual());
    };
    EGLConfig config = chooseConfig(display.handle(), hasVisual);
    if (config == EGL_NO_CONFIG_KHR) {
      *error = "The window cannot be drawn on: EGL has no configuration for its visual (" +
               std::to_string(native->visual()) + ").";
      return nullptr;
    }
    std::unique_ptr<X11WindowSurface> surface(new X11WindowSurface(display, config, std::move(native)));
    return surface->open(static_cast<EGLNativeWindowType>(window), error) ? std::move(surface) : nullptr;
  }

  void resize(int /*width*/, int /*height*/) override {}
  bool isLost() override { return native_->isDestroyed(); }

 private:
  X11WindowSurface(const EglDisplay& display, EGLConfig config, std::unique_ptr<XWindowWatch> native)
      : WindowSurface(display, config), native_(std::move(native)) {}
  EGLint swapInterval() const override { return 1; }

  std::unique_ptr<XWindowWatch> native_;
};

#endif
#ifdef ZEL_WITH_WAYLAND

class WaylandWindowSurface final : public WindowSurface {
 public:
  static std::unique_ptr<WindowSurface> create(const EglDisplay& display, uintptr_t window, std::string* error) {
    // Nothing shines through a window: one without alpha first.
    EGLConfig config = chooseConfig(display.handle(), [&](EGLConfig candidate) {
      return attribute(display.handle(), candidate, EGL_ALPHA_SIZE) == 0;
    });
    if (config == EGL_NO_CONFIG_KHR) config = chooseConfig(display.handle(), [](EGLConfig) { return true; });
    wl_egl_window* native = wl_egl_window_create(std::bit_cast<wl_surface*>(window), 1, 1);
    if (config == EGL_NO_CONFIG_KHR || !native) {
      if (native) wl_egl_window_destroy(native);
      *error = "The window cannot be drawn on: EGL has no configuration for Wayland surfaces.";
      return nullptr;
    }
    std::unique_ptr<WaylandWindowSurface> surface(new WaylandWindowSurface(display, config, native));
    return surface->open(reinterpret_cast<EGLNativeWindowType>(native), error) ? std::move(surface) : nullptr;
  }

  ~WaylandWindowSurface() override {
    close();
    wl_egl_window_destroy(native_);
  }

  void resize(int width, int height) override { wl_egl_window_resize(native_, width, height, 0, 0); }
  bool isLost() override { return false; }

 private:
  WaylandWindowSurface(const EglDisplay& display, EGLConfig config, wl_egl_window* native)
      : WindowSurface(display, config), native_(native) {}
  // A swap that waits would wait without end while the window is hidden.
  EGLint swapInterval() const override { return 0; }

  wl_egl_window* native_;
};

#endif

}  // namespace

std::unique_ptr<WindowSurface> WindowSurface::create(const EglDisplay& display, const NativeSurface& native,
                                                     std::string* error) {
  if (native.display.system != WindowSystem::None && native.display.system != display.native().system) {
    *error = "The window cannot be drawn on: OpenGL ES was opened before the window system was.";
    return nullptr;
  }
  switch (native.display.system) {
#ifdef ZEL_WITH_X11
    case WindowSystem::X11:
      return X11WindowSurface::create(display, native.window, error);
#endif
#ifdef ZEL_WITH_WAYLAND
    case WindowSystem::Wayland:
      return WaylandWindowSurface::create(display, native.window, error);
#endif
    default:
      *error = "The window cannot be drawn on: its window system is not built in.";
      return nullptr;
  }
}

WindowSurface::~WindowSurface() { close(); }

bool WindowSurface::open(EGLNativeWindowType window, std::string* error) {
  window_ = window;
  surface_ = eglCreateWindowSurface(display_.handle(), config_, window, nullptr);
  if (surface_ != EGL_NO_SURFACE) return true;
  *error = "The window cannot be drawn on: EGL cannot make a surface (" + eglErrorName() + ").";
  return false;
}

bool WindowSurface::reopen() {
  std::string ignored;
  return surface_ != EGL_NO_SURFACE || open(window_, &ignored);
}

void WindowSurface::close() {
  if (surface_ != EGL_NO_SURFACE) eglDestroySurface(display_.handle(), std::exchange(surface_, EGL_NO_SURFACE));
}

bool WindowSurface::makeCurrent(EGLContext context) const {
  if (eglMakeCurrent(display_.handle(), surface_, surface_, context) != EGL_TRUE) return false;
  eglSwapInterval(display_.handle(), swapInterval());
  return true;
}

bool WindowSurface::swap() const { return eglSwapBuffers(display_.handle(), surface_) == EGL_TRUE; }

}  // namespace ZELPlatform
