#pragma once

#include "drivers/vulkan/Handle.h"

#include <array>
#include <map>
#include <memory>
#include <mutex>
#include <tuple>

namespace ZELPlatform::vulkan {

/// Where a function finds what it is given, as `MTLLibrary` says: numbers of bindings in set 0.
inline constexpr uint32_t kSampledBindings = 8;
inline constexpr uint32_t kFirstStorageTexture = 8;
inline constexpr uint32_t kStorageTextures = 4;
inline constexpr uint32_t kFirstStorageBuffer = 16;
inline constexpr uint32_t kStorageBuffers = 4;
inline constexpr uint32_t kInlineBytes = 128;

/// The bindings that functions of a kind may use, as bits.
inline constexpr uint32_t kRenderBindings = (1U << kSampledBindings) - 1;
inline constexpr uint32_t kComputeBindings = kRenderBindings |
                                             (((1U << kStorageTextures) - 1) << kFirstStorageTexture) |
                                             (((1U << kStorageBuffers) - 1) << kFirstStorageBuffer);

enum class PipelineKind { Render, Compute };

/// What all pipelines of a GPU share: one layout for drawing and one for computing, render passes, the sampler and the
/// pipeline cache. Any thread.
class Layouts {
 public:
  /// Null when memory is short.
  static std::unique_ptr<Layouts> create(Gpu& gpu);

  VkPipelineLayout pipelineLayout(PipelineKind kind) const { return of(kind).pipeline.get(); }
  VkDescriptorSetLayout setLayout(PipelineKind kind) const { return of(kind).set.get(); }
  VkPipelineCache pipelineCache() const { return cache_.get(); }

  /// A pass over one image that rests in `home` between passes; null when memory is short. All passes of one format go
  /// with the same pipelines and framebuffers.
  VkRenderPass renderPass(VkFormat format, bool keepsPixels, VkImageLayout home);

 private:
  struct Pair {
    SetLayoutHandle set;
    PipelineLayoutHandle pipeline;
  };

  explicit Layouts(Gpu& gpu) : gpu_(gpu) {}
  const Pair& of(PipelineKind kind) const { return kind == PipelineKind::Render ? render_ : compute_; }
  bool makeSampler();
  bool makePair(Pair* pair, uint32_t bindings, VkShaderStageFlags bindingStages, VkShaderStageFlags inlineStages);

  Gpu& gpu_;
  SamplerHandle sampler_;
  Pair render_;
  Pair compute_;
  PipelineCacheHandle cache_;
  std::mutex mutex_;
  std::map<std::tuple<VkFormat, bool, VkImageLayout>, RenderPassHandle> passes_;
};

}  // namespace ZELPlatform::vulkan
