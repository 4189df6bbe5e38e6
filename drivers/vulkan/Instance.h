#pragma once

#include "drivers/vulkan/Functions.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ZELPlatform::vulkan {

/// How the driver is opened; the defaults are what programs get.
struct Settings {
  std::string loader = "libvulkan.so.1";
  /// Whether a processor's Vulkan may be chosen.
  bool softwareToo = true;
  /// Switches the validation layer on, with synchronisation checks, and receives what it finds, on any thread. Then
  /// creation fails where the layer is not installed.
  std::function<void(const std::string& message)> onValidation;
  /// Receives the device's functions before the first is called: tests put failing ones in their place.
  std::function<void(DeviceFunctions* functions)> changeFunctions;
};

/// A connection to the Vulkan drivers of the machine.
class Instance {
 public:
  /// Null, with one sentence in `error`, when there is no loader of version 1.1 or it refuses.
  static std::shared_ptr<Instance> create(const Settings& settings, std::string* error);
  ~Instance();

  const InstanceFunctions& functions() const { return functions_; }
  std::vector<VkPhysicalDevice> physicalDevices() const;

  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

 private:
  Instance() = default;
  bool open(const Settings& settings, std::string* error);
  bool watchValidation();

  GlobalFunctions global_;
  InstanceFunctions functions_;
  VkInstance handle_ = VK_NULL_HANDLE;
  VkDebugUtilsMessengerEXT messenger_ = VK_NULL_HANDLE;
  std::function<void(const std::string&)> onValidation_;
};

}  // namespace ZELPlatform::vulkan
