#include "apps/zelview/BackEnd.h"

#include <ZELPlatform/EAGL.h>
#include <ZELPlatform/MTLDevice.h>

#include <cstdio>
#include <string>

#include "apps/zelview/ViewerError.h"

namespace zelview {

void chooseBackEnd(BackEnd backEnd) {
  ZELRenderView::setMetalAllowed(backEnd != BackEnd::OpenGLES);
  std::string reason = ZELRenderView::metalAllowed() ? MTLUnavailableReason() : std::string();
  if (backEnd == BackEnd::OpenGLES || (backEnd == BackEnd::Automatic && !reason.empty())) {
    reason = EAGLContext::unavailableReason();
  }
  if (!reason.empty()) throw ViewerError(reason);
}

size_t maximumTextureSize() {
  const std::shared_ptr<MTLDevice> device = ZELRenderView::metalAllowed() ? MTLCreateSystemDefaultDevice() : nullptr;
  return device ? device->maximumTextureSize() : static_cast<size_t>(EAGLContext::maximumTextureSize());
}

void warnOfMissingSuperResolution(const ZELRenderView& view) {
  if (view.usesMetal()) return;
  std::fprintf(stderr, "zelview: Super-resolution has no effect: OpenGL ES draws here, and only Metal can enlarge.\n");
}

std::shared_ptr<ZELRenderView> makeRenderView(CGRect frame, BackEnd backEnd) {
  std::shared_ptr<ZELRenderView> view = ZELRenderView::create(frame);
  if (!view) throw ViewerError("A view to render with cannot be made.");
  if (backEnd == BackEnd::Metal && !view->usesMetal()) {
    throw ViewerError("The Metal back end cannot draw: its shader library is missing or does not suit the GPU.");
  }
  if (!view->usesMetal()) {
    const std::string reason = EAGLContext::unavailableReason();
    if (!reason.empty()) throw ViewerError(reason);
  }
  return view;
}

}  // namespace zelview
