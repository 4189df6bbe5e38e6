#pragma once

#include <ZELPlatform/Export.h>
#include <ZELPlatform/MTLCommands.h>
#include <ZELPlatform/MTLPipeline.h>
#include <ZELPlatform/MTLResource.h>
#include <ZELPlatform/MTLTypes.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

class CAMetalDrawable;
class CVMetalTextureCache;

namespace ZELPlatform {
class LayerContents;

/// The drawables of one layer, of one size. One thread at a time.
class DrawableRing {
 public:
  virtual ~DrawableRing() = default;

  /// The next drawable to draw into. Waits while two of the ring's drawables are still being drawn, one second at most;
  /// null then, or when memory is short.
  virtual std::shared_ptr<CAMetalDrawable> next() = 0;
};
}  // namespace ZELPlatform

/// A GPU. What it makes keeps it alive. Any thread.
class ZELPLATFORM_EXPORT MTLDevice {
 public:
  virtual ~MTLDevice() = default;

  /// The GPU's name, for people.
  virtual std::string name() const = 0;

  virtual bool supportsFeatureSet(MTLFeatureSet featureSet) const = 0;

  /// Loads a library file. Null, with one sentence in `error` if given, when it is missing, damaged or of another
  /// version.
  virtual std::shared_ptr<MTLLibrary> newLibraryWithFile(const std::string& path, std::string* error = nullptr) = 0;

  /// Compiles a pipeline. Null, with one sentence in `error` if given, when a function is missing or of another kind,
  /// or the driver refuses.
  virtual std::shared_ptr<MTLRenderPipelineState> newRenderPipelineStateWithDescriptor(
      const MTLRenderPipelineDescriptor& descriptor, std::string* error = nullptr) = 0;
  virtual std::shared_ptr<MTLComputePipelineState> newComputePipelineStateWithFunction(
      const std::shared_ptr<MTLFunction>& function, std::string* error = nullptr) = 0;

  /// A buffer that holds a copy of the bytes; null for no bytes, or when memory is short. `options`: values of
  /// `MTLResourceOptions`. Private buffers cannot be given bytes: they are made by length.
  virtual std::shared_ptr<MTLBuffer> newBufferWithBytes(const void* bytes, size_t length, uint32_t options) = 0;

  /// A zero-filled buffer; null for no length, or when memory is short.
  virtual std::shared_ptr<MTLBuffer> newBufferWithLength(size_t length, uint32_t options) = 0;

  /// A zero-filled texture. Null for an unknown format, a usage that the format does not allow, a side that is 0 or
  /// above the device's limit, or when memory is short.
  virtual std::shared_ptr<MTLTexture> newTextureWithDescriptor(const MTLTextureDescriptor& descriptor) = 0;

  virtual std::shared_ptr<MTLCommandQueue> newCommandQueue() = 0;

  /// The largest side of a texture in pixels.
  virtual size_t maximumTextureSize() const = 0;

  /// The library's own: what stands behind `CVMetalTextureCache::create`, and behind a layer's drawables of one size,
  /// which show in `contents`. Null when the device has none.
  virtual std::shared_ptr<CVMetalTextureCache> _newTextureCache() = 0;
  virtual std::shared_ptr<ZELPlatform::DrawableRing> _newDrawableRing(
      const std::shared_ptr<ZELPlatform::LayerContents>& contents, MTLPixelFormat pixelFormat, size_t width,
      size_t height) = 0;
};

/// The process's GPU; null when there is none that can be used. The same one each time, unless it was lost. Opened on
/// first use, which may take tens of milliseconds. Any thread.
ZELPLATFORM_EXPORT std::shared_ptr<MTLDevice> MTLCreateSystemDefaultDevice();

/// Why there is no GPU, as one sentence; empty when there is one. Any thread; opens it on first use.
ZELPLATFORM_EXPORT std::string MTLUnavailableReason();
