#include "drivers/egl/GlContext.h"

#include "drivers/egl/GlState.h"
#include "drivers/egl/ScopedContext.h"

#include <ZELPlatform/QuartzCore.h>

#include <cmath>

namespace ZELPlatform {
namespace {

/// Takes its image from the bound renderbuffer.
void shrinkBoundRenderbuffer() { glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA4, 1, 1); }

}  // namespace

std::shared_ptr<GlContext> GlContext::create(EglDriver& driver) {
  EGLContext context = driver.display().createContext(driver.display().offscreenConfig(), driver.rootContext());
  if (context == EGL_NO_CONTEXT) return nullptr;
  return std::shared_ptr<GlContext>(new GlContext(driver, context));
}

GlContext::~GlContext() {
  if (!drawables_.empty()) {
    // A renderbuffer whose name was never deleted lives on in the share group, and must not keep an image alive.
    const ScopedContext scope(driver_.display().handle(), context_);
    if (scope && boundDrawable()) shrinkBoundRenderbuffer();
  }
  eglDestroyContext(driver_.display().handle(), context_);
}

bool GlContext::makeCurrent() {
  if (!isCurrent() &&
      eglMakeCurrent(driver_.display().handle(), EGL_NO_SURFACE, EGL_NO_SURFACE, context_) != EGL_TRUE) {
    return false;
  }
  if (const auto drawable = boundDrawable()) drawable->beginFrame();
  return true;
}

bool GlContext::renderbufferStorage(uint32_t target, const std::shared_ptr<CAEAGLLayer>& drawable) {
  if (target != GL_RENDERBUFFER || !drawable || !isCurrent()) return false;
  const auto name = static_cast<GLuint>(glInteger(GL_RENDERBUFFER_BINDING));
  const double scale = drawable->contentsScale();
  const CGSize points = drawable->bounds().size;
  const double width = std::ceil(points.width * scale);
  const double height = std::ceil(points.height * scale);
  const double limit = driver_.capabilities().maximumDrawableSize;
  if (name == 0 || !(width >= 1 && height >= 1 && width <= limit && height <= limit)) return false;
  const auto contents = drawable->contentsStore();
  forgetDrawables(*contents);
  auto made = Drawable::create(driver_, contents, static_cast<GLsizei>(width), static_cast<GLsizei>(height),
                               drawable->drawableProperties().retainedBacking);
  if (!made) {
    drawables_.erase(name);
    return false;
  }
  drawables_[name] = std::move(made);
  return true;
}

bool GlContext::presentRenderbuffer(uint32_t target) {
  if (target != GL_RENDERBUFFER || !isCurrent()) return false;
  const auto drawable = boundDrawable();
  return drawable && drawable->present();
}

bool GlContext::isCurrent() const { return eglGetCurrentContext() == context_; }

std::shared_ptr<Drawable> GlContext::boundDrawable() {
  if (drawables_.empty()) return nullptr;
  const auto found = drawables_.find(static_cast<GLuint>(glInteger(GL_RENDERBUFFER_BINDING)));
  if (found == drawables_.end()) return nullptr;
  if (!found->second->isReplaced()) return found->second;
  shrinkBoundRenderbuffer();
  drawables_.erase(found);
  return nullptr;
}

void GlContext::forgetDrawables(const LayerContents& contents) {
  for (auto entry = drawables_.begin(); entry != drawables_.end();) {
    if (entry->second->contents().get() == &contents) {
      entry->second->leaveFramebuffer();
      entry = drawables_.erase(entry);
    } else {
      ++entry;
    }
  }
}

}  // namespace ZELPlatform
