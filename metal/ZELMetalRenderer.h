#pragma once

#include <ZELKit/ZELProjectionType.h>
#include <ZELKit/ZELTextureFormat.h>
#include <ZELKit/internal/ZELInternalRenderState.h>
#include <ZELPlatform/MTLCommands.h>
#include <ZELPlatform/MTLDevice.h>

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "metal/ZELMetalTexture.h"

/// What the shader functions are told of a frame: inline bytes of each draw, the same for both functions.
struct ZELMetalUniforms {
  /// Column by column.
  std::array<float, 16> viewMatrix{};
  /// The display rectangle, in units of the target.
  std::array<float, 2> displayOffset{};
  std::array<float, 2> displayScale{};
  float aspectRatio = 0.0F;
  float nearPlane = 0.0F;
  /// How much of each cube face is sampled.
  float scale = 0.0F;
  float padding = 0.0F;

  /// For a frame of that texture; the state may be null.
  static ZELMetalUniforms forTexture(const ZELMetalTexture& texture, const ZELInternalRenderState* state);
};

static_assert(sizeof(ZELMetalUniforms) == 96);
static_assert(offsetof(ZELMetalUniforms, displayOffset) == 64);
static_assert(offsetof(ZELMetalUniforms, aspectRatio) == 80);
static_assert(offsetof(ZELMetalUniforms, scale) == 88);

/// What a renderer draws into.
enum class ZELMetalTarget {
  /// A layer's drawable. What lies outside the display rectangle is left to that.
  Display,
  /// A plane of video-range 4:2:0, from frames that have such planes. Samples pass unconverted; outside the display
  /// rectangle they are black.
  LumaPlane,
  ChromaPlane,
};

/// The GPU objects that do not change from frame to frame (the quad and one pipeline for each projection and texture
/// format), and the encoding of a frame with them. One thread at a time.
class ZELMetalRenderer {
 public:
  /// Compiles all pipelines. Null when the shader library or one of its functions is missing, a function does not
  /// compile, or memory for the quad is short.
  static std::shared_ptr<ZELMetalRenderer> createWithMetalDevice(const std::shared_ptr<MTLDevice>& device,
                                                                 ZELMetalTarget target = ZELMetalTarget::Display);

  /// A pipeline with the fragment function of that name, or null.
  static std::shared_ptr<MTLRenderPipelineState> _compilePipelineNamed(
      const std::string& name, const std::shared_ptr<MTLDevice>& device,
      MTLPixelFormat pixelFormat = MTLPixelFormatBGRA8Unorm);

  /// The shader library, or null when it is missing or damaged. It is loaded once for the process, by the device that
  /// asks first; a failure is final. Any thread.
  static const std::shared_ptr<MTLLibrary>& _sharedLibraryForDevice(const std::shared_ptr<MTLDevice>& device);

  /// Encodes one pass that draws the texture into the target as the state says; without a state, flat. Encodes nothing
  /// for a projection or format without a pipeline. Does not commit.
  void renderFrameWithRenderTarget(const std::shared_ptr<MTLTexture>& target, const ZELMetalTexture& texture,
                                   const ZELInternalRenderState* state, MTLCommandBuffer& commandBuffer) const;

  ZELMetalRenderer(const ZELMetalRenderer&) = delete;
  ZELMetalRenderer& operator=(const ZELMetalRenderer&) = delete;

 private:
  explicit ZELMetalRenderer(ZELMetalTarget target) : target_(target) {}
  bool compilePipelines();
  std::shared_ptr<MTLRenderPipelineState> pipeline(ZELProjectionType projection, ZELTextureFormat format) const;

  const ZELMetalTarget target_;
  std::shared_ptr<MTLDevice> device_;
  std::shared_ptr<MTLBuffer> vertexBuffer_;
  std::shared_ptr<MTLBuffer> indexBuffer_;
  std::map<ZELProjectionType, std::map<ZELTextureFormat, std::shared_ptr<MTLRenderPipelineState>>> pipelines_;
};
