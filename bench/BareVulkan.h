#pragma once

#include "bench/BareRenderer.h"
#include "drivers/vulkan/Device.h"
#include "drivers/vulkan/Image.h"
#include "drivers/vulkan/Memory.h"
#include "drivers/vulkan/Pipeline.h"

#include <ZELKit/ZELProjectionType.h>
#include <ZELPlatform/CoreVideo.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace ZELBench {

/// The least that shows a frame with Vulkan: all objects and descriptor sets made beforehand, one command buffer, one
/// pass, one fence. It neither presents, nor compares, nor looks anything up, and uses the same device and pipeline.
///
/// Frames whose memory the driver takes are textures as they are; others are copied through one staging buffer. Main
/// thread.
class BareVulkan {
 public:
  /// For these frames and no others, which it holds. Null when Vulkan refuses.
  static std::unique_ptr<BareVulkan> create(const std::shared_ptr<MTLDevice>& device, ZELProjectionType projection,
                                            std::vector<CVPixelBufferRef> frames, CGRect rect, CGSize target);
  ~BareVulkan();

  /// Draws frame number `index`, as new content or as what was there already, and waits until the GPU has finished;
  /// returns how long that took, in milliseconds.
  double drawFrame(size_t index, bool newContent, const Camera& camera);

  /// Bytes that one new frame's copies move: 0 when it is a texture as it is.
  uint64_t bytesPerFrame() const;

  /// The picture, four bytes a pixel (red, green, blue, alpha), rows from the top.
  std::vector<uint8_t> readBack();

  BareVulkan(const BareVulkan&) = delete;
  BareVulkan& operator=(const BareVulkan&) = delete;

 private:
  /// A plane of one frame, and the set that it is bound with.
  struct Frame {
    CVPixelBufferRef buffer;
    std::vector<std::shared_ptr<ZELPlatform::vulkan::Image>> planes;
    VkDescriptorSet set = VK_NULL_HANDLE;
  };

  BareVulkan(std::shared_ptr<MTLDevice> device, CGRect rect, CGSize target);
  bool makeObjects(ZELProjectionType projection, size_t planeCount);
  bool makeCommands();
  bool addFrame(const CVPixelBufferRef& buffer);
  bool makeUploadPlanes(const CVPixelBuffer& buffer);
  void writeSet(const Frame& frame) const;
  void copyToStaging(const CVPixelBuffer& buffer);
  void recordUpload(const Frame& frame);
  void recordArrival(const Frame& frame);
  void recordDraw(const Frame& frame, const Camera& camera);

  std::shared_ptr<MTLDevice> device_;
  ZELPlatform::vulkan::Gpu& gpu_;
  CGRect rect_;
  CGSize targetSize_;
  std::shared_ptr<MTLRenderPipelineState> pipelineState_;
  VkPipeline pipeline_ = VK_NULL_HANDLE;
  std::shared_ptr<ZELPlatform::vulkan::Image> target_;
  ZELPlatform::vulkan::BufferMemory vertices_;
  ZELPlatform::vulkan::BufferMemory indices_;
  ZELPlatform::vulkan::BufferMemory staging_;
  ZELPlatform::vulkan::DescriptorPoolHandle descriptors_;
  ZELPlatform::vulkan::CommandPoolHandle pool_;
  VkCommandBuffer commands_ = VK_NULL_HANDLE;
  ZELPlatform::vulkan::FenceHandle fence_;
  std::vector<Frame> frames_;
  /// Shared by all frames that are copied; empty when they are textures as they are.
  std::vector<std::shared_ptr<ZELPlatform::vulkan::Image>> uploaded_;
};

}  // namespace ZELBench
