#include <ZELKit/ZELRenderView.h>
#include <ZELPlatform/Dispatch.h>

#include <atomic>

#include "frontend/ZELInternalWeakRef.h"
#include "gl/ZELGLRenderView.h"
#include "metal/ZELMetalRenderView.h"

// The class-wide half of the view: which back end a new view gets, and who has to flush when the host asks for it.

namespace {

std::atomic<bool>& metalIsAllowed() {
  static std::atomic<bool> allowed{true};
  return allowed;
}

}  // namespace

bool ZELRenderView::metalAllowed() { return metalIsAllowed(); }

void ZELRenderView::setMetalAllowed(bool allowed) { metalIsAllowed() = allowed; }

bool ZELRenderView::usesMetal() const { return std::dynamic_pointer_cast<ZELMetalRenderView>(renderView_) != nullptr; }

std::string ZELRenderView::rendererDescription() const {
  return renderView_ ? renderView_->rendererDescription() : std::string();
}

ZELSuperResolutionStatus ZELRenderView::superResolutionStatus() const {
  if (!renderView_) return {.description = "off: nothing can draw"};
  return renderView_->superResolutionStatus();
}

std::shared_ptr<ZELInternalRenderView> ZELRenderView::_createInternalView() {
  if (metalAllowed() && ZELMetalRenderView::metalSupported()) {
    const std::shared_ptr<ZELMetalRenderView> view = ZELMetalRenderView::create();
    if (view && view->canRender()) return view;
  }
  return ZELGLRenderView::create();
}

std::vector<std::shared_ptr<ZELInternalWeakRef>>& ZELRenderView::_trackedViews() {
  // Never destroyed: views may still be flushed while the process ends.
  static auto* const views = new std::vector<std::shared_ptr<ZELInternalWeakRef>>();
  return *views;
}

const std::shared_ptr<DispatchQueue>& ZELRenderView::_trackLockQueue() {
  static auto* const queue = new std::shared_ptr<DispatchQueue>(DispatchQueue::create("ZELRenderView.lockQueue"));
  return *queue;
}

void ZELRenderView::_trackInternalView(const std::shared_ptr<ZELInternalRenderView>& view) {
  _trackLockQueue()->sync([&] { _trackedViews().push_back(ZELInternalWeakRef::createWithRenderView(view)); });
  collectWeakRefs();
}

void ZELRenderView::collectWeakRefs() {
  _trackLockQueue()->sync(
      [] { std::erase_if(_trackedViews(), [](const auto& record) { return record->weakRenderView() == nullptr; }); });
}

void ZELRenderView::flushGPU() {
  _trackLockQueue()->sync([] {
    for (const std::shared_ptr<ZELInternalWeakRef>& record : _trackedViews()) {
      if (const std::shared_ptr<ZELInternalRenderView> view = record->weakRenderView()) view->flushGPU();
    }
  });
}
