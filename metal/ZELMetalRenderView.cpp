#include "metal/ZELMetalRenderView.h"

#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIScreen.h>

#include <cmath>
#include <utility>

#include "superres/ZELCNNSuperResolution.h"

namespace {

/// Flat content is drawn at up to this many times its own resolution.
constexpr double kSampleFactor = 2.0;

bool isEmpty(CGSize size) { return !(size.width > 0.0) || !(size.height > 0.0); }

void encodeClear(MTLCommandBuffer& commandBuffer, const std::shared_ptr<MTLTexture>& target) {
  MTLRenderPassDescriptor pass = MTLRenderPassDescriptor::renderPassDescriptor();
  pass.colorAttachments[0] = {.texture = target,
                              .loadAction = MTLLoadActionClear,
                              .storeAction = MTLStoreActionStore,
                              .clearColor = MTLClearColorMake(0, 0, 0, 1)};
  if (const auto encoder = commandBuffer.renderCommandEncoderWithDescriptor(pass)) encoder->endEncoding();
}

/// Has the drawable shown with the commit, and the state's listener told and the texture's storage let go when the GPU
/// is done with them. `failed` is set if the GPU could not do it.
void commitFrame(const std::shared_ptr<MTLCommandBuffer>& commandBuffer,
                 const std::shared_ptr<CAMetalDrawable>& drawable, const std::shared_ptr<ZELMetalTexture>& texture,
                 const ZELInternalRenderState& state, const std::shared_ptr<std::atomic<bool>>& failed) {
  commandBuffer->enqueue();
  commandBuffer->presentDrawable(drawable);
  commandBuffer->addCompletedHandler([commandBuffer, failed] {
    if (commandBuffer->status() == MTLCommandBufferStatusError) failed->store(true);
  });
  if (texture) {
    texture->acquirePlanes();
    commandBuffer->addCompletedHandler([texture, frameDisplayed = state.frameDisplayed] {
      if (frameDisplayed) frameDisplayed();
      texture->releasePlanes();
    });
  }
  commandBuffer->commit();
}

}  // namespace

ZELMetalRenderView::ZELMetalRenderView(Key key) : ZELInternalRenderView(key) {}

std::shared_ptr<ZELMetalRenderView> ZELMetalRenderView::create(CGRect frame) {
  return createView<ZELMetalRenderView>(frame);
}

std::shared_ptr<CALayer> ZELMetalRenderView::createLayer() { return std::make_shared<CAMetalLayer>(); }

bool ZELMetalRenderView::metalSupported() {
  static const bool supported = MTLCreateSystemDefaultDevice() != nullptr;
  return supported;
}

bool ZELMetalRenderView::initWithFrame(CGRect frame) {
  if (!UIView::initWithFrame(frame)) return false;
  std::shared_ptr<MTLDevice> device = MTLCreateSystemDefaultDevice();
  if (!device) return true;
  // The label is the other back end's: whoever looks for render queues finds those of both by one name.
  renderQueue_ = DispatchQueue::create("ZELGLRenderView");
  makeGpuObjects(std::move(device));
  const std::shared_ptr<CAMetalLayer> layer = metalLayer();
  layer->setPixelFormat(MTLPixelFormatBGRA8Unorm);
  layer->setFramebufferOnly(true);
  layer->setOpaque(true);
  setOpaque(true);
  return true;
}

void ZELMetalRenderView::makeGpuObjects(std::shared_ptr<MTLDevice> device) {
  device_ = std::move(device);
  renderer_ = ZELMetalRenderer::createWithMetalDevice(device_);
  commandQueue_ = device_->newCommandQueue();
  textureCache_ = ZELMetalTextureCache::createWithMetalDevice(device_, renderQueue_, commandQueue_,
                                                              ZELCNNSuperResolution::sharedSuperResolution());
  needsClear_ = true;
  metalLayer()->setDevice(device_);
}

void ZELMetalRenderView::followDevice() {
  const std::shared_ptr<MTLDevice> device = MTLCreateSystemDefaultDevice();
  if (!device || device == device_) return;
  renderQueue_->sync([&] {
    makeGpuObjects(device);
    lastRenderState_ = nullptr;
    textureCache_->wantFrame();
  });
}

bool ZELMetalRenderView::canRender() const {
  return device_ && renderer_ && textureCache_ && commandQueue_ && renderQueue_;
}

