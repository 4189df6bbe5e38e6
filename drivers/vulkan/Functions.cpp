#include "drivers/vulkan/Functions.h"

#include <dlfcn.h>

namespace ZELPlatform::vulkan {

// Each step looks one function up and remembers whether it was there.
#define ZEL_VULKAN_LOOK_UP(name)                            \
  this->name = reinterpret_cast<PFN_##name>(lookUp(#name)); \
  complete = complete && this->name;
#define ZEL_VULKAN_LOOK_UP_OPTIONAL(name) this->name = reinterpret_cast<PFN_##name>(lookUp(#name));

bool GlobalFunctions::load(const std::string& library, std::string* error) {
  // Never closed: drivers leave threads and thread-local data behind that must find their code.
  void* loader = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!loader) {
    *error = "Vulkan is not available: its loader " + library + " is not installed.";
    return false;
  }
  vkGetInstanceProcAddr = reinterpret_cast<PFN_vkGetInstanceProcAddr>(dlsym(loader, "vkGetInstanceProcAddr"));
  bool complete = vkGetInstanceProcAddr != nullptr;
  if (complete) {
    const auto lookUp = [this](const char* name) { return vkGetInstanceProcAddr(nullptr, name); };
    ZEL_VULKAN_GLOBAL_FUNCTIONS(ZEL_VULKAN_LOOK_UP)
  }
  if (!complete) *error = "Vulkan is not available: its loader " + library + " is older than version 1.1.";
  return complete;
}

bool InstanceFunctions::load(const GlobalFunctions& global, VkInstance instance) {
  bool complete = true;
  const auto lookUp = [&](const char* name) { return global.vkGetInstanceProcAddr(instance, name); };
  ZEL_VULKAN_INSTANCE_FUNCTIONS(ZEL_VULKAN_LOOK_UP)
  ZEL_VULKAN_OPTIONAL_INSTANCE_FUNCTIONS(ZEL_VULKAN_LOOK_UP_OPTIONAL)
  return complete;
}

bool DeviceFunctions::load(const InstanceFunctions& instance, VkDevice device) {
  bool complete = true;
  const auto lookUp = [&](const char* name) { return instance.vkGetDeviceProcAddr(device, name); };
  ZEL_VULKAN_DEVICE_FUNCTIONS(ZEL_VULKAN_LOOK_UP)
  ZEL_VULKAN_OPTIONAL_DEVICE_FUNCTIONS(ZEL_VULKAN_LOOK_UP_OPTIONAL)
  return complete;
}

#undef ZEL_VULKAN_LOOK_UP
#undef ZEL_VULKAN_LOOK_UP_OPTIONAL

}  // namespace ZELPlatform::vulkan
