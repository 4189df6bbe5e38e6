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
  /// Receives the instance's functions before the first is called: tests take devices or what they can do away.
  std::function<void(InstanceFunctions* functions)> changeInstanceFunctions;
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

  VkInstance handle() const { return handle_; }

  /// Whether windows can be drawn on, as far as the loader is concerned.
  bool hasSurfaces() const { return hasSurfaces_; }

  /// A function of an extension that only some window systems have; null without it.
  PFN_vkVoidFunction find(const char* name) const { return global_.vkGetInstanceProcAddr(handle_, name); }

  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

 private:
  Instance() = default;
  bool open(const Settings& settings, std::string* error);
  std::vector<const char*> chooseExtensions();
  bool watchValidation();

  GlobalFunctions global_;
  InstanceFunctions functions_;
  VkInstance handle_ = VK_NULL_HANDLE;
  bool hasSurfaces_ = false;
  VkDebugUtilsMessengerEXT messenger_ = VK_NULL_HANDLE;
  std::function<void(const std::string&)> onValidation_;
};

}  // namespace ZELPlatform::vulkan
