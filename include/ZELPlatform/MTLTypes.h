#pragma once

#include <cstddef>
#include <cstdint>

// The values are the published ones, so that a number in a debugger means what it means elsewhere.

enum MTLPixelFormat : uint32_t {
  MTLPixelFormatInvalid = 0,
  MTLPixelFormatR8Unorm = 10,
  MTLPixelFormatRG8Unorm = 30,
  MTLPixelFormatRGBA8Unorm = 70,
  MTLPixelFormatBGRA8Unorm = 80,
  MTLPixelFormatRGBA16Float = 115,
};

enum MTLVertexFormat : uint32_t {
  MTLVertexFormatInvalid = 0,
  MTLVertexFormatFloat2 = 29,
};

enum MTLVertexStepFunction : uint32_t { MTLVertexStepFunctionPerVertex = 1 };
enum MTLPrimitiveType : uint32_t { MTLPrimitiveTypeTriangle = 3 };
enum MTLIndexType : uint32_t { MTLIndexTypeUInt16 = 0 };
enum MTLCullMode : uint32_t { MTLCullModeNone = 0 };
enum MTLTextureType : uint32_t { MTLTextureType2D = 2 };

/// What a render pass does with its target's old pixels. With `DontCare` they are undefined, and nothing may depend on
/// them.
enum MTLLoadAction : uint32_t {
  MTLLoadActionDontCare = 0,
  MTLLoadActionLoad = 1,
  MTLLoadActionClear = 2,
};

enum MTLStoreAction : uint32_t {
  MTLStoreActionDontCare = 0,
  MTLStoreActionStore = 1,
};

/// Who reaches a resource's memory: the processor too, or the GPU alone.
enum MTLStorageMode : uint32_t {
  MTLStorageModeShared = 0,
  MTLStorageModePrivate = 2,
};

/// How a buffer is made; 0 is shared memory.
enum MTLResourceOptions : uint32_t {
  MTLResourceStorageModeShared = 0,
  MTLResourceStorageModePrivate = 32,
};

/// What shaders and passes may do with a texture; values are added.
enum MTLTextureUsage : uint32_t {
  MTLTextureUsageUnknown = 0,
  MTLTextureUsageShaderRead = 1,
  MTLTextureUsageShaderWrite = 2,
  MTLTextureUsageRenderTarget = 4,
};

enum MTLFeatureSet : uint32_t {
  /// Compute functions that write single-channel 8-bit textures, which super-resolution needs.
  MTLFeatureSet_iOS_GPUFamily2_v2 = 3,
};

/// How far a command buffer has come. `Error` is an end like `Completed`: handlers have run or will, and waiting
/// returns.
enum MTLCommandBufferStatus : uint32_t {
  MTLCommandBufferStatusNotEnqueued = 0,
  MTLCommandBufferStatusEnqueued = 1,
  MTLCommandBufferStatusCommitted = 2,
  MTLCommandBufferStatusScheduled = 3,
  MTLCommandBufferStatusCompleted = 4,
  MTLCommandBufferStatusError = 5,
};

struct MTLClearColor {
  double red = 0.0;
  double green = 0.0;
  double blue = 0.0;
  double alpha = 1.0;
};

struct MTLSize {
  size_t width = 1;
  size_t height = 1;
  size_t depth = 1;

  bool operator==(const MTLSize&) const = default;
};

inline MTLClearColor MTLClearColorMake(double red, double green, double blue, double alpha) {
  return {red, green, blue, alpha};
}

inline MTLSize MTLSizeMake(size_t width, size_t height, size_t depth) { return {width, height, depth}; }
