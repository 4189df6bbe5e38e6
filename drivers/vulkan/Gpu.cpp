#include "drivers/vulkan/Gpu.h"

#include "drivers/vulkan/Layouts.h"
#include "drivers/vulkan/Transfer.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace ZELPlatform::vulkan {
namespace {

constexpr uint64_t kLongestWaitNanoseconds = 60'000'000'000;
/// The driver may be short of memory for a moment even to wait.
constexpr int kWaitAttempts = 3;

bool hasExtension(const InstanceFunctions& vk, VkPhysicalDevice device, const char* name) {
  uint32_t count = 0;
  vk.vkEnumerateDeviceExtensionProperties(device, nullptr, &count, nullptr);
  std::vector<VkExtensionProperties> extensions(count);
  vk.vkEnumerateDeviceExtensionProperties(device, nullptr, &count, extensions.data());
  return std::any_of(extensions.begin(), extensions.end(), [name](const VkExtensionProperties& extension) {
    return std::strcmp(static_cast<const char*>(extension.extensionName), name) == 0;
  });
}

/// A family that draws and computes, which also copies; -1 without one.
int findQueueFamily(const InstanceFunctions& vk, VkPhysicalDevice device) {
  uint32_t count = 0;
  vk.vkGetPhysicalDeviceQueueFamilyProperties(device, &count, nullptr);
  std::vector<VkQueueFamilyProperties> families(count);
  vk.vkGetPhysicalDeviceQueueFamilyProperties(device, &count, families.data());
  constexpr VkQueueFlags kNeeded = VK_QUEUE_GRAPHICS_BIT | VK_QUEUE_COMPUTE_BIT;
  for (uint32_t i = 0; i < count; ++i) {
    if ((families[i].queueFlags & kNeeded) == kNeeded && families[i].queueCount > 0) return static_cast<int>(i);
  }
  return -1;
}

/// Whether the device has every format that the service promises, for what it promises.
bool hasFormats(const InstanceFunctions& vk, VkPhysicalDevice device) {
  constexpr VkFormatFeatureFlags kSampled =
      VK_FORMAT_FEATURE_SAMPLED_IMAGE_BIT | VK_FORMAT_FEATURE_SAMPLED_IMAGE_FILTER_LINEAR_BIT;
  constexpr std::pair<VkFormat, VkFormatFeatureFlags> kNeeded[] = {
      {VK_FORMAT_B8G8R8A8_UNORM, kSampled | VK_FORMAT_FEATURE_COLOR_ATTACHMENT_BIT},
      {VK_FORMAT_R8G8B8A8_UNORM, kSampled},
      {VK_FORMAT_R8G8_UNORM, kSampled},
      {VK_FORMAT_R8_UNORM, kSampled},
  };
  return std::all_of(std::begin(kNeeded), std::end(kNeeded), [&](const auto& needed) {
    VkFormatProperties properties{};
    vk.vkGetPhysicalDeviceFormatProperties(device, needed.first, &properties);
    return (properties.optimalTilingFeatures & needed.second) == needed.second;
  });
}

}  // namespace

VkFormat vulkanFormat(MTLPixelFormat format) {
  switch (format) {
    case MTLPixelFormatR8Unorm:
      return VK_FORMAT_R8_UNORM;
    case MTLPixelFormatRG8Unorm:
      return VK_FORMAT_R8G8_UNORM;
    case MTLPixelFormatRGBA8Unorm:
      return VK_FORMAT_R8G8B8A8_UNORM;
    case MTLPixelFormatBGRA8Unorm:
      return VK_FORMAT_B8G8R8A8_UNORM;
    case MTLPixelFormatRGBA16Float:
      return VK_FORMAT_R16G16B16A16_SFLOAT;
    default:
      return VK_FORMAT_UNDEFINED;
  }
}

size_t bytesPerPixel(MTLPixelFormat format) {
  switch (format) {
    case MTLPixelFormatR8Unorm:
      return 1;
    case MTLPixelFormatRG8Unorm:
      return 2;
    case MTLPixelFormatRGBA8Unorm:
    case MTLPixelFormatBGRA8Unorm:
      return 4;
    case MTLPixelFormatRGBA16Float:
      return 8;
    default:
      return 0;
  }
}

