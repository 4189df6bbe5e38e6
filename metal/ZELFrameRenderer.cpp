#include <ZELKit/ZELFrameRenderer.h>

#include <ZELKit/internal/ZELInternalRenderState.h>
#include <ZELPlatform/CVMetalTextureCache.h>
#include <ZELPlatform/MTLCommands.h>
#include <ZELPlatform/MTLDevice.h>

#include <cstdint>
#include <utility>

#include "metal/ZELMetalRenderer.h"

namespace {

constexpr size_t kLumaPlane = 0;
constexpr size_t kChromaPlane = 1;

bool isTwoPlane(const CVPixelBufferRef& buffer) {
  return buffer && buffer->planeCount() == 2 && buffer->width() > 1 && buffer->height() > 1;
}

CGSize sizeOf(const CVPixelBuffer& buffer) {
  return CGSizeMake(static_cast<double>(buffer.width()), static_cast<double>(buffer.height()));
}

ZELInternalRenderState stateOf(const CVPixelBuffer& target, const std::shared_ptr<ZELProjection>& projection,
                               const GLKMatrix4& viewMatrix, double zoom) {
  const CGSize size = sizeOf(target);
  ZELInternalRenderState state;
  state.viewMatrix = viewMatrix;
  state.projection = projection;
  state.size = size;
  state.nearPlane =
      projection ? zoom * projection->zoomScaleForAspectRatio(size.width / size.height, size.width > size.height) : 0.0;
  return state;
}

}  // namespace

struct ZELFrameRenderer::Implementation {
  /// One of the two planes.
  struct Plane {
    std::shared_ptr<ZELMetalRenderer> renderer;
    std::shared_ptr<MTLTexture> target;
  };

  bool makeTargets(const CVPixelBuffer& buffer);
  bool makeTarget(Plane* plane, MTLPixelFormat format, size_t width, size_t height) const;
  CVMetalTextureRef wrapPlane(const CVPixelBufferRef& frame, MTLPixelFormat format, size_t index) const;

  std::shared_ptr<MTLDevice> device;
  std::shared_ptr<MTLCommandQueue> commandQueue;
  std::shared_ptr<CVMetalTextureCache> textureCache;
  Plane luma;
  Plane chroma;
};

bool ZELFrameRenderer::Implementation::makeTarget(Plane* plane, MTLPixelFormat format, size_t width,
                                                  size_t height) const {
  if (plane->target && plane->target->width() == width && plane->target->height() == height) return true;
  MTLTextureDescriptor descriptor;
  descriptor.pixelFormat = format;
  descriptor.width = width;
  descriptor.height = height;
  descriptor.storageMode = MTLStorageModePrivate;
  descriptor.usage = MTLTextureUsageRenderTarget;
  plane->target = device->newTextureWithDescriptor(descriptor);
  return plane->target != nullptr;
}

bool ZELFrameRenderer::Implementation::makeTargets(const CVPixelBuffer& buffer) {
  return makeTarget(&luma, MTLPixelFormatR8Unorm, buffer.width(), buffer.height()) &&
         makeTarget(&chroma, MTLPixelFormatRG8Unorm, buffer.width() / 2, buffer.height() / 2);
}

CVMetalTextureRef ZELFrameRenderer::Implementation::wrapPlane(const CVPixelBufferRef& frame, MTLPixelFormat format,
                                                              size_t index) const {
  const unsigned halvings = index == kChromaPlane ? 1 : 0;
  return textureCache->createTextureFromImage(frame, format, frame->width() >> halvings, frame->height() >> halvings,
                                              index);
}

ZELFrameRenderer::ZELFrameRenderer() : implementation_(std::make_unique<Implementation>()) {}

ZELFrameRenderer::~ZELFrameRenderer() = default;

std::shared_ptr<ZELFrameRenderer> ZELFrameRenderer::create() {
  std::shared_ptr<ZELFrameRenderer> renderer(new ZELFrameRenderer());
  Implementation& made = *renderer->implementation_;
  made.device = MTLCreateSystemDefaultDevice();
  if (!made.device) return nullptr;
  made.commandQueue = made.device->newCommandQueue();
  made.textureCache = CVMetalTextureCache::create(made.device);
  made.luma.renderer = ZELMetalRenderer::createWithMetalDevice(made.device, ZELMetalTarget::LumaPlane);
  made.chroma.renderer = ZELMetalRenderer::createWithMetalDevice(made.device, ZELMetalTarget::ChromaPlane);
  const bool complete = made.commandQueue && made.textureCache && made.luma.renderer && made.chroma.renderer;
  return complete ? renderer : nullptr;
}

bool ZELFrameRenderer::renderFrame(const CVPixelBufferRef& frame, const CVPixelBufferRef& target,
                                   const std::shared_ptr<ZELProjection>& projection, const GLKMatrix4& viewMatrix,
                                   double zoom) {
  Implementation& own = *implementation_;
  if (!isTwoPlane(frame) || !isTwoPlane(target) || target->width() % 2 != 0 || target->height() % 2 != 0) return false;
  CVMetalTextureRef luma = own.wrapPlane(frame, MTLPixelFormatR8Unorm, kLumaPlane);
  CVMetalTextureRef chroma = own.wrapPlane(frame, MTLPixelFormatRG8Unorm, kChromaPlane);
  const std::shared_ptr<MTLCommandBuffer> commandBuffer = own.commandQueue->commandBuffer();
  if (!luma || !chroma || !commandBuffer || !own.makeTargets(*target)) return false;
  const auto texture = ZELMetalTexture::createWithSize(sizeOf(*frame), std::move(luma), std::move(chroma));
  const ZELInternalRenderState state = stateOf(*target, projection, viewMatrix, zoom);
  own.luma.renderer->renderFrameWithRenderTarget(own.luma.target, *texture, &state, *commandBuffer);
  own.chroma.renderer->renderFrameWithRenderTarget(own.chroma.target, *texture, &state, *commandBuffer);
  commandBuffer->enqueue();
  commandBuffer->commit();
  commandBuffer->waitUntilCompleted();
  const CVPixelBuffer::Plane rows[] = {target->plane(kLumaPlane), target->plane(kChromaPlane)};
  return commandBuffer->status() != MTLCommandBufferStatusError &&
         own.luma.target->_readRows(rows[kLumaPlane].baseAddress, rows[kLumaPlane].bytesPerRow) &&
         own.chroma.target->_readRows(rows[kChromaPlane].baseAddress, rows[kChromaPlane].bytesPerRow);
}

std::string ZELFrameRenderer::rendererDescription() const { return "Metal: " + implementation_->device->name(); }
