#include "drivers/vulkan/SwapchainPainter.h"

#include <algorithm>
#include <utility>

namespace ZELPlatform::vulkan {
namespace {

constexpr VkPipelineStageFlags kEverything = VK_PIPELINE_STAGE_ALL_COMMANDS_BIT;
constexpr VkPipelineStageFlags kCopy = VK_PIPELINE_STAGE_TRANSFER_BIT;
constexpr VkImageLayout kTarget = VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL;
constexpr VkImageLayout kSource = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL;
constexpr VkImageSubresourceLayers kWhole{VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};

std::shared_ptr<ShownImage> pictureOf(const SceneItem& item) {
  return std::dynamic_pointer_cast<ShownImage>(item.contents->front());
}

bool canScale(const Gpu& gpu, VkFormat format) {
  constexpr VkFormatFeatureFlags kNeeded = VK_FORMAT_FEATURE_BLIT_SRC_BIT | VK_FORMAT_FEATURE_BLIT_DST_BIT |
                                           VK_FORMAT_FEATURE_SAMPLED_IMAGE_FILTER_LINEAR_BIT;
  return (gpu.optimalFeatures(format) & kNeeded) == kNeeded;
}

/// Whether a layer shows nothing, or something that can be copied to where it lies.
bool isEasy(const Scene& scene, const SceneItem& item) {
  const auto picture = pictureOf(item);
  if (!picture) return !item.contents->front() && !item.contents->still();
  const Gpu& gpu = picture->texture()->image()->gpu();
  if (!item.opaque || gpu.isLost() || !gpu.capabilities().windows) return false;
  const PixelRect rect = pixelRect(item.frame, scene.points, scene.pixelWidth, scene.pixelHeight);
  if (rect.left < 0 || rect.top < 0 || rect.left + rect.width > scene.pixelWidth ||
      rect.top + rect.height > scene.pixelHeight) {
    return false;
  }
  return rect.isExact(picture->width(), picture->height()) || canScale(gpu, VK_FORMAT_B8G8R8A8_UNORM);
}

bool suits(const Scene& scene) {
  const auto isShown = [](const SceneItem& item) { return pictureOf(item) != nullptr; };
  return std::any_of(scene.items.begin(), scene.items.end(), isShown) &&
         std::all_of(scene.items.begin(), scene.items.end(),
                     [&scene](const SceneItem& item) { return isEasy(scene, item); });
}

std::unique_ptr<WindowPainter> create(const NativeSurface& surface) {
  auto window = WindowSurface::create(surface);
  return window ? std::make_unique<SwapchainPainter>(std::move(window)) : nullptr;
}

}  // namespace

SpecialPainterDescriptor SwapchainPainter::descriptor() { return {"vulkan", suits, create}; }

void SwapchainPainter::end() {
  slot_.reset();
  swapchain_.reset();
}

bool SwapchainPainter::paint(const Scene& scene) {
  const auto first = std::find_if(scene.items.begin(), scene.items.end(),
                                  [](const SceneItem& item) { return pictureOf(item) != nullptr; });
  if (first == scene.items.end()) return false;
  Gpu& gpu = pictureOf(*first)->texture()->image()->gpu();
  if (!swapchain_ || swapchain_->gpu().get() != &gpu) {
    end();
    swapchain_ = std::make_unique<Swapchain>(gpu.shared_from_this(), *window_);
    slot_ = CommandSlot::create(gpu);
  }
  if (!slot_ || !slot_->begin() || !swapchain_->acquire(scene.pixelWidth, scene.pixelHeight)) return false;
  if (swapchain_->extent().width == 0 || swapchain_->extent().height == 0) return true;
  const std::vector<Item> items = gather(scene);
  record(items);
  return slot_->submit(swapchain_->acquired(), swapchain_->filled()) && slot_->wait();
}

std::vector<SwapchainPainter::Item> SwapchainPainter::gather(const Scene& scene) const {
  const auto width = static_cast<int>(swapchain_->extent().width);
  const auto height = static_cast<int>(swapchain_->extent().height);
  std::vector<Item> items;
  for (const SceneItem& item : scene.items) {
    auto picture = pictureOf(item);
    if (!picture || &picture->texture()->image()->gpu() != swapchain_->gpu().get()) continue;
    PixelRect rect = pixelRect(item.frame, scene.points, width, height);
    // The window may have shrunk since the scene was made.
    rect.width = std::min(rect.width, width - rect.left);
    rect.height = std::min(rect.height, height - rect.top);
    if (!rect.isEmpty() && rect.left >= 0 && rect.top >= 0) items.push_back({std::move(picture), rect});
  }
  return items;
}

void SwapchainPainter::record(const std::vector<Item>& items) {
  const DeviceFunctions& vk = swapchain_->gpu()->functions();
  order(targetBarrier(VK_IMAGE_LAYOUT_UNDEFINED, 0, kTarget, VK_ACCESS_TRANSFER_WRITE_BIT), kCopy, kCopy);
  const VkExtent2D extent = swapchain_->extent();
  const bool covered = !items.empty() && items.front().rect.isExact(extent.width, extent.height);
  if (!covered) {
    const VkClearColorValue black{{0.0F, 0.0F, 0.0F, 1.0F}};
    const VkImageSubresourceRange range{VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
    vk.vkCmdClearColorImage(slot_->commands(), swapchain_->image(), kTarget, &black, 1, &range);
  }
  for (const Item& item : items) {
    const Image& source = *item.picture->texture()->image();
    order(source.barrier(source.home(), VK_ACCESS_MEMORY_WRITE_BIT, kSource, VK_ACCESS_TRANSFER_READ_BIT), kEverything,
          kCopy);
    order(targetBarrier(kTarget, VK_ACCESS_TRANSFER_WRITE_BIT, kTarget, VK_ACCESS_TRANSFER_WRITE_BIT), kCopy, kCopy);
    copy(source, item.rect);
    order(source.barrier(kSource, 0, source.home(), VK_ACCESS_MEMORY_READ_BIT | VK_ACCESS_MEMORY_WRITE_BIT), kCopy,
          kEverything);
  }
  order(targetBarrier(kTarget, VK_ACCESS_TRANSFER_WRITE_BIT, VK_IMAGE_LAYOUT_PRESENT_SRC_KHR, 0), kCopy,
        VK_PIPELINE_STAGE_BOTTOM_OF_PIPE_BIT);
}

void SwapchainPainter::copy(const Image& source, const PixelRect& rect) {
  const DeviceFunctions& vk = swapchain_->gpu()->functions();
  const VkExtent2D size = source.extent();
  const VkOffset3D corner{rect.left, rect.top, 0};
  if (rect.isExact(source.width(), source.height()) && vulkanFormat(source.format()) == swapchain_->format()) {
    const VkImageCopy whole{kWhole, {0, 0, 0}, kWhole, corner, {size.width, size.height, 1}};
    vk.vkCmdCopyImage(slot_->commands(), source.handle(), kSource, swapchain_->image(), kTarget, 1, &whole);
    return;
  }
  const VkOffset3D end{static_cast<int32_t>(size.width), static_cast<int32_t>(size.height), 1};
  const VkImageBlit scaled{
      kWhole, {{0, 0, 0}, end}, kWhole, {corner, {rect.left + rect.width, rect.top + rect.height, 1}}};
  vk.vkCmdBlitImage(slot_->commands(), source.handle(), kSource, swapchain_->image(), kTarget, 1, &scaled,
                    VK_FILTER_LINEAR);
}

void SwapchainPainter::order(const VkImageMemoryBarrier& barrier, VkPipelineStageFlags before,
                             VkPipelineStageFlags after) const {
  swapchain_->gpu()->functions().vkCmdPipelineBarrier(slot_->commands(), before, after, 0, 0, nullptr, 0, nullptr, 1,
                                                      &barrier);
}

VkImageMemoryBarrier SwapchainPainter::targetBarrier(VkImageLayout from, VkAccessFlags written, VkImageLayout to,
                                                     VkAccessFlags next) const {
  return imageBarrier(swapchain_->image(), from, written, to, next);
}

Shown SwapchainPainter::show() {
  const VkExtent2D extent = swapchain_->extent();
  if (extent.width == 0 || extent.height == 0) return Shown::Yes;
  const VkResult result = swapchain_->present();
  if (result == VK_SUCCESS || result == VK_SUBOPTIMAL_KHR) return Shown::Yes;
  if (window_->isLost()) return Shown::Lost;
  return Shown::Again;
}

}  // namespace ZELPlatform::vulkan
