#include "drivers/egl/Fence.h"

namespace ZELPlatform {

std::shared_ptr<Fence> Fence::insert(const EglDisplay& display) {
  EGLSyncKHR sync = display.createSync(display.handle(), EGL_SYNC_FENCE_KHR, nullptr);
  if (sync == EGL_NO_SYNC_KHR) {
    glFinish();
    return nullptr;
  }
  glFlush();
  return std::shared_ptr<Fence>(new Fence(display, sync));
}

Fence::~Fence() { display_.destroySync(display_.handle(), sync_); }

void Fence::holdBackCurrentContext() const {
  if (!display_.waitSync || display_.waitSync(display_.handle(), sync_, 0) != EGL_TRUE) wait();
}

void Fence::wait() const { display_.clientWaitSync(display_.handle(), sync_, 0, EGL_FOREVER_KHR); }

}  // namespace ZELPlatform
