#include "bench/BareVulkan.h"

#include "bench/Statistics.h"
#include "drivers/vulkan/Layouts.h"
#include "metal/ZELMetalRenderer.h"

#include <array>
#include <cstring>
#include <string>
#include <utility>

namespace ZELBench {

namespace {

namespace vulkan = ZELPlatform::vulkan;

constexpr std::array<float, 8> kCorners = {0, 0, 1, 0, 0, 1, 1, 1};
constexpr std::array<uint16_t, 6> kTriangles = {0, 1, 2, 1, 3, 2};
constexpr uint32_t kMostFrames = 8;
constexpr VkImageSubresourceLayers kWhole{VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};

MTLPixelFormat planeFormat(const CVPixelBuffer& buffer, size_t plane) {
  if (buffer.planeCount() == 0) return MTLPixelFormatBGRA8Unorm;
  return plane == 0 ? MTLPixelFormatR8Unorm : MTLPixelFormatRG8Unorm;
}

size_t planesOf(const CVPixelBuffer& buffer) { return buffer.planeCount() == 0 ? 1 : 2; }

bool fill(vulkan::Gpu& gpu, vulkan::BufferMemory* memory, const void* bytes, size_t length, VkBufferUsageFlags usage) {
  if (!memory->create(gpu, length, usage, vulkan::BufferPlace::ProgramWrites)) return false;
  std::memcpy(memory->bytes(), bytes, length);
  return true;
}

}  // namespace

std::unique_ptr<BareVulkan> BareVulkan::create(const std::shared_ptr<MTLDevice>& device, ZELProjectionType projection,
                                               std::vector<CVPixelBufferRef> frames, CGRect rect, CGSize target) {
  if (!std::dynamic_pointer_cast<vulkan::Device>(device) || frames.empty() || frames.size() > kMostFrames) {
    return nullptr;
  }
  std::unique_ptr<BareVulkan> bare(new BareVulkan(device, rect, target));
  if (!bare->makeObjects(projection, planesOf(*frames.front())) || !bare->makeCommands()) return nullptr;
  for (const CVPixelBufferRef& frame : frames) {
    if (!bare->addFrame(frame)) return nullptr;
  }
  return bare;
}

BareVulkan::BareVulkan(std::shared_ptr<MTLDevice> device, CGRect rect, CGSize target)
    : device_(std::move(device)),
      gpu_(dynamic_cast<vulkan::Device&>(*device_).gpu()),
      rect_(rect),
      targetSize_(target) {}

BareVulkan::~BareVulkan() { gpu_.waitUntilIdle(); }

bool BareVulkan::makeObjects(ZELProjectionType projection, size_t planeCount) {
  const std::string name = std::string(planeCount == 1 ? "fs_rgb_" : "fs_yuv_") + ZELProjectionTypeName(projection);
  pipelineState_ = ZELMetalRenderer::_compilePipelineNamed(name, device_);
  const auto state = std::dynamic_pointer_cast<vulkan::RenderPipelineState>(pipelineState_);
  if (!state) return false;
  pipeline_ = state->pipeline()->handle();
  target_ = vulkan::Image::create(gpu_, MTLPixelFormatBGRA8Unorm, static_cast<size_t>(targetSize_.width),
                                  static_cast<size_t>(targetSize_.height),
                                  MTLTextureUsageRenderTarget | MTLTextureUsageShaderRead);
  const VkDescriptorPoolSize size{VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, kMostFrames * vulkan::kSampledBindings};
  VkDescriptorPoolCreateInfo pool{};
  pool.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO;
  pool.maxSets = kMostFrames;
  pool.poolSizeCount = 1;
  pool.pPoolSizes = &size;
  return target_ && target_->framebuffer() &&
         fill(gpu_, &vertices_, kCorners.data(), sizeof kCorners, VK_BUFFER_USAGE_VERTEX_BUFFER_BIT) &&
         fill(gpu_, &indices_, kTriangles.data(), sizeof kTriangles, VK_BUFFER_USAGE_INDEX_BUFFER_BIT) &&
         descriptors_.create<&vulkan::DeviceFunctions::vkCreateDescriptorPool>(gpu_, pool);
}

bool BareVulkan::makeCommands() {
  VkCommandPoolCreateInfo pool{};
  pool.sType = VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO;
  pool.flags = VK_COMMAND_POOL_CREATE_TRANSIENT_BIT;
  pool.queueFamilyIndex = gpu_.queueFamily();
  if (!pool_.create<&vulkan::DeviceFunctions::vkCreateCommandPool>(gpu_, pool)) return false;
  VkCommandBufferAllocateInfo commands{};
  commands.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO;
  commands.commandPool = pool_.get();
  commands.level = VK_COMMAND_BUFFER_LEVEL_PRIMARY;
  commands.commandBufferCount = 1;
  if (!gpu_.succeeded(gpu_.functions().vkAllocateCommandBuffers(gpu_.device(), &commands, &commands_))) return false;
  VkFenceCreateInfo fence{};
  fence.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO;
  return fence_.create<&vulkan::DeviceFunctions::vkCreateFence>(gpu_, fence);
}

bool BareVulkan::addFrame(const CVPixelBufferRef& buffer) {
  Frame frame;
  frame.buffer = buffer;
  for (size_t index = 0; index < planesOf(*buffer) && uploaded_.empty(); ++index) {
    const size_t halvings = index == 0 ? 0 : 1;
    auto image = vulkan::Image::import(gpu_, planeFormat(*buffer, index), buffer->width() >> halvings,
                                       buffer->height() >> halvings, buffer->plane(index));
    if (!image) break;
    frame.planes.push_back(std::move(image));
  }
  if (frame.planes.size() != planesOf(*buffer)) {
    if (uploaded_.empty() && !makeUploadPlanes(*buffer)) return false;
    frame.planes = uploaded_;
  }
  const VkDescriptorSetLayout layout = gpu_.layouts().setLayout(vulkan::PipelineKind::Render);
  VkDescriptorSetAllocateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO;
  info.descriptorPool = descriptors_.get();
  info.descriptorSetCount = 1;
  info.pSetLayouts = &layout;
  if (!gpu_.succeeded(gpu_.functions().vkAllocateDescriptorSets(gpu_.device(), &info, &frame.set))) return false;
  writeSet(frame);
  frames_.push_back(std::move(frame));
  return true;
}

bool BareVulkan::makeUploadPlanes(const CVPixelBuffer& buffer) {
  for (size_t index = 0; index < planesOf(buffer); ++index) {
    const size_t halvings = index == 0 ? 0 : 1;
    auto image = vulkan::Image::createForUpload(gpu_, planeFormat(buffer, index), buffer.width() >> halvings,
                                                buffer.height() >> halvings);
    if (!image) return false;
    uploaded_.push_back(std::move(image));
  }
  return staging_.create(gpu_, bytesPerFrame(), VK_BUFFER_USAGE_TRANSFER_SRC_BIT, vulkan::BufferPlace::ProgramWrites);
}

void BareVulkan::writeSet(const Frame& frame) const {
  for (uint32_t binding = 0; binding < frame.planes.size(); ++binding) {
    const vulkan::Image& image = *frame.planes[binding];
    const VkDescriptorImageInfo info{VK_NULL_HANDLE, image.view(), image.home()};
    VkWriteDescriptorSet write{};
    write.sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET;
    write.dstSet = frame.set;
    write.dstBinding = binding;
    write.descriptorCount = 1;
    write.descriptorType = VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER;
    write.pImageInfo = &info;
    gpu_.functions().vkUpdateDescriptorSets(gpu_.device(), 1, &write, 0, nullptr);
  }
}

uint64_t BareVulkan::bytesPerFrame() const {
  uint64_t bytes = 0;
  for (const auto& image : uploaded_) {
    bytes += image->width() * image->height() * vulkan::bytesPerPixel(image->format());
  }
  return bytes;
}

void BareVulkan::copyToStaging(const CVPixelBuffer& buffer) {
  uint8_t* to = staging_.bytes();
  for (size_t index = 0; index < uploaded_.size(); ++index) {
    const CVPixelBuffer::Plane plane = buffer.plane(index);
    const size_t row = uploaded_[index]->width() * vulkan::bytesPerPixel(uploaded_[index]->format());
    const auto* from = static_cast<const uint8_t*>(plane.baseAddress);
    for (size_t y = 0; from && y < uploaded_[index]->height(); ++y, to += row) {
      std::memcpy(to, from + y * plane.bytesPerRow, row);
    }
  }
}

void BareVulkan::recordUpload(const Frame& frame) {
  copyToStaging(*frame.buffer);
  const vulkan::DeviceFunctions& vk = gpu_.functions();
  constexpr VkImageLayout kTarget = VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL;
  VkDeviceSize offset = 0;
  for (const auto& image : uploaded_) {
    const VkImageMemoryBarrier before =
        image->barrier(VK_IMAGE_LAYOUT_UNDEFINED, 0, kTarget, VK_ACCESS_TRANSFER_WRITE_BIT);
    vk.vkCmdPipelineBarrier(commands_, VK_PIPELINE_STAGE_TOP_OF_PIPE_BIT, VK_PIPELINE_STAGE_TRANSFER_BIT, 0, 0, nullptr,
                            0, nullptr, 1, &before);
    const VkExtent2D extent = image->extent();
    const VkBufferImageCopy copy{offset, 0, 0, kWhole, {0, 0, 0}, {extent.width, extent.height, 1}};
    vk.vkCmdCopyBufferToImage(commands_, staging_.buffer(), image->handle(), kTarget, 1, &copy);
    const VkImageMemoryBarrier after =
        image->barrier(kTarget, VK_ACCESS_TRANSFER_WRITE_BIT, image->home(), VK_ACCESS_SHADER_READ_BIT);
    vk.vkCmdPipelineBarrier(commands_, VK_PIPELINE_STAGE_TRANSFER_BIT, VK_PIPELINE_STAGE_FRAGMENT_SHADER_BIT, 0, 0,
                            nullptr, 0, nullptr, 1, &after);
    offset += image->width() * image->height() * vulkan::bytesPerPixel(image->format());
  }
}

void BareVulkan::recordArrival(const Frame& frame) {
  for (const auto& image : frame.planes) {
    if (!image->isAwayFromHome()) continue;
    const VkImageMemoryBarrier arrival =
        image->barrier(VK_IMAGE_LAYOUT_UNDEFINED, 0, image->home(), VK_ACCESS_SHADER_READ_BIT);
    gpu_.functions().vkCmdPipelineBarrier(commands_, VK_PIPELINE_STAGE_TOP_OF_PIPE_BIT,
                                          VK_PIPELINE_STAGE_FRAGMENT_SHADER_BIT, 0, 0, nullptr, 0, nullptr, 1,
                                          &arrival);
    image->setHome();
  }
}

void BareVulkan::recordDraw(const Frame& frame, const Camera& camera) {
  ZELMetalUniforms uniforms;
  std::memcpy(uniforms.viewMatrix.data(), camera.viewMatrix.m, sizeof uniforms.viewMatrix);
  uniforms.displayOffset = {static_cast<float>(rect_.origin.x), static_cast<float>(rect_.origin.y)};
  uniforms.displayScale = {static_cast<float>(rect_.size.width), static_cast<float>(rect_.size.height)};
  uniforms.aspectRatio = static_cast<float>(targetSize_.width / targetSize_.height);
  uniforms.nearPlane = static_cast<float>(camera.nearPlane);
  uniforms.scale = 1.0F;

  const vulkan::DeviceFunctions& vk = gpu_.functions();
  const VkPipelineLayout layout = gpu_.layouts().pipelineLayout(vulkan::PipelineKind::Render);
  const VkExtent2D extent = target_->extent();
  const VkClearValue clear{};
  VkRenderPassBeginInfo pass{};
  pass.sType = VK_STRUCTURE_TYPE_RENDER_PASS_BEGIN_INFO;
  pass.renderPass = gpu_.layouts().renderPass(VK_FORMAT_B8G8R8A8_UNORM, false, target_->home());
  pass.framebuffer = target_->framebuffer();
  pass.renderArea = {{0, 0}, extent};
  pass.clearValueCount = 1;
  pass.pClearValues = &clear;
  vk.vkCmdBeginRenderPass(commands_, &pass, VK_SUBPASS_CONTENTS_INLINE);
  const auto width = static_cast<float>(extent.width);
  const auto height = static_cast<float>(extent.height);
  const VkViewport viewport{0.0F, height, width, -height, 0.0F, 1.0F};
  vk.vkCmdSetViewport(commands_, 0, 1, &viewport);
  vk.vkCmdSetScissor(commands_, 0, 1, &pass.renderArea);
  vk.vkCmdBindPipeline(commands_, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline_);
  vk.vkCmdBindDescriptorSets(commands_, VK_PIPELINE_BIND_POINT_GRAPHICS, layout, 0, 1, &frame.set, 0, nullptr);
  vk.vkCmdPushConstants(commands_, layout, VK_SHADER_STAGE_VERTEX_BIT | VK_SHADER_STAGE_FRAGMENT_BIT, 0,
                        sizeof uniforms, &uniforms);
  const VkBuffer vertices = vertices_.buffer();
  const VkDeviceSize offset = 0;
  vk.vkCmdBindVertexBuffers(commands_, 0, 1, &vertices, &offset);
  vk.vkCmdBindIndexBuffer(commands_, indices_.buffer(), 0, VK_INDEX_TYPE_UINT16);
  vk.vkCmdDrawIndexed(commands_, static_cast<uint32_t>(kTriangles.size()), 1, 0, 0, 0);
  vk.vkCmdEndRenderPass(commands_);
}

double BareVulkan::drawFrame(size_t index, bool newContent, const Camera& camera) {
  const vulkan::DeviceFunctions& vk = gpu_.functions();
  const Frame& frame = frames_[index];
  const Stopwatch stopwatch;
  vk.vkResetCommandPool(gpu_.device(), pool_.get(), 0);
  VkCommandBufferBeginInfo begin{};
  begin.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO;
  begin.flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT;
  vk.vkBeginCommandBuffer(commands_, &begin);
  if (newContent && !uploaded_.empty()) recordUpload(frame);
  recordArrival(frame);
  recordDraw(frame, camera);
  vk.vkEndCommandBuffer(commands_);
  VkSubmitInfo work{};
  work.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO;
  work.commandBufferCount = 1;
  work.pCommandBuffers = &commands_;
  const VkFence fence = fence_.get();
  if (gpu_.succeeded(gpu_.submit(work, fence))) gpu_.wait(fence);
  const double milliseconds = stopwatch.milliseconds();
  vk.vkResetFences(gpu_.device(), 1, &fence);
  return milliseconds;
}

std::vector<uint8_t> BareVulkan::readBack() {
  std::vector<uint8_t> pixels = vulkan::Texture(target_, MTLStorageModePrivate)._bytes();
  for (size_t at = 0; at + 3 < pixels.size(); at += 4) std::swap(pixels[at], pixels[at + 2]);
  return pixels;
}

}  // namespace ZELBench
