#include "Faults.h"

#include "MetalSupport.h"

#include <string>
#include <type_traits>

namespace metaltest {

Faults faults;

namespace {

using ZELPlatform::vulkan::DeviceFunctions;

template <auto member, typename Function>
struct Failing;

/// A function that fails when its turn comes. The original is called first where the GPU must be waited for.
template <auto member, typename... Arguments>
struct Failing<member, VkResult (*DeviceFunctions::*)(Arguments...)> {
  static inline VkResult (*original)(Arguments...) = nullptr;

  static VkResult call(Arguments... arguments) {
    const bool due = faults.isDue();
    constexpr bool kWaits = std::is_same_v<decltype(original), PFN_vkWaitForFences>;
    if (due && !kWaits) return faults.result;
    const VkResult result = original(arguments...);
    return due ? faults.result : result;
  }
};

template <auto... members>
void replace(DeviceFunctions* functions) {
  const auto one = [functions]<auto member>() {
    using Replacement = Failing<member, decltype(member)>;
    Replacement::original = functions->*member;
    functions->*member = &Replacement::call;
  };
  (one.template operator()<members>(), ...);
}

void putFaultsIn(DeviceFunctions* functions) {
  using F = DeviceFunctions;
  replace<&F::vkAllocateCommandBuffers, &F::vkAllocateDescriptorSets, &F::vkAllocateMemory, &F::vkBeginCommandBuffer,
          &F::vkBindBufferMemory, &F::vkBindImageMemory, &F::vkCreateBuffer, &F::vkCreateCommandPool,
          &F::vkCreateDescriptorPool, &F::vkCreateDescriptorSetLayout, &F::vkCreateFence, &F::vkCreateFramebuffer,
          &F::vkCreateImage, &F::vkCreateImageView, &F::vkCreatePipelineCache, &F::vkCreatePipelineLayout,
          &F::vkCreateRenderPass, &F::vkCreateSampler, &F::vkCreateShaderModule, &F::vkCreateGraphicsPipelines,
          &F::vkCreateComputePipelines, &F::vkEndCommandBuffer, &F::vkMapMemory, &F::vkQueueSubmit,
          &F::vkResetCommandPool, &F::vkResetFences, &F::vkWaitForFences, &F::vkGetMemoryHostPointerPropertiesEXT>(
      functions);
}

}  // namespace

std::shared_ptr<Device> faultyDevice() {
  Settings settings = faults.result == VK_ERROR_DEVICE_LOST ? Settings{} : validatedSettings();
  settings.changeFunctions = putFaultsIn;
  std::string error;
  return Device::create(settings, &error);
}

}  // namespace metaltest
