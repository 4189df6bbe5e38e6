#pragma once

#include <ZELKit/internal/ZELInternalRenderView.h>

#include <memory>

/// A record of a back-end view that does not keep it alive.
class ZELInternalWeakRef {
 public:
  static std::shared_ptr<ZELInternalWeakRef> createWithRenderView(const std::shared_ptr<ZELInternalRenderView>& view) {
    return std::shared_ptr<ZELInternalWeakRef>(new ZELInternalWeakRef(view));
  }

  /// The view, or null once it has gone.
  std::shared_ptr<ZELInternalRenderView> weakRenderView() const { return view_.lock(); }

 private:
  explicit ZELInternalWeakRef(const std::shared_ptr<ZELInternalRenderView>& view) : view_(view) {}

  std::weak_ptr<ZELInternalRenderView> view_;
};
