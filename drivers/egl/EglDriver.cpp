#include "drivers/egl/EglDriver.h"

#include "drivers/egl/GlContext.h"
#include "drivers/egl/TextureCache.h"
#include "platform/dispatch/ThreadPool.h"

#include <cstdlib>
#include <utility>

namespace ZELPlatform {

std::unique_ptr<GLDriver> EglDriver::create(const NativeDisplay& native, std::string* error) {
  auto display = EglDisplay::open(native, error);
  if (!display) return nullptr;
  EGLContext root = display->createContext(display->offscreenConfig(), EGL_NO_CONTEXT);
  if (root == EGL_NO_CONTEXT) {
    *error = "OpenGL ES is not available: the EGL driver cannot create a context (" + eglErrorName() + ").";
    return nullptr;
  }
  std::unique_ptr<EglDriver> driver(new EglDriver(std::move(display), root));
  const RootScope scope(*driver);
  if (!scope) {
    *error = "OpenGL ES is not available: its context cannot be made current (" + eglErrorName() + ").";
    eglDestroyContext(driver->display_->handle(), root);
    return nullptr;
  }
  driver->capabilities_ = Capabilities::ask(*driver->display_);
  // EGL and what it loaded tear themselves down as the process ends, while queues may still draw or delete. What is
  // registered now, after they were loaded, runs before that.
  std::atexit([] { ThreadPool::shared().finish(); });
  return driver;
}

EglDriver::EglDriver(std::unique_ptr<EglDisplay> display, EGLContext root)
    : display_(std::move(display)), root_(root) {}

std::shared_ptr<EAGLContext> EglDriver::createContext(const std::shared_ptr<EAGLSharegroup>& sharegroup) {
  if (sharegroup && sharegroup != sharegroup_) return nullptr;
  return GlContext::create(*this);
}

bool EglDriver::setCurrentContext(const std::shared_ptr<EAGLContext>& context) {
  auto* glContext = dynamic_cast<GlContext*>(context.get());
  if (glContext && glContext->makeCurrent()) return true;
  const bool released = eglMakeCurrent(display_->handle(), EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT) == EGL_TRUE;
  return released && !context;
}

std::shared_ptr<CVOpenGLESTextureCache> EglDriver::createTextureCache(const std::shared_ptr<EAGLContext>& context) {
  return context ? std::make_shared<TextureCache>(capabilities_) : nullptr;
}

}  // namespace ZELPlatform