void ZELMetalRenderView::renderWithPixelBufferSource(const std::shared_ptr<ZELPixelBufferSource>& source,
                                                     const std::shared_ptr<const ZELInternalRenderState>& state) {
  if (rendering_.load(std::memory_order_relaxed) || !canRender()) return;
  followDevice();
  if (!canRender()) return;
  rendering_.store(true, std::memory_order_relaxed);
  renderQueue_->sync([&] {
    renderFrame(source.get(), state);
    rendering_.store(false, std::memory_order_relaxed);
  });
}

void ZELMetalRenderView::flushGPU() {
  if (!renderQueue_) return;
  renderQueue_->sync([this] {
    // Command buffers of one queue end in their order, so an empty one ends after all that came before.
    const std::shared_ptr<MTLCommandBuffer> commandBuffer = commandQueue_ ? commandQueue_->commandBuffer() : nullptr;
    if (!commandBuffer) return;
    commandBuffer->enqueue();
    commandBuffer->commit();
    commandBuffer->waitUntilCompleted();
  });
}

std::string ZELMetalRenderView::rendererDescription() const {
  if (!canRender()) return {};
  std::string text = "Metal: " + device_->name();
  renderQueue_->sync([&] {
    const std::shared_ptr<ZELMetalTexture>& texture = textureCache_->currentTexture();
    if (texture) text += texture->isCopy() ? ", frames uploaded" : ", frames imported without a copy";
  });
  return text;
}

ZELSuperResolutionStatus ZELMetalRenderView::superResolutionStatus() const {
  if (!canRender()) return {.description = "off: nothing can draw"};
  ZELSuperResolutionStatus status;
  renderQueue_->sync([&] { status = textureCache_->superResolutionStatus(); });
  return status;
}

void ZELMetalRenderView::renderFrame(ZELPixelBufferSource* source,
                                     const std::shared_ptr<const ZELInternalRenderState>& state) {
  if (UIApplication::sharedApplication().applicationState() != UIApplicationStateActive) return;
  const std::shared_ptr<ZELMetalTexture> texture = textureCache_->textureFromPixelBufferSource(source, *state);
  if (texture) sizeDrawable(*texture, *state);
  if (!presentFrame(texture, state) && texture && texture->updated()) {
    // This texture will not be new again: what is owed is drawn by the next frame, whatever its state.
    lastRenderState_ = nullptr;
  }
}

bool ZELMetalRenderView::presentFrame(const std::shared_ptr<ZELMetalTexture>& texture,
                                      const std::shared_ptr<const ZELInternalRenderState>& state) {
  const std::shared_ptr<CAMetalLayer> layer = metalLayer();
  if (isEmpty(layer->drawableSize()) || isEmpty(layer->bounds().size)) return false;
  const std::shared_ptr<CAMetalDrawable> drawable = layer->nextDrawable();
  if (!drawable) return false;
  if (failed_->exchange(false)) {
    lastRenderState_ = nullptr;
    needsClear_ = true;
  }
  const bool draws =
      texture && (texture->updated() || !lastRenderState_ || lastRenderState_->differsFromRenderState(*state));
  if (draws || needsClear_) {
    const std::shared_ptr<MTLCommandBuffer> commandBuffer = commandQueue_->commandBuffer();
    if (!commandBuffer) return false;
    if (draws) {
      lastRenderState_ = state->withoutCallback();
      renderer_->renderFrameWithRenderTarget(drawable->texture(), *texture, state.get(), *commandBuffer);
    } else {
      encodeClear(*commandBuffer, drawable->texture());
    }
    commitFrame(commandBuffer, drawable, texture, *state, failed_);
  }
  needsClear_ = false;
  return true;
}

void ZELMetalRenderView::sizeDrawable(const ZELMetalTexture& texture, const ZELInternalRenderState& state) {
  const double scale = state.projection
                           ? state.projection->contentScaleForContentSize(texture.size(), state.size, kSampleFactor,
                                                                          UIScreen::mainScreen().nativeScale())
                           : 0.0;
  const CGSize size = CGSizeMake(std::ceil(scale * state.size.width), std::ceil(scale * state.size.height));
  const std::shared_ptr<CAMetalLayer> layer = metalLayer();
  // Read first: until a size is set, the layer's own follows the scale.
  const CGSize sizeBefore = layer->drawableSize();
  if (scale != layer->contentsScale()) layer->setContentsScale(scale);
  if (CGSizeEqualToSize(size, sizeBefore)) return;
  layer->setDrawableSize(size);
  needsClear_ = true;
}
