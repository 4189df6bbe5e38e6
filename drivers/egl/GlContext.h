#pragma once

#include "drivers/egl/Drawable.h"
#include "drivers/egl/EglDriver.h"

#include <ZELPlatform/EAGL.h>

#include <map>
#include <memory>

namespace ZELPlatform {

/// An OpenGL ES 2 context without a surface, which draws into layers.
class GlContext final : public EAGLContext {
 public:
  static std::shared_ptr<GlContext> create(EglDriver& driver);
  ~GlContext() override;

  std::shared_ptr<EAGLSharegroup> sharegroup() const override { return driver_.sharegroup(); }
  bool renderbufferStorage(uint32_t target, const std::shared_ptr<CAEAGLLayer>& drawable) override;
  bool presentRenderbuffer(uint32_t target) override;

  /// Makes the context current on this thread, and the bound renderbuffer ready for a new picture.
  bool makeCurrent();

 private:
  GlContext(EglDriver& driver, EGLContext context) : driver_(driver), context_(context) {}
  bool isCurrent() const;
  std::shared_ptr<Drawable> boundDrawable();
  void forgetDrawables(const LayerContents& contents);

  EglDriver& driver_;
  EGLContext context_;
  /// The drawables by the names under which their renderbuffers were bound in this context.
  std::map<GLuint, std::shared_ptr<Drawable>> drawables_;
};

}  // namespace ZELPlatform
