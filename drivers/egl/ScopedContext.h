#pragma once

#include "drivers/egl/Egl.h"

namespace ZELPlatform {

/// Makes a context current on this thread, without a surface, and brings back what was current before, whoever made it.
class ScopedContext {
 public:
  ScopedContext(EGLDisplay display, EGLContext context)
      : display_(display),
        callersDisplay_(eglGetCurrentDisplay()),
        callersContext_(eglGetCurrentContext()),
        callersDraw_(eglGetCurrentSurface(EGL_DRAW)),
        callersRead_(eglGetCurrentSurface(EGL_READ)),
        succeeded_(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context) == EGL_TRUE) {}

  ~ScopedContext() {
    if (!succeeded_) return;
    if (callersContext_ == EGL_NO_CONTEXT) {
      eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    } else {
      eglMakeCurrent(callersDisplay_, callersDraw_, callersRead_, callersContext_);
    }
  }

  /// Whether the context is current; if not, nothing was changed.
  explicit operator bool() const { return succeeded_; }

  ScopedContext(const ScopedContext&) = delete;
  ScopedContext& operator=(const ScopedContext&) = delete;

 private:
  EGLDisplay display_;
  EGLDisplay callersDisplay_;
  EGLContext callersContext_;
  EGLSurface callersDraw_;
  EGLSurface callersRead_;
  bool succeeded_;
};

}  // namespace ZELPlatform
