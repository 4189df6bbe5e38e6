#pragma once

#include "drivers/vulkan/CommandSlot.h"
#include "drivers/vulkan/Drawable.h"
#include "drivers/vulkan/Swapchain.h"
#include "drivers/window/SceneGeometry.h"
#include "drivers/window/WindowPainter.h"

#include <memory>
#include <vector>

namespace ZELPlatform::vulkan {

/// Shows scenes whose layers are all opaque and all drawn by the explicit GPU: their images are copied straight into
/// the window's, scaled where their sizes differ.
class SwapchainPainter final : public WindowPainter {
 public:
  /// The painter's entry in the list of special ones.
  static SpecialPainterDescriptor descriptor();

  explicit SwapchainPainter(std::unique_ptr<WindowSurface> window) : window_(std::move(window)) {}

  bool begin() override { return true; }
  void end() override;
  bool isLost() override { return window_->isLost(); }
  bool paint(const Scene& scene) override;
  Shown show() override;

 private:
  /// A layer's picture and where it goes.
  struct Item {
    std::shared_ptr<ShownImage> picture;
    PixelRect rect;
  };

  std::vector<Item> gather(const Scene& scene) const;
  void record(const std::vector<Item>& items);
  void copy(const Image& source, const PixelRect& rect);
  void order(const VkImageMemoryBarrier& barrier, VkPipelineStageFlags before, VkPipelineStageFlags after) const;
  VkImageMemoryBarrier targetBarrier(VkImageLayout from, VkAccessFlags written, VkImageLayout to,
                                     VkAccessFlags next) const;

  std::unique_ptr<WindowSurface> window_;
  std::unique_ptr<Swapchain> swapchain_;
  std::unique_ptr<CommandSlot> slot_;
};

}  // namespace ZELPlatform::vulkan
