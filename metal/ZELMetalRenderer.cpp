#include "metal/ZELMetalRenderer.h"

#include <ZELPlatform/Foundation.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace {

constexpr float kVertices[] = {0, 0, 1, 0, 0, 1, 1, 1};
constexpr size_t kVertexStride = 2 * sizeof(float);
constexpr uint16_t kIndices[] = {0, 1, 2, 1, 3, 2};
constexpr uint32_t kNoOptions = 0;

/// Where the vertex function finds the quad's corners and the uniforms, and the fragment function the uniforms.
constexpr size_t kVerticesAtVertex = 0;
constexpr size_t kUniformsAtVertex = 1;
constexpr size_t kUniformsAtFragment = 0;

constexpr double kCubeColumns = 3.0;

/// How much of each cube face is sampled: all but its padding, counted in the frame's pixels.
double cubeFaceScale(double textureWidth, int64_t padding) {
  const double faceWidth = textureWidth / kCubeColumns;
  return (faceWidth - static_cast<double>(padding)) / (faceWidth > 0.0 ? faceWidth : 1.0);
}

/// Video-range black of BT.709.
constexpr MTLClearColor kBlackLuma = {16.0 / 255.0, 0.0, 0.0, 1.0};
constexpr MTLClearColor kBlackChroma = {128.0 / 255.0, 128.0 / 255.0, 0.0, 1.0};

MTLPixelFormat pixelFormatOf(ZELMetalTarget target) {
  if (target == ZELMetalTarget::LumaPlane) return MTLPixelFormatR8Unorm;
  return target == ZELMetalTarget::ChromaPlane ? MTLPixelFormatRG8Unorm : MTLPixelFormatBGRA8Unorm;
}

/// What draws frames of that format; empty if nothing does.
std::string functionName(ZELMetalTarget target, ZELTextureFormat format, ZELProjectionType projection) {
  const std::string suffix = std::string("_") + ZELProjectionTypeName(projection);
  if (target == ZELMetalTarget::Display) return std::string("fs_") + ZELMetalTextureFormatName(format) + suffix;
  if (format != ZELTextureFormatYUV) return "";
  return (target == ZELMetalTarget::LumaPlane ? "fs_luma" : "fs_chroma") + suffix;
}

MTLRenderPassColorAttachmentDescriptor attachmentOf(ZELMetalTarget target, const std::shared_ptr<MTLTexture>& texture) {
  const bool isPlane = target != ZELMetalTarget::Display;
  return {.texture = texture,
          .loadAction = isPlane ? MTLLoadActionClear : MTLLoadActionDontCare,
          .storeAction = MTLStoreActionStore,
          .clearColor = target == ZELMetalTarget::LumaPlane ? kBlackLuma
                        : isPlane                           ? kBlackChroma
                                                            : MTLClearColorMake(0, 0, 0, 1)};
}

MTLVertexDescriptor quadDescriptor() {
  MTLVertexDescriptor descriptor;
  descriptor.attributes[0] = {.format = MTLVertexFormatFloat2, .offset = 0, .bufferIndex = kVerticesAtVertex};
  descriptor.layouts[kVerticesAtVertex] = {.stride = kVertexStride, .stepFunction = MTLVertexStepFunctionPerVertex};
  return descriptor;
}

std::shared_ptr<MTLLibrary> loadLibrary(MTLDevice& device) {
  // Any address of this library says where to look.
  const std::string path =
      NSBundle::pathForResource(reinterpret_cast<const void*>(&loadLibrary), "default", "metallib");
  if (path.empty()) return nullptr;
  std::string error;
  std::shared_ptr<MTLLibrary> library = device.newLibraryWithFile(path, &error);
  return error.empty() ? library : nullptr;
}

}  // namespace

ZELMetalUniforms ZELMetalUniforms::forTexture(const ZELMetalTexture& texture, const ZELInternalRenderState* state) {
  ZELMetalUniforms uniforms;
  const CGSize size = state ? state->size : CGSize{};
  const ZELProjection* projection = state ? state->projection.get() : nullptr;
  const CGRect rect = projection ? projection->displayRectForContentSize(texture.size(), size) : CGRect{};
  if (state) std::copy(std::begin(state->viewMatrix.m), std::end(state->viewMatrix.m), uniforms.viewMatrix.begin());
  uniforms.displayOffset = {static_cast<float>(rect.origin.x), static_cast<float>(rect.origin.y)};
  uniforms.displayScale = {static_cast<float>(rect.size.width), static_cast<float>(rect.size.height)};
  uniforms.aspectRatio = static_cast<float>(size.height > 0.0 ? size.width / size.height : 1.0);
  uniforms.nearPlane = static_cast<float>(state ? state->nearPlane : 0.0);
  uniforms.scale = static_cast<float>(cubeFaceScale(texture.size().width, projection ? projection->padding() : 0));
  return uniforms;
}

