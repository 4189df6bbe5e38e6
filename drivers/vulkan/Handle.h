#pragma once

#include "drivers/vulkan/Gpu.h"
#include "platform/corevideo/Counters.h"

#include <utility>

namespace ZELPlatform::vulkan {

template <typename Function>
struct DestroyedType;

template <typename Object>
struct DestroyedType<void (*DeviceFunctions::*)(VkDevice, Object, const VkAllocationCallbacks*)> {
  using Type = Object;
};

/// A Vulkan object that goes with its owner, who also keeps the GPU and knows that the GPU is done with the object.
template <auto destroyFunction>
class Handle {
 public:
  using Object = typename DestroyedType<decltype(destroyFunction)>::Type;

  Handle() = default;
  Handle(Handle&& other) noexcept
      : gpu_(std::exchange(other.gpu_, nullptr)), object_(std::exchange(other.object_, Object{})) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(gpu_, other.gpu_);
    std::swap(object_, other.object_);
    return *this;
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { reset(); }

  /// Makes the object in place of the one before; false when the driver refuses.
  template <auto createFunction, typename Info>
  bool create(Gpu& gpu, const Info& info) {
    Object object{};
    const bool made = gpu.succeeded((gpu.functions().*createFunction)(gpu.device(), &info, nullptr, &object));
    return made && adopt(gpu, object);
  }

  /// Takes an object over, which is then destroyed as if it had been made here.
  bool adopt(Gpu& gpu, Object object) {
    reset();
    gpu_ = &gpu;
    object_ = object;
    ++pixelCounters().gpuObjectsMade;
    ++pixelCounters().gpuObjects;
    return true;
  }

  void reset() {
    if (!gpu_) return;
    (gpu_->functions().*destroyFunction)(gpu_->device(), object_, nullptr);
    --pixelCounters().gpuObjects;
    gpu_ = nullptr;
    object_ = Object{};
  }

  Object get() const { return object_; }
  explicit operator bool() const { return gpu_ != nullptr; }

 private:
  Gpu* gpu_ = nullptr;
  Object object_{};
};

using BufferHandle = Handle<&DeviceFunctions::vkDestroyBuffer>;
using CommandPoolHandle = Handle<&DeviceFunctions::vkDestroyCommandPool>;
using DescriptorPoolHandle = Handle<&DeviceFunctions::vkDestroyDescriptorPool>;
using FenceHandle = Handle<&DeviceFunctions::vkDestroyFence>;
using FramebufferHandle = Handle<&DeviceFunctions::vkDestroyFramebuffer>;
using ImageHandle = Handle<&DeviceFunctions::vkDestroyImage>;
using ImageViewHandle = Handle<&DeviceFunctions::vkDestroyImageView>;
using MemoryHandle = Handle<&DeviceFunctions::vkFreeMemory>;
using PipelineCacheHandle = Handle<&DeviceFunctions::vkDestroyPipelineCache>;
using PipelineHandle = Handle<&DeviceFunctions::vkDestroyPipeline>;
using PipelineLayoutHandle = Handle<&DeviceFunctions::vkDestroyPipelineLayout>;
using RenderPassHandle = Handle<&DeviceFunctions::vkDestroyRenderPass>;
using SamplerHandle = Handle<&DeviceFunctions::vkDestroySampler>;
using SemaphoreHandle = Handle<&DeviceFunctions::vkDestroySemaphore>;
using SetLayoutHandle = Handle<&DeviceFunctions::vkDestroyDescriptorSetLayout>;
using ShaderModuleHandle = Handle<&DeviceFunctions::vkDestroyShaderModule>;
using SwapchainHandle = Handle<&DeviceFunctions::vkDestroySwapchainKHR>;

}  // namespace ZELPlatform::vulkan
