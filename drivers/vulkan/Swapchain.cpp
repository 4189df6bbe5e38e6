#include "drivers/vulkan/Swapchain.h"

#include <algorithm>
#include <array>
#include <utility>

namespace ZELPlatform::vulkan {
namespace {

/// A window that gives no image for so long is drawn on by other means.
constexpr uint64_t kLongestWaitNanoseconds = 1'000'000'000;
/// What the window system leaves the size of a surface to us with.
constexpr uint32_t kAnyExtent = 0xFFFFFFFF;
constexpr int kAttempts = 3;

}  // namespace

Swapchain::~Swapchain() { dropSurface(); }

void Swapchain::dropSurface() {
  // Nobody says when the display is done with the semaphores and images.
  gpu_->waitUntilIdle();
  images_.clear();
  acquired_.reset();
  swapchain_.reset();
  if (surface_) gpu_->instanceFunctions().vkDestroySurfaceKHR(gpu_->instance().handle(), surface_, nullptr);
  surface_ = VK_NULL_HANDLE;
  stale_ = true;
}

bool Swapchain::makeSurface() {
  surface_ = window_.makeSurface(gpu_->instance());
  VkBool32 supported = VK_FALSE;
  return surface_ &&
         gpu_->instanceFunctions().vkGetPhysicalDeviceSurfaceSupportKHR(gpu_->physicalDevice(), gpu_->queueFamily(),
                                                                        surface_, &supported) == VK_SUCCESS &&
         supported == VK_TRUE && chooseFormat();
}

bool Swapchain::chooseFormat() {
  uint32_t count = 0;
  const InstanceFunctions& vk = gpu_->instanceFunctions();
  vk.vkGetPhysicalDeviceSurfaceFormatsKHR(gpu_->physicalDevice(), surface_, &count, nullptr);
  std::vector<VkSurfaceFormatKHR> formats(count);
  vk.vkGetPhysicalDeviceSurfaceFormatsKHR(gpu_->physicalDevice(), surface_, &count, formats.data());
  for (const VkFormat wished : {VK_FORMAT_B8G8R8A8_UNORM, VK_FORMAT_R8G8B8A8_UNORM}) {
    const bool found = std::any_of(formats.begin(), formats.end(), [wished](const VkSurfaceFormatKHR& each) {
      return each.format == wished && each.colorSpace == VK_COLOR_SPACE_SRGB_NONLINEAR_KHR;
    });
    if (found) {
      format_ = wished;
      return true;
    }
  }
  return false;
}

VkPresentModeKHR Swapchain::choosePresentMode() const {
  uint32_t count = 0;
  const InstanceFunctions& vk = gpu_->instanceFunctions();
  vk.vkGetPhysicalDeviceSurfacePresentModesKHR(gpu_->physicalDevice(), surface_, &count, nullptr);
  std::vector<VkPresentModeKHR> modes(count);
  vk.vkGetPhysicalDeviceSurfacePresentModesKHR(gpu_->physicalDevice(), surface_, &count, modes.data());
  const VkPresentModeKHR wished = window_.wishedPresentMode(gpu_->capabilities().software);
  const bool found = std::find(modes.begin(), modes.end(), wished) != modes.end();
  return found ? wished : VK_PRESENT_MODE_FIFO_KHR;
}

bool Swapchain::make(int sceneWidth, int sceneHeight) {
  if (!surface_ && !makeSurface()) return false;
  VkSurfaceCapabilitiesKHR surface{};
  if (gpu_->instanceFunctions().vkGetPhysicalDeviceSurfaceCapabilitiesKHR(gpu_->physicalDevice(), surface_, &surface) !=
          VK_SUCCESS ||
      (surface.supportedUsageFlags & VK_IMAGE_USAGE_TRANSFER_DST_BIT) == 0) {
    return false;
  }
  extent_ = surface.currentExtent;
  if (extent_.width == kAnyExtent) {
    extent_ = {static_cast<uint32_t>(sceneWidth), static_cast<uint32_t>(sceneHeight)};
  }
  sceneWidth_ = sceneWidth;
  sceneHeight_ = sceneHeight;
  if (extent_.width == 0 || extent_.height == 0) return true;
  const uint32_t most = surface.maxImageCount > 0 ? surface.maxImageCount : surface.minImageCount + 1;
  const bool canBeOpaque = (surface.supportedCompositeAlpha & VK_COMPOSITE_ALPHA_OPAQUE_BIT_KHR) != 0;
  VkSwapchainCreateInfoKHR info{};
  info.sType = VK_STRUCTURE_TYPE_SWAPCHAIN_CREATE_INFO_KHR;
  info.surface = surface_;
  info.minImageCount = std::min(surface.minImageCount + 1, most);
  info.imageFormat = format_;
  info.imageColorSpace = VK_COLOR_SPACE_SRGB_NONLINEAR_KHR;
  info.imageExtent = extent_;
  info.imageArrayLayers = 1;
  info.imageUsage = VK_IMAGE_USAGE_TRANSFER_DST_BIT;
  info.imageSharingMode = VK_SHARING_MODE_EXCLUSIVE;
  info.preTransform = surface.currentTransform;
  info.compositeAlpha = canBeOpaque ? VK_COMPOSITE_ALPHA_OPAQUE_BIT_KHR : VK_COMPOSITE_ALPHA_INHERIT_BIT_KHR;
  info.presentMode = choosePresentMode();
  info.clipped = VK_TRUE;
  info.oldSwapchain = swapchain_.get();
  gpu_->waitUntilIdle();
  SwapchainHandle made;
  if (!made.create<&DeviceFunctions::vkCreateSwapchainKHR>(*gpu_, info)) return false;
  images_.clear();
  swapchain_ = std::move(made);
  stale_ = !takeImages();
  return !stale_;
}

bool Swapchain::takeImages() {
  const DeviceFunctions& vk = gpu_->functions();
  uint32_t count = 0;
  vk.vkGetSwapchainImagesKHR(gpu_->device(), swapchain_.get(), &count, nullptr);
  std::vector<VkImage> images(count);
  if (!gpu_->succeeded(vk.vkGetSwapchainImagesKHR(gpu_->device(), swapchain_.get(), &count, images.data()))) {
    return false;
  }
  VkSemaphoreCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_SEMAPHORE_CREATE_INFO;
  for (VkImage image : images) {
    Entry& entry = images_.emplace_back();
    entry.image = image;
    if (!entry.filled.create<&DeviceFunctions::vkCreateSemaphore>(*gpu_, info)) return false;
  }
  return acquired_.create<&DeviceFunctions::vkCreateSemaphore>(*gpu_, info);
}

bool Swapchain::acquire(int sceneWidth, int sceneHeight) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const bool fits = !stale_ && sceneWidth == sceneWidth_ && sceneHeight == sceneHeight_;
    if (!fits && !make(sceneWidth, sceneHeight)) return false;
    if (extent_.width == 0 || extent_.height == 0) return true;
    const VkResult result = gpu_->functions().vkAcquireNextImageKHR(
        gpu_->device(), swapchain_.get(), kLongestWaitNanoseconds, acquired_.get(), VK_NULL_HANDLE, &index_);
    if (result == VK_SUCCESS) return true;
    // Shown as it is; the next one is made to fit.
    stale_ = true;
    if (result == VK_SUBOPTIMAL_KHR) return true;
    if (result == VK_ERROR_SURFACE_LOST_KHR) {
      dropSurface();
    } else if (result != VK_ERROR_OUT_OF_DATE_KHR) {
      return gpu_->succeeded(result);
    }
  }
  return false;
}

VkResult Swapchain::present() {
  const VkSemaphore semaphore = filled();
  const VkSwapchainKHR swapchain = swapchain_.get();
  VkPresentInfoKHR info{};
  info.sType = VK_STRUCTURE_TYPE_PRESENT_INFO_KHR;
  info.waitSemaphoreCount = 1;
  info.pWaitSemaphores = &semaphore;
  info.swapchainCount = 1;
  info.pSwapchains = &swapchain;
  info.pImageIndices = &index_;
  const VkResult result = gpu_->present(info);
  if (result != VK_SUCCESS) stale_ = true;
  if (result != VK_ERROR_SURFACE_LOST_KHR) return result;
  dropSurface();
  return VK_ERROR_OUT_OF_DATE_KHR;
}

}  // namespace ZELPlatform::vulkan
