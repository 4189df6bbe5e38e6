#pragma once

#include <ZELKit/internal/ZELInternalRenderView.h>
#include <ZELPlatform/CAMetalLayer.h>
#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/MTLDevice.h>

#include <atomic>
#include <memory>
#include <string>

#include "metal/ZELMetalRenderer.h"
#include "metal/ZELMetalTextureCache.h"

/// The Metal back end: a view that draws frames into a Metal layer, on a serial render queue of its own.
class ZELMetalRenderView final : public ZELInternalRenderView {
 public:
  explicit ZELMetalRenderView(Key key);

  /// Without a usable device the view exists and cannot render.
  static std::shared_ptr<ZELMetalRenderView> create(CGRect frame = {});

  /// Whether the process has a device; found out once.
  static bool metalSupported();

  /// Whether everything that a frame needs could be made.
  bool canRender() const;

  /// Main thread; returns when the frame has been encoded and handed to the GPU. Dropped when another one is under way.
  void renderWithPixelBufferSource(const std::shared_ptr<ZELPixelBufferSource>& source,
                                   const std::shared_ptr<const ZELInternalRenderState>& state) override;

  /// Returns when the GPU has done all that was handed over so far. Any thread.
  void flushGPU() override;

  std::string rendererDescription() const override;
  ZELSuperResolutionStatus superResolutionStatus() const override;

  std::shared_ptr<CAMetalLayer> metalLayer() const { return std::static_pointer_cast<CAMetalLayer>(layer()); }

  /// The queue on which this view's frames are drawn; null without a device. For the library's own use.
  const std::shared_ptr<DispatchQueue>& _renderQueue() const { return renderQueue_; }

 protected:
  bool initWithFrame(CGRect frame) override;
  std::shared_ptr<CALayer> createLayer() override;

 private:
  void makeGpuObjects(std::shared_ptr<MTLDevice> device);
  /// After the device was lost, takes the one that the service opens in its place.
  void followDevice();
  void renderFrame(ZELPixelBufferSource* source, const std::shared_ptr<const ZELInternalRenderState>& state);
  void sizeDrawable(const ZELMetalTexture& texture, const ZELInternalRenderState& state);
  /// Draws, clears or leaves the layer's next drawable; false when it could not be done.
  bool presentFrame(const std::shared_ptr<ZELMetalTexture>& texture,
                    const std::shared_ptr<const ZELInternalRenderState>& state);

  std::shared_ptr<MTLDevice> device_;
  std::shared_ptr<ZELMetalRenderer> renderer_;
  std::shared_ptr<DispatchQueue> renderQueue_;
  std::shared_ptr<MTLCommandQueue> commandQueue_;
  std::shared_ptr<ZELMetalTextureCache> textureCache_;
  std::shared_ptr<const ZELInternalRenderState> lastRenderState_;
  /// The drawable must be cleared if no frame is drawn into it.
  bool needsClear_ = false;
  /// What was handed over last was not carried out; set on the GPU's thread. Shared, as the view may go before.
  std::shared_ptr<std::atomic<bool>> failed_ = std::make_shared<std::atomic<bool>>(false);
  /// A hint only: set on the main thread, cleared on the render queue.
  std::atomic<bool> rendering_{false};
};
