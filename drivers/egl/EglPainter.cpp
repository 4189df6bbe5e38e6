#include "drivers/egl/EglPainter.h"

#include "drivers/window/WindowCompositor.h"

#include <utility>

namespace ZELPlatform {

std::shared_ptr<Compositor> EglDriver::createCompositor(const NativeSurface& surface, double refreshRate,
                                                        std::string* error) {
  auto painter = EglPainter::create(*this, surface, error);
  return painter ? std::make_shared<WindowCompositor>(surface, std::move(painter), refreshRate) : nullptr;
}

std::unique_ptr<EglPainter> EglPainter::create(EglDriver& driver, const NativeSurface& native, std::string* error) {
  auto surface = WindowSurface::create(driver.display(), native, error);
  if (!surface) return nullptr;
  EGLContext context = driver.display().createContext(surface->config(), driver.rootContext());
  if (context == EGL_NO_CONTEXT) {
    *error = "The window cannot be drawn on: EGL cannot create a context for it (" + eglErrorName() + ").";
    return nullptr;
  }
  return std::unique_ptr<EglPainter>(new EglPainter(driver, std::move(surface), context));
}

EglPainter::~EglPainter() {
  surface_.reset();
  eglDestroyContext(driver_.display().handle(), context_);
}

bool EglPainter::begin() {
  if (surface_->reopen() && surface_->makeCurrent(context_)) painter_ = ScenePainter::create(driver_);
  if (!painter_) end();
  return painter_ != nullptr;
}

void EglPainter::end() {
  painter_.reset();
  eglMakeCurrent(driver_.display().handle(), EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  surface_->close();
}

bool EglPainter::paint(const Scene& scene) {
  surface_->resize(scene.pixelWidth, scene.pixelHeight);
  if (const auto painted = painter_->paint(scene)) painted->wait();
  return true;
}

}  // namespace ZELPlatform