std::shared_ptr<Gpu> Gpu::create(std::shared_ptr<Instance> instance, const Settings& settings, std::string* error) {
  std::shared_ptr<Gpu> gpu(new Gpu(std::move(instance)));
  if (!gpu->choose(settings.softwareToo)) {
    *error = settings.softwareToo ? "Vulkan is not available: no device has what is needed."
                                  : "Vulkan is not available: no GPU has what is needed.";
    return nullptr;
  }
  return gpu->open(settings, error) ? gpu : nullptr;
}

Gpu::Gpu(std::shared_ptr<Instance> instance) : instance_(std::move(instance)) {}

bool Gpu::choose(bool softwareToo) {
  // The loader lists the system's own choice first; a processor that draws comes last.
  VkPhysicalDevice softwareDevice = VK_NULL_HANDLE;
  for (VkPhysicalDevice candidate : instance_->physicalDevices()) {
    if (!examine(candidate)) continue;
    if (!capabilities_.software) return true;
    if (!softwareDevice) softwareDevice = candidate;
  }
  return softwareToo && softwareDevice && examine(softwareDevice);
}

bool Gpu::examine(VkPhysicalDevice candidate) {
  const InstanceFunctions& vk = instance_->functions();
  VkPhysicalDeviceExternalMemoryHostPropertiesEXT hostMemory{};
  hostMemory.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_EXTERNAL_MEMORY_HOST_PROPERTIES_EXT;
  VkPhysicalDeviceProperties2 properties{};
  properties.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_PROPERTIES_2;
  capabilities_.hostImport = hasExtension(vk, candidate, VK_EXT_EXTERNAL_MEMORY_HOST_EXTENSION_NAME);
  capabilities_.windows = instance_->hasSurfaces() && hasExtension(vk, candidate, VK_KHR_SWAPCHAIN_EXTENSION_NAME);
  if (capabilities_.hostImport) properties.pNext = &hostMemory;
  vk.vkGetPhysicalDeviceProperties2(candidate, &properties);
  const int family = findQueueFamily(vk, candidate);
  if (properties.properties.apiVersion < VK_API_VERSION_1_1 || family < 0 || !hasFormats(vk, candidate)) return false;
  VkPhysicalDeviceFeatures features{};
  vk.vkGetPhysicalDeviceFeatures(candidate, &features);
  physicalDevice_ = candidate;
  queueFamily_ = static_cast<uint32_t>(family);
  const VkPhysicalDeviceLimits& limits = properties.properties.limits;
  capabilities_.name = static_cast<const char*>(properties.properties.deviceName);
  capabilities_.software = properties.properties.deviceType == VK_PHYSICAL_DEVICE_TYPE_CPU;
  capabilities_.maximumTextureSize =
      std::min({limits.maxImageDimension2D, limits.maxFramebufferWidth, limits.maxFramebufferHeight});
  capabilities_.maximumGroups = std::min(
      {limits.maxComputeWorkGroupCount[0], limits.maxComputeWorkGroupCount[1], limits.maxComputeWorkGroupCount[2]});
  capabilities_.hostPointerAlignment = static_cast<size_t>(hostMemory.minImportedHostPointerAlignment);
  capabilities_.smallStorageFormats = features.shaderStorageImageExtendedFormats == VK_TRUE;
  return true;
}

