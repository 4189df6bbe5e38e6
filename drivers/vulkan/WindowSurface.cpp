#include "drivers/vulkan/WindowSurface.h"

#include "drivers/window/XWindowWatch.h"

#ifdef ZEL_WITH_X11
#include <vulkan/vulkan_xcb.h>
#endif
#ifdef ZEL_WITH_WAYLAND
#include <vulkan/vulkan_wayland.h>
#endif

#include <bit>

namespace ZELPlatform::vulkan {
namespace {

#ifdef ZEL_WITH_X11

class X11WindowSurface final : public WindowSurface {
 public:
  explicit X11WindowSurface(uintptr_t window) : native_(window) {}

  VkSurfaceKHR makeSurface(const Instance& instance) override {
    const auto create = reinterpret_cast<PFN_vkCreateXcbSurfaceKHR>(instance.find("vkCreateXcbSurfaceKHR"));
    const VkXcbSurfaceCreateInfoKHR info{VK_STRUCTURE_TYPE_XCB_SURFACE_CREATE_INFO_KHR, nullptr, 0,
                                         native_.connection(), native_.window()};
    VkSurfaceKHR surface = VK_NULL_HANDLE;
    const bool made = create && create(instance.handle(), &info, nullptr, &surface) == VK_SUCCESS;
    return made ? surface : VK_NULL_HANDLE;
  }

  bool isLost() override { return native_.isDestroyed(); }
  // Software has no vertical sync to keep: there, the way in the display's order is only one more thread and a delay.
  VkPresentModeKHR wishedPresentMode(bool software) const override {
    return software ? VK_PRESENT_MODE_IMMEDIATE_KHR : VK_PRESENT_MODE_FIFO_KHR;
  }
  bool exists() const { return native_.visual() != 0; }

 private:
  XWindowWatch native_;
};

#endif
#ifdef ZEL_WITH_WAYLAND

class WaylandWindowSurface final : public WindowSurface {
 public:
  explicit WaylandWindowSurface(const NativeSurface& native) : native_(native) {}

  VkSurfaceKHR makeSurface(const Instance& instance) override {
    const auto create = reinterpret_cast<PFN_vkCreateWaylandSurfaceKHR>(instance.find("vkCreateWaylandSurfaceKHR"));
    const VkWaylandSurfaceCreateInfoKHR info{VK_STRUCTURE_TYPE_WAYLAND_SURFACE_CREATE_INFO_KHR, nullptr, 0,
                                             static_cast<wl_display*>(native_.display.display),
                                             std::bit_cast<wl_surface*>(native_.window)};
    VkSurfaceKHR surface = VK_NULL_HANDLE;
    const bool made = create && create(instance.handle(), &info, nullptr, &surface) == VK_SUCCESS;
    return made ? surface : VK_NULL_HANDLE;
  }

  bool isLost() override { return false; }
  // One picture after the other would wait without end while the window is hidden.
  VkPresentModeKHR wishedPresentMode(bool /*software*/) const override { return VK_PRESENT_MODE_MAILBOX_KHR; }

 private:
  NativeSurface native_;
};

#endif

}  // namespace

std::unique_ptr<WindowSurface> WindowSurface::create(const NativeSurface& native) {
  switch (native.display.system) {
#ifdef ZEL_WITH_X11
    case WindowSystem::X11: {
      auto surface = std::make_unique<X11WindowSurface>(native.window);
      return surface->exists() ? std::move(surface) : nullptr;
    }
#endif
#ifdef ZEL_WITH_WAYLAND
    case WindowSystem::Wayland:
      return std::make_unique<WaylandWindowSurface>(native);
#endif
    default:
      return nullptr;
  }
}

}  // namespace ZELPlatform::vulkan
