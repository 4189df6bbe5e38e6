#include "drivers/egl/EglDisplay.h"

#include <array>
#include <cstring>
#include <string_view>
#include <vector>

namespace ZELPlatform {
namespace {

template <typename Function>
void load(Function* function, const char* name) {
  *function = reinterpret_cast<Function>(eglGetProcAddress(name));
}

bool initialise(EGLDisplay display) {
  return display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr) == EGL_TRUE;
}

/// The first GPU that EGL can open without a window system.
EGLDisplay openDevice() {
  PFNEGLQUERYDEVICESEXTPROC queryDevices = nullptr;
  load(&queryDevices, "eglQueryDevicesEXT");
  std::array<EGLDeviceEXT, 16> devices{};
  EGLint count = 0;
  if (!queryDevices || !queryDevices(devices.size(), devices.data(), &count)) return EGL_NO_DISPLAY;
  for (EGLint i = 0; i < count; ++i) {
    EGLDisplay display = eglGetPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr);
    if (initialise(display)) return display;
  }
  return EGL_NO_DISPLAY;
}

EGLDisplay openOffscreen() {
  const char* extensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
  if (listsExtension(extensions, "EGL_MESA_platform_surfaceless")) {
    EGLDisplay display = eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (initialise(display)) return display;
  }
  return listsExtension(extensions, "EGL_EXT_platform_device") ? openDevice() : EGL_NO_DISPLAY;
}

EGLDisplay openOn(const NativeDisplay& native) {
  EGLDisplay display = EGL_NO_DISPLAY;
  switch (native.system) {
    case WindowSystem::None:
      return openOffscreen();
    case WindowSystem::X11:
      // A connection of its own: the window driver's one is not for other threads.
      display = eglGetPlatformDisplay(EGL_PLATFORM_X11_KHR, EGL_DEFAULT_DISPLAY, nullptr);
      break;
    case WindowSystem::Wayland:
      display = eglGetPlatformDisplay(EGL_PLATFORM_WAYLAND_KHR, native.display, nullptr);
      break;
  }
  return initialise(display) ? display : EGL_NO_DISPLAY;
}

const char* nameOf(WindowSystem system) {
  switch (system) {
    case WindowSystem::None:
      break;
    case WindowSystem::X11:
      return "X11";
    case WindowSystem::Wayland:
      return "Wayland";
  }
  return "off-screen";
}

}  // namespace

bool listsExtension(const char* extensions, const char* name) {
  if (!extensions) return false;
  const std::string_view list(extensions);
  const std::string_view word(name);
  for (size_t at = list.find(word); at != std::string_view::npos; at = list.find(word, at + 1)) {
    const size_t end = at + word.size();
    if ((at == 0 || list[at - 1] == ' ') && (end == list.size() || list[end] == ' ')) return true;
  }
  return false;
}

std::string eglErrorName() {
  const EGLint error = eglGetError();
  switch (error) {
    case EGL_SUCCESS:
      return "no EGL error";
    case EGL_NOT_INITIALIZED:
      return "EGL_NOT_INITIALIZED";
    case EGL_BAD_ACCESS:
      return "EGL_BAD_ACCESS";
    case EGL_BAD_ALLOC:
      return "EGL_BAD_ALLOC";
    case EGL_BAD_MATCH:
      return "EGL_BAD_MATCH";
    case EGL_BAD_NATIVE_WINDOW:
      return "EGL_BAD_NATIVE_WINDOW";
    case EGL_BAD_PARAMETER:
      return "EGL_BAD_PARAMETER";
    default:
      return "EGL error " + std::to_string(error);
  }
}

std::unique_ptr<EglDisplay> EglDisplay::open(const NativeDisplay& native, std::string* error) {
  std::unique_ptr<EglDisplay> display(new EglDisplay);
  display->native_ = native;
  display->handle_ = openOn(native);
  if (display->handle_ == EGL_NO_DISPLAY) {
    *error = std::string("OpenGL ES is not available: EGL cannot open its ") + nameOf(native.system) + " display (" +
             eglErrorName() + ").";
    return nullptr;
  }
  return display->prepare(error) ? std::move(display) : nullptr;
}

bool EglDisplay::prepare(std::string* error) {
  const char* extensions = eglQueryString(handle_, EGL_EXTENSIONS);
  extensions_ = extensions ? extensions : "";
  for (const char* needed : {"EGL_KHR_surfaceless_context", "EGL_KHR_fence_sync"}) {
    if (hasExtension(needed)) continue;
    *error = std::string("OpenGL ES is not available: the EGL driver lacks ") + needed + ".";
    return false;
  }
  loadFunctions();
  if (hasExtension("EGL_KHR_no_config_context")) return true;
  const std::array<EGLint, 11> wanted{EGL_RENDERABLE_TYPE,
                                      EGL_OPENGL_ES2_BIT,
                                      EGL_SURFACE_TYPE,
                                      0,
                                      EGL_RED_SIZE,
                                      8,
                                      EGL_GREEN_SIZE,
                                      8,
                                      EGL_BLUE_SIZE,
                                      8,
                                      EGL_NONE};
  EGLint count = 0;
  if (eglChooseConfig(handle_, wanted.data(), &offscreenConfig_, 1, &count) && count > 0) return true;
  *error = "OpenGL ES is not available: the EGL driver has no configuration for OpenGL ES 2.";
  return false;
}

void EglDisplay::loadFunctions() {
  load(&createSync, "eglCreateSyncKHR");
  load(&destroySync, "eglDestroySyncKHR");
  load(&clientWaitSync, "eglClientWaitSyncKHR");
  if (hasExtension("EGL_KHR_wait_sync")) load(&waitSync, "eglWaitSyncKHR");
  if (hasExtension("EGL_KHR_gl_texture_2D_image")) {
    load(&createImage, "eglCreateImageKHR");
    load(&destroyImage, "eglDestroyImageKHR");
  }
}

bool EglDisplay::hasExtension(const char* name) const { return listsExtension(extensions_.c_str(), name); }

EGLContext EglDisplay::createContext(EGLConfig config, EGLContext shared) const {
  // The API is a setting of the thread, and the caller's program may have chosen another one.
  const EGLenum callersApi = eglQueryAPI();
  if (!eglBindAPI(EGL_OPENGL_ES_API)) return EGL_NO_CONTEXT;
  const std::array<EGLint, 3> attributes{EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
  EGLContext context = eglCreateContext(handle_, config, shared, attributes.data());
  if (callersApi != EGL_NONE) eglBindAPI(callersApi);
  return context;
}

}  // namespace ZELPlatform
