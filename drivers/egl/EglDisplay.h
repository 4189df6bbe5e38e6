#pragma once

#include "drivers/egl/Egl.h"
#include "platform/quartzcore/Compositor.h"

#include <memory>
#include <string>

namespace ZELPlatform {

/// An initialised EGL display with the functions that the driver needs of it. Any thread.
///
/// It is never terminated: other libraries of the process may use the same display, and each termination leaks a little
/// in common drivers.
class EglDisplay {
 public:
  /// Opens the window system's display, or an off-screen one for `WindowSystem::None`. Null, with one sentence in
  /// `error`, when something that cannot be done without is missing.
  static std::unique_ptr<EglDisplay> open(const NativeDisplay& native, std::string* error);

  EGLDisplay handle() const { return handle_; }
  const NativeDisplay& native() const { return native_; }

  /// What contexts that draw off screen are made for: no configuration where that is allowed, else a fitting one.
  EGLConfig offscreenConfig() const { return offscreenConfig_; }

  /// An OpenGL ES 2 context; `EGL_NO_CONTEXT` when the driver refuses.
  EGLContext createContext(EGLConfig config, EGLContext shared) const;

  bool hasExtension(const char* name) const;

  PFNEGLCREATESYNCKHRPROC createSync = nullptr;
  PFNEGLDESTROYSYNCKHRPROC destroySync = nullptr;
  PFNEGLCLIENTWAITSYNCKHRPROC clientWaitSync = nullptr;
  /// Null where waiting on the GPU is not possible.
  PFNEGLWAITSYNCKHRPROC waitSync = nullptr;
  /// Null where textures cannot be made into images.
  PFNEGLCREATEIMAGEKHRPROC createImage = nullptr;
  PFNEGLDESTROYIMAGEKHRPROC destroyImage = nullptr;

 private:
  EglDisplay() = default;
  bool prepare(std::string* error);
  void loadFunctions();

  EGLDisplay handle_ = EGL_NO_DISPLAY;
  NativeDisplay native_;
  EGLConfig offscreenConfig_ = EGL_NO_CONFIG_KHR;
  std::string extensions_;
};

/// Whether `name` is one of the words in an extension string.
bool listsExtension(const char* extensions, const char* name);

/// The last EGL error of this thread, for sentences.
std::string eglErrorName();

}  // namespace ZELPlatform