std::shared_ptr<ZELMetalRenderer> ZELMetalRenderer::createWithMetalDevice(const std::shared_ptr<MTLDevice>& device,
                                                                          ZELMetalTarget target) {
  if (!device) return nullptr;
  std::shared_ptr<ZELMetalRenderer> renderer(new ZELMetalRenderer(target));
  renderer->device_ = device;
  renderer->vertexBuffer_ = device->newBufferWithBytes(kVertices, sizeof kVertices, kNoOptions);
  renderer->indexBuffer_ = device->newBufferWithBytes(kIndices, sizeof kIndices, kNoOptions);
  if (!renderer->vertexBuffer_ || !renderer->indexBuffer_) return nullptr;
  return renderer->compilePipelines() ? renderer : nullptr;
}

bool ZELMetalRenderer::compilePipelines() {
  for (ZELProjectionType projection = ZELProjectionTypeFlat; projection <= ZELProjectionTypeSegmentedSphere;
       ++projection) {
    for (ZELTextureFormat format = ZELTextureFormatRGB; format <= ZELTextureFormatYUV; ++format) {
      const std::string name = functionName(target_, format, projection);
      if (name.empty()) continue;
      std::shared_ptr<MTLRenderPipelineState> pipeline = _compilePipelineNamed(name, device_, pixelFormatOf(target_));
      if (!pipeline) return false;
      pipelines_[projection][format] = std::move(pipeline);
    }
  }
  return true;
}

const std::shared_ptr<MTLLibrary>& ZELMetalRenderer::_sharedLibraryForDevice(const std::shared_ptr<MTLDevice>& device) {
  // One for the process, whatever device asks later. Never destroyed: views may still be made while the process ends.
  static const auto* const library =
      new std::shared_ptr<MTLLibrary>(device ? loadLibrary(*device) : std::shared_ptr<MTLLibrary>());
  return *library;
}

std::shared_ptr<MTLRenderPipelineState> ZELMetalRenderer::_compilePipelineNamed(
    const std::string& name, const std::shared_ptr<MTLDevice>& device, MTLPixelFormat pixelFormat) {
  const std::shared_ptr<MTLLibrary>& library = _sharedLibraryForDevice(device);
  if (!library || !device) return nullptr;
  MTLRenderPipelineDescriptor descriptor;
  descriptor.fragmentFunction = library->newFunctionWithName(name);
  descriptor.vertexFunction = library->newFunctionWithName("vs_main");
  descriptor.colorAttachments[0].pixelFormat = pixelFormat;
  descriptor.vertexDescriptor = quadDescriptor();
  std::string error;
  std::shared_ptr<MTLRenderPipelineState> pipeline = device->newRenderPipelineStateWithDescriptor(descriptor, &error);
  // A pipeline that comes with an error is not one to draw with.
  return error.empty() ? pipeline : nullptr;
}

std::shared_ptr<MTLRenderPipelineState> ZELMetalRenderer::pipeline(ZELProjectionType projection,
                                                                   ZELTextureFormat format) const {
  const auto formats = pipelines_.find(projection);
  if (formats == pipelines_.end()) return nullptr;
  const auto entry = formats->second.find(format);
  return entry == formats->second.end() ? nullptr : entry->second;
}

void ZELMetalRenderer::renderFrameWithRenderTarget(const std::shared_ptr<MTLTexture>& target,
                                                   const ZELMetalTexture& texture, const ZELInternalRenderState* state,
                                                   MTLCommandBuffer& commandBuffer) const {
  const ZELMetalUniforms uniforms = ZELMetalUniforms::forTexture(texture, state);
  const bool projected = state && state->projection;
  const ZELProjectionType projection = projected ? state->projection->type() : ZELProjectionType{ZELProjectionTypeFlat};
  const std::shared_ptr<MTLRenderPipelineState> pipelineState = pipeline(projection, texture.format());
  if (!pipelineState) return;

  MTLRenderPassDescriptor pass;
  pass.colorAttachments[0] = attachmentOf(target_, target);
  const std::shared_ptr<MTLRenderCommandEncoder> encoder = commandBuffer.renderCommandEncoderWithDescriptor(pass);
  if (!encoder) return;
  encoder->setRenderPipelineState(pipelineState);
  encoder->setCullMode(MTLCullModeNone);
  encoder->setVertexBuffer(vertexBuffer_, 0, kVerticesAtVertex);
  encoder->setVertexBytes(&uniforms, sizeof uniforms, kUniformsAtVertex);
  encoder->setFragmentBytes(&uniforms, sizeof uniforms, kUniformsAtFragment);
  for (size_t plane = 0; plane < texture.planes().size(); ++plane) {
    encoder->setFragmentTexture(texture.planes()[plane], plane);
  }
  encoder->drawIndexedPrimitives(MTLPrimitiveTypeTriangle, std::size(kIndices), MTLIndexTypeUInt16, indexBuffer_, 0);
  encoder->endEncoding();
}
