#pragma once

#include "drivers/vulkan/Functions.h"
#include "drivers/vulkan/Instance.h"

#include <ZELPlatform/MTLTypes.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

namespace ZELPlatform::vulkan {

class Layouts;
class Transfer;

/// What a GPU can do. Tests take capabilities away while nothing else uses the GPU.
struct Capabilities {
  std::string name;
  bool software = false;
  size_t maximumTextureSize = 0;
  size_t maximumGroups = 0;
  /// Memory of the program can be used as a texture, if it begins at a multiple of the alignment.
  bool hostImport = false;
  size_t hostPointerAlignment = 0;
  /// Windows can be drawn on.
  bool windows = false;
  /// Compute functions write textures of one or two channels.
  bool smallStorageFormats = false;
};

/// A Vulkan device with its one queue, and what everything that is made with it shares. Any thread.
class Gpu : public std::enable_shared_from_this<Gpu> {
 public:
  /// The best device of the instance; null, with one sentence in `error`, when none will do.
  static std::shared_ptr<Gpu> create(std::shared_ptr<Instance> instance, const Settings& settings, std::string* error);
  ~Gpu();

  VkDevice device() const { return device_; }
  VkPhysicalDevice physicalDevice() const { return physicalDevice_; }
  const Instance& instance() const { return *instance_; }
  const InstanceFunctions& instanceFunctions() const { return instance_->functions(); }
  const DeviceFunctions& functions() const { return functions_; }
  uint32_t queueFamily() const { return queueFamily_; }

  const Capabilities& capabilities() const { return capabilities_; }
  Capabilities& replaceableCapabilities() { return capabilities_; }

  /// Pipeline layouts, render passes and the pipeline cache.
  Layouts& layouts() const { return *layouts_; }

  /// Copies between memory and images.
  Transfer& transfer() const { return *transfer_; }

  /// Hands work to the queue; `fence` tells its end.
  VkResult submit(const VkSubmitInfo& work, VkFence fence);

  /// Hands a picture to a window.
  VkResult present(const VkPresentInfoKHR& picture);

  /// Waits until the GPU is done with what the fence stands for; false when the work was lost. A GPU that does not come
  /// to an end within a minute counts as lost, too.
  bool wait(VkFence fence);

  /// Waits until the GPU has nothing to do.
  void waitUntilIdle();

  /// Whether the call succeeded; notes a lost device.
  bool succeeded(VkResult result);

  /// A lost device does nothing any more.
  bool isLost() const { return lost_.load(std::memory_order_relaxed); }

  /// The best of the types in `typeBits` that has all of `needed`, and `wished` if there is one; -1 without any.
  int memoryType(uint32_t typeBits, VkMemoryPropertyFlags needed, VkMemoryPropertyFlags wished) const;

  VkFormatFeatureFlags optimalFeatures(VkFormat format) const;

  Gpu(const Gpu&) = delete;
  Gpu& operator=(const Gpu&) = delete;

 private:
  explicit Gpu(std::shared_ptr<Instance> instance);
  bool choose(bool softwareToo);
  bool examine(VkPhysicalDevice candidate);
  bool open(const Settings& settings, std::string* error);

  std::shared_ptr<Instance> instance_;
  VkPhysicalDevice physicalDevice_ = VK_NULL_HANDLE;
  uint32_t queueFamily_ = 0;
  VkPhysicalDeviceMemoryProperties memory_{};
  VkDevice device_ = VK_NULL_HANDLE;
  VkQueue queue_ = VK_NULL_HANDLE;
  DeviceFunctions functions_;
  Capabilities capabilities_;
  std::atomic<bool> lost_{false};
  std::atomic<bool> hangs_{false};
  std::mutex queueMutex_;
  std::unique_ptr<Layouts> layouts_;
  std::unique_ptr<Transfer> transfer_;
};

/// The Vulkan format of a pixel format; `VK_FORMAT_UNDEFINED` for an unknown one.
VkFormat vulkanFormat(MTLPixelFormat format);

/// 0 for an unknown format.
size_t bytesPerPixel(MTLPixelFormat format);

}  // namespace ZELPlatform::vulkan
