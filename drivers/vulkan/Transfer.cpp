#include "drivers/vulkan/Transfer.h"

#include "platform/corevideo/Counters.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace ZELPlatform::vulkan {
namespace {

/// Two planes of three frames, twice over.
constexpr size_t kMostSlots = 12;

constexpr VkPipelineStageFlags kEverything = VK_PIPELINE_STAGE_ALL_COMMANDS_BIT;
constexpr VkPipelineStageFlags kCopy = VK_PIPELINE_STAGE_TRANSFER_BIT;
constexpr VkAccessFlags kAnyWrite = VK_ACCESS_MEMORY_WRITE_BIT;
constexpr VkAccessFlags kAnyAccess = VK_ACCESS_MEMORY_READ_BIT | VK_ACCESS_MEMORY_WRITE_BIT;
constexpr VkImageSubresourceLayers kWhole{VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};

VkBufferImageCopy wholeImage(const Image& image) {
  return {0, 0, 0, kWhole, {0, 0, 0}, {image.extent().width, image.extent().height, 1}};
}

/// Makes sure that a slot's staging memory is large enough. The last one's size is a good guess at the next.
bool reserve(Gpu& gpu, BufferMemory* memory, size_t bytes, BufferPlace place) {
  if (memory->size() >= bytes) return true;
  const VkBufferUsageFlags usage =
      place == BufferPlace::ProgramReads ? VK_BUFFER_USAGE_TRANSFER_DST_BIT : VK_BUFFER_USAGE_TRANSFER_SRC_BIT;
  return memory->create(gpu, bytes, usage, place);
}

}  // namespace

Transfer::Turn::~Turn() {
  if (!slot_) return;
  const std::lock_guard lock(transfer_.mutex_);
  slot_->taken = false;
}

bool Transfer::Turn::submit(std::shared_ptr<const void> kept) {
  Gpu& gpu = transfer_.gpu_;
  if (!gpu.succeeded(gpu.functions().vkEndCommandBuffer(slot_->commands))) return false;
  VkSubmitInfo work{};
  work.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO;
  work.commandBufferCount = 1;
  work.pCommandBuffers = &slot_->commands;
  if (!gpu.succeeded(gpu.submit(work, slot_->fence.get()))) return false;
  slot_->kept = std::move(kept);
  slot_->submitted = true;
  return true;
}

bool Transfer::Turn::wait() {
  const bool ended = transfer_.gpu_.wait(slot_->fence.get());
  slot_->kept.reset();
  return ended;
}

Transfer::Slot* Transfer::take() {
  const std::lock_guard lock(mutex_);
  if (gpu_.isLost()) return nullptr;
  Slot* free = findEnded();
  if (!free && slots_.size() >= kMostSlots) {
    // Whoever copies faster than the GPU waits for it, so that memory does not grow.
    const auto copying = std::find_if(slots_.begin(), slots_.end(), [](const auto& slot) { return !slot->taken; });
    if (copying != slots_.end() && gpu_.wait((*copying)->fence.get())) free = findEnded();
  }
  if (!free) {
    auto made = makeSlot();
    if (!made) return nullptr;
    free = slots_.emplace_back(std::move(made)).get();
  }
  if (!prepare(free)) return nullptr;
  free->taken = true;
  return free;
}

Transfer::Slot* Transfer::findEnded() {
  Slot* free = nullptr;
  for (const auto& slot : slots_) {
    if (slot->taken) continue;
    const bool ended =
        !slot->submitted || gpu_.functions().vkGetFenceStatus(gpu_.device(), slot->fence.get()) == VK_SUCCESS;
    if (!ended) continue;
    // Nobody else may hold the image any more: then it goes now.
    slot->kept.reset();
    if (!free) free = slot.get();
  }
  return free;
}

std::unique_ptr<Transfer::Slot> Transfer::makeSlot() {
  auto slot = std::make_unique<Slot>();
  VkCommandPoolCreateInfo pool{};
  pool.sType = VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO;
  pool.flags = VK_COMMAND_POOL_CREATE_TRANSIENT_BIT;
  pool.queueFamilyIndex = gpu_.queueFamily();
  if (!slot->pool.create<&DeviceFunctions::vkCreateCommandPool>(gpu_, pool)) return nullptr;
  VkCommandBufferAllocateInfo commands{};
  commands.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO;
  commands.commandPool = slot->pool.get();
  commands.level = VK_COMMAND_BUFFER_LEVEL_PRIMARY;
  commands.commandBufferCount = 1;
  if (!gpu_.succeeded(gpu_.functions().vkAllocateCommandBuffers(gpu_.device(), &commands, &slot->commands))) {
    return nullptr;
  }
  VkFenceCreateInfo fence{};
  fence.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO;
  return slot->fence.create<&DeviceFunctions::vkCreateFence>(gpu_, fence) ? std::move(slot) : nullptr;
}

