#pragma once

#include <ZELPlatform/Export.h>
#include <ZELPlatform/MTLTypes.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>

/// One compiled function of a library. Any thread.
class ZELPLATFORM_EXPORT MTLFunction {
 public:
  virtual ~MTLFunction() = default;
  virtual std::string name() const = 0;
};

/// The functions of one library file. Any thread. They serve every device, also the one that follows a lost one.
///
/// A function finds what it is given by number. In a vertex or fragment function the texture of index i is the sampler
/// at binding i of set 0 (0 to 7), filtered linearly and clamped to the edge. In a compute function the texture of
/// index i is that too (0 to 7) for reading, and the image at binding 8 + i (0 to 3) for writing; the buffer of index i
/// is the storage buffer at binding 16 + i (0 to 3). Inline bytes, whatever their index, are the push constants. A
/// vertex attribute's number is its location. Clip space has y upwards.
class ZELPLATFORM_EXPORT MTLLibrary {
 public:
  virtual ~MTLLibrary() = default;

  /// Null when the library has no function of that name.
  virtual std::shared_ptr<MTLFunction> newFunctionWithName(const std::string& name) = 0;
};

struct MTLVertexAttributeDescriptor {
  MTLVertexFormat format = MTLVertexFormatInvalid;
  size_t offset = 0;
  size_t bufferIndex = 0;
};

struct MTLVertexBufferLayoutDescriptor {
  size_t stride = 0;
  MTLVertexStepFunction stepFunction = MTLVertexStepFunctionPerVertex;
};

/// How vertices lie in buffers. Attributes of an invalid format are not used.
struct MTLVertexDescriptor {
  std::array<MTLVertexAttributeDescriptor, 4> attributes{};
  std::array<MTLVertexBufferLayoutDescriptor, 4> layouts{};
};

struct MTLRenderPipelineColorAttachmentDescriptor {
  MTLPixelFormat pixelFormat = MTLPixelFormatInvalid;
};

/// Everything that a render pipeline is made of. No blending, no depth.
struct MTLRenderPipelineDescriptor {
  std::shared_ptr<MTLFunction> vertexFunction;
  std::shared_ptr<MTLFunction> fragmentFunction;
  MTLVertexDescriptor vertexDescriptor;
  std::array<MTLRenderPipelineColorAttachmentDescriptor, 1> colorAttachments{};
};

/// A vertex and a fragment function, compiled for a kind of target. Any thread.
class ZELPLATFORM_EXPORT MTLRenderPipelineState {
 public:
  virtual ~MTLRenderPipelineState() = default;
};

/// A compiled compute function. Any thread.
class ZELPLATFORM_EXPORT MTLComputePipelineState {
 public:
  virtual ~MTLComputePipelineState() = default;

  /// The group size that the function was written for, the only one that it can be dispatched with.
  virtual MTLSize threadsPerThreadgroup() const = 0;
};
