#pragma once

#include "drivers/vulkan/Handle.h"
#include "drivers/vulkan/WindowSurface.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace ZELPlatform::vulkan {

/// The images of a window that take turns on the display. Belongs to the compositor's thread.
class Swapchain {
 public:
  Swapchain(std::shared_ptr<Gpu> gpu, WindowSurface& window) : gpu_(std::move(gpu)), window_(window) {}
  ~Swapchain();

  const std::shared_ptr<Gpu>& gpu() const { return gpu_; }

  /// Takes the next image to copy a picture of the scene's size into, making all anew where the window changed. False
  /// when the driver refuses.
  bool acquire(int sceneWidth, int sceneHeight);

  /// What was acquired; its size is nothing while the window has none, and there is no image then.
  VkImage image() const { return images_[index_].image; }
  VkExtent2D extent() const { return extent_; }
  VkFormat format() const { return format_; }
  VkSemaphore acquired() const { return acquired_.get(); }
  /// To be signalled by the work that fills the image.
  VkSemaphore filled() const { return images_[index_].filled.get(); }

  /// Shows the acquired image. `VK_ERROR_OUT_OF_DATE_KHR` when the window changed under it.
  VkResult present();

  Swapchain(const Swapchain&) = delete;
  Swapchain& operator=(const Swapchain&) = delete;

 private:
  struct Entry {
    VkImage image = VK_NULL_HANDLE;
    SemaphoreHandle filled;
  };

  bool makeSurface();
  bool make(int sceneWidth, int sceneHeight);
  bool chooseFormat();
  VkPresentModeKHR choosePresentMode() const;
  bool takeImages();
  void dropSurface();

  std::shared_ptr<Gpu> gpu_;
  WindowSurface& window_;
  VkSurfaceKHR surface_ = VK_NULL_HANDLE;
  SwapchainHandle swapchain_;
  VkFormat format_ = VK_FORMAT_UNDEFINED;
  VkExtent2D extent_{};
  SemaphoreHandle acquired_;
  std::vector<Entry> images_;
  uint32_t index_ = 0;
  /// For which scene it was made, and whether the window changed since.
  int sceneWidth_ = 0;
  int sceneHeight_ = 0;
  bool stale_ = true;
};

}  // namespace ZELPlatform::vulkan
