#include "drivers/vulkan/Instance.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace ZELPlatform::vulkan {
namespace {

constexpr const char* kValidationLayer = "VK_LAYER_KHRONOS_validation";
constexpr std::array<const char*, 3> kSurfaceExtensions{"VK_KHR_surface", "VK_KHR_xcb_surface",
                                                        "VK_KHR_wayland_surface"};

VKAPI_ATTR VkBool32 VKAPI_CALL passOn(VkDebugUtilsMessageSeverityFlagBitsEXT, VkDebugUtilsMessageTypeFlagsEXT,
                                      const VkDebugUtilsMessengerCallbackDataEXT* data, void* receiver) {
  (*static_cast<std::function<void(const std::string&)>*>(receiver))(data->pMessage);
  return VK_FALSE;
}

bool hasValidationLayer(const GlobalFunctions& global) {
  uint32_t count = 0;
  global.vkEnumerateInstanceLayerProperties(&count, nullptr);
  std::vector<VkLayerProperties> layers(count);
  global.vkEnumerateInstanceLayerProperties(&count, layers.data());
  return std::any_of(layers.begin(), layers.end(), [](const VkLayerProperties& layer) {
    return std::strcmp(static_cast<const char*>(layer.layerName), kValidationLayer) == 0;
  });
}

}  // namespace

std::shared_ptr<Instance> Instance::create(const Settings& settings, std::string* error) {
  std::shared_ptr<Instance> instance(new Instance);
  return instance->open(settings, error) ? instance : nullptr;
}

bool Instance::open(const Settings& settings, std::string* error) {
  if (!global_.load(settings.loader, error)) return false;
  onValidation_ = settings.onValidation;
  if (onValidation_ && !hasValidationLayer(global_)) {
    *error = "Vulkan's validation layer is not installed.";
    return false;
  }
  const VkApplicationInfo application{.sType = VK_STRUCTURE_TYPE_APPLICATION_INFO,
                                      .pNext = nullptr,
                                      .pApplicationName = "ZELKit",
                                      .applicationVersion = 1,
                                      .pEngineName = "ZELPlatform",
                                      .engineVersion = 1,
                                      .apiVersion = VK_API_VERSION_1_1};
  const std::array<VkValidationFeatureEnableEXT, 1> enabled{
      VK_VALIDATION_FEATURE_ENABLE_SYNCHRONIZATION_VALIDATION_EXT};
  const VkValidationFeaturesEXT features{.sType = VK_STRUCTURE_TYPE_VALIDATION_FEATURES_EXT,
                                         .pNext = nullptr,
                                         .enabledValidationFeatureCount = static_cast<uint32_t>(enabled.size()),
                                         .pEnabledValidationFeatures = enabled.data(),
                                         .disabledValidationFeatureCount = 0,
                                         .pDisabledValidationFeatures = nullptr};
  const std::vector<const char*> extensions = chooseExtensions();
  VkInstanceCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO;
  info.pApplicationInfo = &application;
  info.enabledExtensionCount = static_cast<uint32_t>(extensions.size());
  info.ppEnabledExtensionNames = extensions.data();
  if (onValidation_) {
    info.pNext = &features;
    info.enabledLayerCount = 1;
    info.ppEnabledLayerNames = &kValidationLayer;
  }
  const VkResult result = global_.vkCreateInstance(&info, nullptr, &handle_);
  if (result != VK_SUCCESS) {
    *error = "Vulkan is not available: it cannot be started (error " + std::to_string(result) + ").";
    return false;
  }
  if (functions_.load(global_, handle_) && (!onValidation_ || watchValidation())) {
    if (settings.changeInstanceFunctions) settings.changeInstanceFunctions(&functions_);
    return true;
  }
  *error = "Vulkan is not available: it is older than version 1.1.";
  return false;
}

std::vector<const char*> Instance::chooseExtensions() {
  uint32_t count = 0;
  global_.vkEnumerateInstanceExtensionProperties(nullptr, &count, nullptr);
  std::vector<VkExtensionProperties> available(count);
  global_.vkEnumerateInstanceExtensionProperties(nullptr, &count, available.data());
  std::vector<const char*> chosen;
  for (const char* name : kSurfaceExtensions) {
    const bool there = std::any_of(available.begin(), available.end(), [name](const VkExtensionProperties& extension) {
      return std::strcmp(static_cast<const char*>(extension.extensionName), name) == 0;
    });
    if (there) chosen.push_back(name);
  }
  // The first of them carries all others.
  hasSurfaces_ = !chosen.empty() && chosen.front() == kSurfaceExtensions[0];
  if (!hasSurfaces_) chosen.clear();
  if (onValidation_) {
    chosen.push_back(VK_EXT_DEBUG_UTILS_EXTENSION_NAME);
    chosen.push_back(VK_EXT_VALIDATION_FEATURES_EXTENSION_NAME);
  }
  return chosen;
}

bool Instance::watchValidation() {
  VkDebugUtilsMessengerCreateInfoEXT info{};
  info.sType = VK_STRUCTURE_TYPE_DEBUG_UTILS_MESSENGER_CREATE_INFO_EXT;
  info.messageSeverity =
      VK_DEBUG_UTILS_MESSAGE_SEVERITY_WARNING_BIT_EXT | VK_DEBUG_UTILS_MESSAGE_SEVERITY_ERROR_BIT_EXT;
  info.messageType = VK_DEBUG_UTILS_MESSAGE_TYPE_VALIDATION_BIT_EXT;
  info.pfnUserCallback = passOn;
  info.pUserData = &onValidation_;
  return functions_.vkCreateDebugUtilsMessengerEXT &&
         functions_.vkCreateDebugUtilsMessengerEXT(handle_, &info, nullptr, &messenger_) == VK_SUCCESS;
}

Instance::~Instance() {
  if (messenger_) functions_.vkDestroyDebugUtilsMessengerEXT(handle_, messenger_, nullptr);
  if (handle_ && functions_.vkDestroyInstance) functions_.vkDestroyInstance(handle_, nullptr);
}

std::vector<VkPhysicalDevice> Instance::physicalDevices() const {
  uint32_t count = 0;
  functions_.vkEnumeratePhysicalDevices(handle_, &count, nullptr);
  std::vector<VkPhysicalDevice> devices(count);
  const VkResult result = functions_.vkEnumeratePhysicalDevices(handle_, &count, devices.data());
  devices.resize(result == VK_SUCCESS ? count : 0);
  return devices;
}

}  // namespace ZELPlatform::vulkan
