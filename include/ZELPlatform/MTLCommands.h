#pragma once

#include <ZELPlatform/Export.h>
#include <ZELPlatform/MTLPipeline.h>
#include <ZELPlatform/MTLResource.h>
#include <ZELPlatform/MTLTypes.h>

#include <array>
#include <cstddef>
#include <functional>
#include <memory>

class CAMetalDrawable;

struct MTLRenderPassColorAttachmentDescriptor {
  std::shared_ptr<MTLTexture> texture;
  MTLLoadAction loadAction = MTLLoadActionDontCare;
  MTLStoreAction storeAction = MTLStoreActionStore;
  MTLClearColor clearColor;
};

struct MTLRenderPassDescriptor {
  std::array<MTLRenderPassColorAttachmentDescriptor, 1> colorAttachments{};

  static MTLRenderPassDescriptor renderPassDescriptor() { return {}; }
};

/// Records the draws of one pass. Belongs to the thread that records; nothing is drawn before the commit.
///
/// What is set stays set for later draws. A null object takes back what was set; a draw that lacks its pipeline, its
/// vertices, its indices or a texture that its function declares is left out.
class ZELPLATFORM_EXPORT MTLRenderCommandEncoder {
 public:
  virtual ~MTLRenderCommandEncoder() = default;

  virtual void setRenderPipelineState(const std::shared_ptr<MTLRenderPipelineState>& pipelineState) = 0;
  virtual void setCullMode(MTLCullMode cullMode) = 0;
  virtual void setVertexBuffer(const std::shared_ptr<MTLBuffer>& buffer, size_t offset, size_t index) = 0;

  /// Copies up to 128 bytes for the next draws. A draw's two functions read the same bytes: one whose functions were
  /// given different ones is left out.
  virtual void setVertexBytes(const void* bytes, size_t length, size_t index) = 0;
  virtual void setFragmentBytes(const void* bytes, size_t length, size_t index) = 0;

  virtual void setFragmentTexture(const std::shared_ptr<MTLTexture>& texture, size_t index) = 0;

  virtual void drawIndexedPrimitives(MTLPrimitiveType primitiveType, size_t indexCount, MTLIndexType indexType,
                                     const std::shared_ptr<MTLBuffer>& indexBuffer, size_t indexBufferOffset) = 0;

  /// Ends the pass. Without it, the encoder's end does.
  virtual void endEncoding() = 0;
};

/// Records the dispatches of compute functions; each sees what the ones before it wrote. Belongs to the thread that
/// records.
class ZELPLATFORM_EXPORT MTLComputeCommandEncoder {
 public:
  virtual ~MTLComputeCommandEncoder() = default;

  virtual void setComputePipelineState(const std::shared_ptr<MTLComputePipelineState>& pipelineState) = 0;

  /// Textures are read where their usage has `ShaderRead` and written where it has `ShaderWrite`.
  virtual void setTexture(const std::shared_ptr<MTLTexture>& texture, size_t index) = 0;
  virtual void setBuffer(const std::shared_ptr<MTLBuffer>& buffer, size_t offset, size_t index) = 0;

  /// Copies up to 128 bytes for the next dispatches.
  virtual void setBytes(const void* bytes, size_t length, size_t index) = 0;

  /// Left out when there is no pipeline, a resource that the function declares is missing, a count is 0 or above the
  /// device's limit, or the group size is not the function's own.
  virtual void dispatchThreadgroups(MTLSize threadgroupsPerGrid, MTLSize threadsPerThreadgroup) = 0;

  virtual void endEncoding() = 0;
};

/// A list of work for the GPU, recorded once and committed once. Recording belongs to one thread at a time.
///
/// It keeps alive all that its work uses until the GPU is done. Work that the GPU cannot do (the device was lost,
/// memory is short) still ends: the handlers run and waiting returns.
class ZELPLATFORM_EXPORT MTLCommandBuffer {
 public:
  virtual ~MTLCommandBuffer() = default;

  /// Begins a pass; null when the texture is null or no render target, when another encoder has not ended, after the
  /// commit, or when the driver refuses.
  virtual std::shared_ptr<MTLRenderCommandEncoder> renderCommandEncoderWithDescriptor(
      const MTLRenderPassDescriptor& descriptor) = 0;

  /// Begins a run of compute work; null as above.
  virtual std::shared_ptr<MTLComputeCommandEncoder> computeCommandEncoder() = 0;

  /// Takes the buffer's place in its queue: buffers run in the order of their places, whenever they are committed.
  virtual void enqueue() = 0;

  /// Shows the drawable with the commit; whoever shows or reads it waits for the drawing.
  virtual void presentDrawable(const std::shared_ptr<CAMetalDrawable>& drawable) = 0;

  /// Adds a function to be called once, on the queue's completion thread, after the buffer's work has ended and after
  /// all handlers of earlier buffers of the queue. Ignored after the commit.
  virtual void addCompletedHandler(std::function<void()> handler) = 0;

  /// Hands the work over, taking a place in the queue if that has not been done. Does not wait. Once.
  virtual void commit() = 0;

  /// Blocks until the work has ended and its handlers were called; returns at once when it was not committed, and, on
  /// the completion thread, where it can never end.
  virtual void waitUntilCompleted() = 0;

  /// Any thread.
  virtual MTLCommandBufferStatus status() const = 0;
};

/// Where command buffers come from, and the order in which they run. Any thread.
class ZELPLATFORM_EXPORT MTLCommandQueue {
 public:
  virtual ~MTLCommandQueue() = default;

  /// A new command buffer; null when the driver refuses. Waits while 64 buffers of the queue have not ended.
  virtual std::shared_ptr<MTLCommandBuffer> commandBuffer() = 0;
};
