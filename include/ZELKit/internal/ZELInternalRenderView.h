#pragma once

#include <ZELKit/ZELPixelBufferSource.h>
#include <ZELKit/ZELSuperResolutionStatus.h>
#include <ZELKit/internal/ZELInternalRenderState.h>
#include <ZELPlatform/UIView.h>

#include <memory>
#include <string>

/// A back end: a view that draws frames into its own layer.
class ZELInternalRenderView : public UIView {
 public:
  using UIView::UIView;

  /// Draws one frame of the source (which may be null) as the state says. Main thread.
  virtual void renderWithPixelBufferSource(const std::shared_ptr<ZELPixelBufferSource>& source,
                                           const std::shared_ptr<const ZELInternalRenderState>& state) = 0;

  /// Returns when the frame that was handed over last has been presented, or dropped. Main thread. Does nothing in back
  /// ends that present before `renderWithPixelBufferSource` returns.
  virtual void waitUntilPresented() {}

  /// What draws, for people; empty when nothing can be said. Main thread.
  virtual std::string rendererDescription() const { return {}; }

  /// Of the frame drawn last. Main thread.
  virtual ZELSuperResolutionStatus superResolutionStatus() const {
    return {.description = "off: only views that Metal draws can"};
  }

  /// Has the GPU finish what this view has queued. Any thread.
  virtual void flushGPU() = 0;
};
