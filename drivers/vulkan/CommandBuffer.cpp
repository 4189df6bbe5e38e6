#include "drivers/vulkan/CommandBuffer.h"

#include "drivers/vulkan/ComputeEncoder.h"
#include "drivers/vulkan/RenderEncoder.h"

#include <ZELPlatform/CAMetalLayer.h>

#include <algorithm>
#include <utility>

namespace ZELPlatform::vulkan {

CommandBuffer::CommandBuffer(std::shared_ptr<CommandQueue> queue) : work_(std::make_shared<Work>()) {
  work_->queue = std::move(queue);
}

CommandBuffer::~CommandBuffer() {
  if (!committed_) work_->queue->withdraw(*work_);
}

bool CommandBuffer::canRecord() {
  if (committed_ || encoder_) return false;
  if (!work_->slot) work_->slot = work_->queue->takeSlot();
  if (!work_->slot) refuse();
  return work_->slot != nullptr;
}

std::shared_ptr<MTLRenderCommandEncoder> CommandBuffer::renderCommandEncoderWithDescriptor(
    const MTLRenderPassDescriptor& descriptor) {
  if (!canRecord()) return nullptr;
  auto encoder = RenderEncoder::create(shared_from_this(), descriptor);
  encoder_ = encoder.get();
  endEncoding_ = RenderEncoder::endPass;
  return encoder;
}

std::shared_ptr<MTLComputeCommandEncoder> CommandBuffer::computeCommandEncoder() {
  if (!canRecord()) return nullptr;
  auto encoder = ComputeEncoder::create(shared_from_this());
  encoder_ = encoder.get();
  endEncoding_ = ComputeEncoder::endPass;
  return encoder;
}

bool CommandBuffer::use(const std::shared_ptr<Texture>& texture) {
  const std::shared_ptr<Image>& image = texture->image();
  keep(texture);
  auto& arriving = work_->arriving;
  if (!image->isAwayFromHome() || std::find(arriving.begin(), arriving.end(), image) != arriving.end()) return true;
  VkCommandBuffer ahead = slot().commandsAhead();
  if (!ahead) {
    refuse();
    return false;
  }
  const VkImageMemoryBarrier barrier =
      image->barrier(VK_IMAGE_LAYOUT_UNDEFINED, 0, image->home(), VK_ACCESS_SHADER_READ_BIT);
  gpu().functions().vkCmdPipelineBarrier(ahead, VK_PIPELINE_STAGE_TOP_OF_PIPE_BIT,
                                         VK_PIPELINE_STAGE_FRAGMENT_SHADER_BIT | VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT,
                                         0, 0, nullptr, 0, nullptr, 1, &barrier);
  arriving.push_back(image);
  return true;
}

void CommandBuffer::enqueue() { work_->queue->enqueue(work_); }

void CommandBuffer::presentDrawable(const std::shared_ptr<CAMetalDrawable>& drawable) {
  if (!committed_ && drawable) work_->drawables.push_back(drawable);
}

void CommandBuffer::addCompletedHandler(std::function<void()> handler) {
  if (!committed_ && handler) work_->handlers.push_back(std::move(handler));
}

void CommandBuffer::commit() {
  if (committed_) return;
  if (encoder_) {
    encoder_ = nullptr;
    endEncoding_(*this);
  }
  // A buffer without work still tells when what was committed before it has ended.
  canRecord();
  committed_ = true;
  work_->queue->commit(work_);
}

void CommandBuffer::waitUntilCompleted() { work_->queue->wait(*work_); }

}  // namespace ZELPlatform::vulkan
