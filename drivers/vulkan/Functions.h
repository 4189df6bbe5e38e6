#pragma once

#define VK_NO_PROTOTYPES
#include <vulkan/vulkan_core.h>

#include <string>

namespace ZELPlatform::vulkan {

// The functions that the driver uses, by the name under which the loader knows them.
#define ZEL_VULKAN_GLOBAL_FUNCTIONS(X)      \
  X(vkCreateInstance)                       \
  X(vkEnumerateInstanceExtensionProperties) \
  X(vkEnumerateInstanceLayerProperties)     \
  X(vkEnumerateInstanceVersion)

#define ZEL_VULKAN_INSTANCE_FUNCTIONS(X)       \
  X(vkCreateDevice)                            \
  X(vkDestroyInstance)                         \
  X(vkEnumerateDeviceExtensionProperties)      \
  X(vkEnumeratePhysicalDevices)                \
  X(vkGetDeviceProcAddr)                       \
  X(vkGetPhysicalDeviceFeatures)               \
  X(vkGetPhysicalDeviceFormatProperties)       \
  X(vkGetPhysicalDeviceImageFormatProperties2) \
  X(vkGetPhysicalDeviceMemoryProperties)       \
  X(vkGetPhysicalDeviceProperties2)            \
  X(vkGetPhysicalDeviceQueueFamilyProperties)

// Present only with an extension; null without it.
#define ZEL_VULKAN_OPTIONAL_INSTANCE_FUNCTIONS(X) \
  X(vkCreateDebugUtilsMessengerEXT)               \
  X(vkDestroyDebugUtilsMessengerEXT)              \
  X(vkDestroySurfaceKHR)                          \
  X(vkGetPhysicalDeviceSurfaceCapabilitiesKHR)    \
  X(vkGetPhysicalDeviceSurfaceFormatsKHR)         \
  X(vkGetPhysicalDeviceSurfacePresentModesKHR)    \
  X(vkGetPhysicalDeviceSurfaceSupportKHR)

#define ZEL_VULKAN_DEVICE_FUNCTIONS(X) \
  X(vkAllocateCommandBuffers)          \
  X(vkAllocateDescriptorSets)          \
  X(vkAllocateMemory)                  \
  X(vkBeginCommandBuffer)              \
  X(vkBindBufferMemory)                \
  X(vkBindImageMemory)                 \
  X(vkCmdBeginRenderPass)              \
  X(vkCmdBindDescriptorSets)           \
  X(vkCmdBindIndexBuffer)              \
  X(vkCmdBindPipeline)                 \
  X(vkCmdBindVertexBuffers)            \
  X(vkCmdBlitImage)                    \
  X(vkCmdClearColorImage)              \
  X(vkCmdCopyBufferToImage)            \
  X(vkCmdCopyImage)                    \
  X(vkCmdCopyImageToBuffer)            \
  X(vkCmdDispatch)                     \
  X(vkCmdDrawIndexed)                  \
  X(vkCmdEndRenderPass)                \
  X(vkCmdFillBuffer)                   \
  X(vkCmdPipelineBarrier)              \
  X(vkCmdPushConstants)                \
  X(vkCmdSetScissor)                   \
  X(vkCmdSetViewport)                  \
  X(vkCreateBuffer)                    \
  X(vkCreateCommandPool)               \
  X(vkCreateComputePipelines)          \
  X(vkCreateDescriptorPool)            \
  X(vkCreateDescriptorSetLayout)       \
  X(vkCreateFence)                     \
  X(vkCreateFramebuffer)               \
  X(vkCreateGraphicsPipelines)         \
  X(vkCreateImage)                     \
  X(vkCreateImageView)                 \
  X(vkCreatePipelineCache)             \
  X(vkCreatePipelineLayout)            \
  X(vkCreateRenderPass)                \
  X(vkCreateSampler)                   \
  X(vkCreateSemaphore)                 \
  X(vkCreateShaderModule)              \
  X(vkDestroyBuffer)                   \
  X(vkDestroyCommandPool)              \
  X(vkDestroyDescriptorPool)           \
  X(vkDestroyDescriptorSetLayout)      \
  X(vkDestroyDevice)                   \
  X(vkDestroyFence)                    \
  X(vkDestroyFramebuffer)              \
  X(vkDestroyImage)                    \
  X(vkDestroyImageView)                \
  X(vkDestroyPipeline)                 \
  X(vkDestroyPipelineCache)            \
  X(vkDestroyPipelineLayout)           \
  X(vkDestroyRenderPass)               \
  X(vkDestroySampler)                  \
  X(vkDestroySemaphore)                \
  X(vkDestroyShaderModule)             \
  X(vkDeviceWaitIdle)                  \
  X(vkEndCommandBuffer)                \
  X(vkFreeMemory)                      \
  X(vkGetBufferMemoryRequirements)     \
  X(vkGetDeviceQueue)                  \
  X(vkGetFenceStatus)                  \
  X(vkGetImageMemoryRequirements)      \
  X(vkGetImageSubresourceLayout)       \
  X(vkMapMemory)                       \
  X(vkQueueSubmit)                     \
  X(vkResetCommandPool)                \
  X(vkResetFences)                     \
  X(vkUpdateDescriptorSets)            \
  X(vkWaitForFences)

#define ZEL_VULKAN_OPTIONAL_DEVICE_FUNCTIONS(X) \
  X(vkAcquireNextImageKHR)                      \
  X(vkCreateSwapchainKHR)                       \
  X(vkDestroySwapchainKHR)                      \
  X(vkGetMemoryHostPointerPropertiesEXT)        \
  X(vkGetSwapchainImagesKHR)                    \
  X(vkQueuePresentKHR)

#define ZEL_VULKAN_MEMBER(name) PFN_##name name = nullptr;

/// What can be asked before there is an instance.
struct GlobalFunctions {
  PFN_vkGetInstanceProcAddr vkGetInstanceProcAddr = nullptr;
  ZEL_VULKAN_GLOBAL_FUNCTIONS(ZEL_VULKAN_MEMBER)

  /// Opens the loader, once for the process; false, with one sentence in `error`, when there is none of version 1.1.
  bool load(const std::string& library, std::string* error);
};

struct InstanceFunctions {
  ZEL_VULKAN_INSTANCE_FUNCTIONS(ZEL_VULKAN_MEMBER)
  ZEL_VULKAN_OPTIONAL_INSTANCE_FUNCTIONS(ZEL_VULKAN_MEMBER)

  bool load(const GlobalFunctions& global, VkInstance instance);
};

struct DeviceFunctions {
  ZEL_VULKAN_DEVICE_FUNCTIONS(ZEL_VULKAN_MEMBER)
  ZEL_VULKAN_OPTIONAL_DEVICE_FUNCTIONS(ZEL_VULKAN_MEMBER)

  bool load(const InstanceFunctions& instance, VkDevice device);
};

#undef ZEL_VULKAN_MEMBER

}  // namespace ZELPlatform::vulkan
