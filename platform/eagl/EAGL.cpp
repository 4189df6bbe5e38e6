#include "platform/eagl/GLDriver.h"
#include "platform/uikit/DisplayDriver.h"

#include <ZELPlatform/EAGL.h>

#include <atomic>
#include <mutex>
#include <utility>

namespace ZELPlatform {
namespace {

std::unique_ptr<GLDriver> openGLDriver(std::string* error) {
  DisplayDriver* display = activeDisplayDriver();
  const NativeDisplay native = display ? display->nativeDisplay() : NativeDisplay{};
  std::string reasons;
  for (const GLDriverDescriptor& descriptor : glDrivers()) {
    std::string reason;
    if (auto driver = descriptor.create(native, &reason)) return driver;
    reasons += (reasons.empty() ? "" : " ") + reason;
  }
  if (error) *error = reasons.empty() ? "No OpenGL ES driver is built in." : reasons;
  return nullptr;
}

}  // namespace

GLDriver* activeGLDriver(std::string* error) {
  // Never destroyed: contexts, images and textures of it may live on to the end of the process.
  static std::atomic<GLDriver*> active{nullptr};
  static std::mutex opening;
  if (GLDriver* driver = active.load(std::memory_order_acquire)) return driver;
  const std::lock_guard lock(opening);
  GLDriver* driver = active.load(std::memory_order_acquire);
  if (!driver) {
    driver = openGLDriver(error).release();
    active.store(driver, std::memory_order_release);
  }
  return driver;
}

}  // namespace ZELPlatform

namespace {

/// The calling thread's context; let go when the thread ends, so that no finished thread keeps one current.
struct CurrentContext {
  std::shared_ptr<EAGLContext> context;

  ~CurrentContext() {
    if (context) ZELPlatform::activeGLDriver()->setCurrentContext(nullptr);
  }
};

thread_local CurrentContext current;

}  // namespace

std::shared_ptr<EAGLContext> EAGLContext::create(EAGLRenderingAPI api) {
  ZELPlatform::GLDriver* driver = api == kEAGLRenderingAPIOpenGLES2 ? ZELPlatform::activeGLDriver() : nullptr;
  return driver ? driver->createContext(nullptr) : nullptr;
}

std::shared_ptr<EAGLContext> EAGLContext::create(EAGLRenderingAPI api,
                                                 const std::shared_ptr<EAGLSharegroup>& sharegroup) {
  if (api != kEAGLRenderingAPIOpenGLES2 || !sharegroup) return nullptr;
  ZELPlatform::GLDriver* driver = ZELPlatform::activeGLDriver();
  return driver ? driver->createContext(sharegroup) : nullptr;
}

std::string EAGLContext::unavailableReason() {
  std::string reason;
  return ZELPlatform::activeGLDriver(&reason) ? std::string() : reason;
}

std::string EAGLContext::rendererDescription() {
  ZELPlatform::GLDriver* driver = ZELPlatform::activeGLDriver();
  return driver ? driver->rendererDescription() : std::string();
}

int32_t EAGLContext::maximumTextureSize() {
  ZELPlatform::GLDriver* driver = ZELPlatform::activeGLDriver();
  return driver ? driver->maximumTextureSize() : 0;
}

bool EAGLContext::setCurrentContext(const std::shared_ptr<EAGLContext>& context) {
  // Asking for none while none of these is current leaves alone what another library made current.
  if (!context && !current.context) return true;
  const bool succeeded = ZELPlatform::activeGLDriver()->setCurrentContext(context);
  // The old context is let go last: it may be the last reference, and destroying it needs this thread to be off it.
  const auto old = std::exchange(current.context, succeeded ? context : nullptr);
  return succeeded;
}

std::shared_ptr<EAGLContext> EAGLContext::currentContext() { return current.context; }