bool Gpu::open(const Settings& settings, std::string* error) {
  const InstanceFunctions& vk = instance_->functions();
  const float priority = 1.0F;
  VkDeviceQueueCreateInfo queue{};
  queue.sType = VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO;
  queue.queueFamilyIndex = queueFamily_;
  queue.queueCount = 1;
  queue.pQueuePriorities = &priority;
  VkPhysicalDeviceFeatures features{};
  features.shaderStorageImageExtendedFormats = capabilities_.smallStorageFormats ? VK_TRUE : VK_FALSE;
  std::vector<const char*> extensions;
  if (capabilities_.hostImport) extensions.push_back(VK_EXT_EXTERNAL_MEMORY_HOST_EXTENSION_NAME);
  if (capabilities_.windows) extensions.push_back(VK_KHR_SWAPCHAIN_EXTENSION_NAME);
  VkDeviceCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO;
  info.queueCreateInfoCount = 1;
  info.pQueueCreateInfos = &queue;
  info.pEnabledFeatures = &features;
  info.enabledExtensionCount = static_cast<uint32_t>(extensions.size());
  info.ppEnabledExtensionNames = extensions.data();
  const VkResult result = vk.vkCreateDevice(physicalDevice_, &info, nullptr, &device_);
  if (result != VK_SUCCESS || !functions_.load(vk, device_)) {
    *error =
        "Vulkan is not available: " + capabilities_.name + " cannot be opened (error " + std::to_string(result) + ").";
    return false;
  }
  if (settings.changeFunctions) settings.changeFunctions(&functions_);
  capabilities_.hostImport = capabilities_.hostImport && functions_.vkGetMemoryHostPointerPropertiesEXT;
  vk.vkGetPhysicalDeviceMemoryProperties(physicalDevice_, &memory_);
  functions_.vkGetDeviceQueue(device_, queueFamily_, 0, &queue_);
  layouts_ = Layouts::create(*this);
  transfer_ = std::make_unique<Transfer>(*this);
  if (!layouts_) *error = "Vulkan is not available: " + capabilities_.name + " is out of memory.";
  return layouts_ != nullptr;
}

Gpu::~Gpu() {
  if (!device_) return;
  waitUntilIdle();
  transfer_.reset();
  layouts_.reset();
  if (functions_.vkDestroyDevice) functions_.vkDestroyDevice(device_, nullptr);
}

VkResult Gpu::submit(const VkSubmitInfo& work, VkFence fence) {
  if (isLost()) return VK_ERROR_DEVICE_LOST;
  const std::lock_guard lock(queueMutex_);
  const VkResult result = functions_.vkQueueSubmit(queue_, 1, &work, fence);
  succeeded(result);
  return result;
}

VkResult Gpu::present(const VkPresentInfoKHR& picture) {
  const std::lock_guard lock(queueMutex_);
  const VkResult result = functions_.vkQueuePresentKHR(queue_, &picture);
  succeeded(result);
  return result;
}

bool Gpu::wait(VkFence fence) {
  // Also of a lost device: its fences come to an end, and only then is its memory no longer touched.
  for (int attempt = 0; attempt < kWaitAttempts && !hangs_; ++attempt) {
    const VkResult result = functions_.vkWaitForFences(device_, 1, &fence, VK_TRUE, kLongestWaitNanoseconds);
    if (result == VK_SUCCESS) return true;
    if (result == VK_ERROR_DEVICE_LOST) return succeeded(result);
    if (result == VK_TIMEOUT) hangs_ = true;
  }
  return succeeded(VK_ERROR_DEVICE_LOST);
}

void Gpu::waitUntilIdle() {
  const std::lock_guard lock(queueMutex_);
  if (functions_.vkDeviceWaitIdle && !hangs_) functions_.vkDeviceWaitIdle(device_);
}

bool Gpu::succeeded(VkResult result) {
  if (result == VK_ERROR_DEVICE_LOST) lost_.store(true, std::memory_order_relaxed);
  return result == VK_SUCCESS;
}

int Gpu::memoryType(uint32_t typeBits, VkMemoryPropertyFlags needed, VkMemoryPropertyFlags wished) const {
  int found = -1;
  for (uint32_t i = 0; i < memory_.memoryTypeCount; ++i) {
    const VkMemoryPropertyFlags has = memory_.memoryTypes[i].propertyFlags;
    if ((typeBits & (1U << i)) == 0 || (has & needed) != needed) continue;
    if ((has & wished) == wished) return static_cast<int>(i);
    if (found < 0) found = static_cast<int>(i);
  }
  return found;
}

VkFormatFeatureFlags Gpu::optimalFeatures(VkFormat format) const {
  VkFormatProperties properties{};
  instanceFunctions().vkGetPhysicalDeviceFormatProperties(physicalDevice_, format, &properties);
  return properties.optimalTilingFeatures;
}

}  // namespace ZELPlatform::vulkan
