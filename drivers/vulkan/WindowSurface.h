#pragma once

#include "drivers/vulkan/Gpu.h"
#include "platform/quartzcore/Compositor.h"

#include <memory>

namespace ZELPlatform::vulkan {

/// A native window as something that Vulkan can draw on.
class WindowSurface {
 public:
  /// Null when the window is gone or its window system is not built in.
  static std::unique_ptr<WindowSurface> create(const NativeSurface& native);
  virtual ~WindowSurface() = default;

  /// A Vulkan surface on the window; null when the driver refuses. The caller destroys it.
  virtual VkSurfaceKHR makeSurface(const Instance& instance) = 0;

  /// Whether the window was destroyed under us, as far as the window system has said.
  virtual bool isLost() = 0;

  /// How pictures are shown, if the driver can: else in the display's order, each once. `software`: a processor draws.
  virtual VkPresentModeKHR wishedPresentMode(bool software) const = 0;

  WindowSurface(const WindowSurface&) = delete;
  WindowSurface& operator=(const WindowSurface&) = delete;

 protected:
  WindowSurface() = default;
};

}  // namespace ZELPlatform::vulkan