bool Transfer::prepare(Slot* slot) {
  const DeviceFunctions& vk = gpu_.functions();
  const VkFence fence = slot->fence.get();
  if (slot->submitted && !gpu_.succeeded(vk.vkResetFences(gpu_.device(), 1, &fence))) return false;
  slot->submitted = false;
  VkCommandBufferBeginInfo begin{};
  begin.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO;
  begin.flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT;
  return gpu_.succeeded(vk.vkResetCommandPool(gpu_.device(), slot->pool.get(), 0)) &&
         gpu_.succeeded(vk.vkBeginCommandBuffer(slot->commands, &begin));
}

void Transfer::record(VkCommandBuffer commands, const VkImageMemoryBarrier& barrier, VkPipelineStageFlags before,
                      VkPipelineStageFlags after) const {
  gpu_.functions().vkCmdPipelineBarrier(commands, before, after, 0, 0, nullptr, 0, nullptr, 1, &barrier);
}

bool Transfer::clear(const std::shared_ptr<Image>& image) {
  Turn turn(*this);
  if (!turn) return false;
  constexpr VkImageLayout kTarget = VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL;
  const VkClearColorValue zero{};
  const VkImageSubresourceRange range{VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
  record(turn->commands, image->barrier(VK_IMAGE_LAYOUT_UNDEFINED, 0, kTarget, VK_ACCESS_TRANSFER_WRITE_BIT),
         kEverything, kCopy);
  gpu_.functions().vkCmdClearColorImage(turn->commands, image->handle(), kTarget, &zero, 1, &range);
  record(turn->commands, image->barrier(kTarget, VK_ACCESS_TRANSFER_WRITE_BIT, image->home(), kAnyAccess), kCopy,
         kEverything);
  return turn.submit(image);
}

bool Transfer::upload(const std::shared_ptr<Image>& image, const uint8_t* rows, size_t bytesPerRow) {
  Turn turn(*this);
  const size_t tight = image->width() * bytesPerPixel(image->format());
  if (!turn || !reserve(gpu_, &turn->outgoing, tight * image->height(), BufferPlace::ProgramWrites)) return false;
  uint8_t* target = turn->outgoing.bytes();
  if (bytesPerRow == tight) {
    std::memcpy(target, rows, tight * image->height());
  } else {
    for (size_t y = 0; y < image->height(); ++y) std::memcpy(target + y * tight, rows + y * bytesPerRow, tight);
  }
  constexpr VkImageLayout kTarget = VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL;
  const VkBufferImageCopy copy = wholeImage(*image);
  record(turn->commands, image->barrier(VK_IMAGE_LAYOUT_UNDEFINED, 0, kTarget, VK_ACCESS_TRANSFER_WRITE_BIT),
         kEverything, kCopy);
  gpu_.functions().vkCmdCopyBufferToImage(turn->commands, turn->outgoing.buffer(), image->handle(), kTarget, 1, &copy);
  record(turn->commands,
         image->barrier(kTarget, VK_ACCESS_TRANSFER_WRITE_BIT, image->home(), VK_ACCESS_SHADER_READ_BIT), kCopy,
         kEverything);
  if (!turn.submit(image)) return false;
  ++pixelCounters().uploads;
  pixelCounters().uploadedBytes += tight * image->height();
  return true;
}

bool Transfer::read(const std::shared_ptr<Image>& image, const std::function<void(const uint8_t* pixels)>& taker) {
  Turn turn(*this);
  const size_t size = image->width() * image->height() * bytesPerPixel(image->format());
  if (!turn || !reserve(gpu_, &turn->incoming, size, BufferPlace::ProgramReads)) return false;
  constexpr VkImageLayout kSource = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL;
  const VkImageLayout from = image->isAwayFromHome() ? VK_IMAGE_LAYOUT_UNDEFINED : image->home();
  const VkBufferImageCopy copy = wholeImage(*image);
  record(turn->commands, image->barrier(from, kAnyWrite, kSource, VK_ACCESS_TRANSFER_READ_BIT), kEverything, kCopy);
  gpu_.functions().vkCmdCopyImageToBuffer(turn->commands, image->handle(), kSource, turn->incoming.buffer(), 1, &copy);
  record(turn->commands, image->barrier(kSource, 0, image->home(), kAnyAccess), kCopy, kEverything);
  const VkMemoryBarrier toHost{VK_STRUCTURE_TYPE_MEMORY_BARRIER, nullptr, VK_ACCESS_TRANSFER_WRITE_BIT,
                               VK_ACCESS_HOST_READ_BIT};
  gpu_.functions().vkCmdPipelineBarrier(turn->commands, kCopy, VK_PIPELINE_STAGE_HOST_BIT, 0, 1, &toHost, 0, nullptr, 0,
                                        nullptr);
  if (!turn.submit(image)) return false;
  image->setHome();
  if (!turn.wait()) return false;
  taker(turn->incoming.bytes());
  return true;
}

bool Transfer::clear(VkBuffer buffer, size_t bytes) {
  Turn turn(*this);
  if (!turn) return false;
  gpu_.functions().vkCmdFillBuffer(turn->commands, buffer, 0, bytes, 0);
  return turn.submit(nullptr) && turn.wait();
}

}  // namespace ZELPlatform::vulkan
