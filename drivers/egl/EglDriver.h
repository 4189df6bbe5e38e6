#pragma once

#include "drivers/egl/Capabilities.h"
#include "drivers/egl/EglDisplay.h"
#include "drivers/egl/ScopedContext.h"
#include "platform/eagl/GLDriver.h"

#include <memory>
#include <mutex>
#include <string>

namespace ZELPlatform {

/// The one share group of the driver.
class GlSharegroup final : public EAGLSharegroup {};

/// OpenGL ES through EGL. Any thread.
///
/// All contexts, those of the compositors too, share objects with one hidden root context, as a compositor shows what
/// any of them drew; so asking for a share group of one's own gives the same one. Lives for the process: what it makes
/// refers to it plainly.
class EglDriver final : public GLDriver {
 public:
  static std::unique_ptr<GLDriver> create(const NativeDisplay& native, std::string* error);

  std::shared_ptr<EAGLContext> createContext(const std::shared_ptr<EAGLSharegroup>& sharegroup) override;
  bool setCurrentContext(const std::shared_ptr<EAGLContext>& context) override;
  std::shared_ptr<CVOpenGLESTextureCache> createTextureCache(const std::shared_ptr<EAGLContext>& context) override;
  std::string rendererDescription() override { return capabilities_.renderer; }
  int32_t maximumTextureSize() override { return capabilities_.maximumTextureSize; }
  std::shared_ptr<Compositor> createCompositor(const NativeSurface& surface, double refreshRate,
                                               std::string* error) override;

  const EglDisplay& display() const { return *display_; }
  const std::shared_ptr<GlSharegroup>& sharegroup() const { return sharegroup_; }
  EGLContext rootContext() const { return root_; }

  /// Tests change it while nothing else uses the driver.
  Capabilities& capabilities() { return capabilities_; }

  /// The root context, current on this thread for one block: for work that any thread may have to do.
  class RootScope {
   public:
    explicit RootScope(EglDriver& driver) : lock_(driver.rootMutex_), scope_(driver.display_->handle(), driver.root_) {}
    /// Whether the context is current.
    explicit operator bool() const { return static_cast<bool>(scope_); }

   private:
    std::lock_guard<std::mutex> lock_;
    ScopedContext scope_;
  };

 private:
  EglDriver(std::unique_ptr<EglDisplay> display, EGLContext root);

  std::unique_ptr<EglDisplay> display_;
  EGLContext root_;
  std::mutex rootMutex_;
  std::shared_ptr<GlSharegroup> sharegroup_ = std::make_shared<GlSharegroup>();
  Capabilities capabilities_;
};

}  // namespace ZELPlatform
