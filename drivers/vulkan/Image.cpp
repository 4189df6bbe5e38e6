#include "drivers/vulkan/Image.h"

#include "drivers/vulkan/Layouts.h"
#include "drivers/vulkan/Transfer.h"

#include <cstring>
#include <utility>

namespace ZELPlatform::vulkan {
namespace {

constexpr VkExternalMemoryHandleTypeFlagBits kHostMemory = VK_EXTERNAL_MEMORY_HANDLE_TYPE_HOST_ALLOCATION_BIT_EXT;

size_t roundedUp(size_t value, size_t multiple) { return (value + multiple - 1) / multiple * multiple; }

VkFormatFeatureFlags neededFeatures(uint32_t usage) {
  VkFormatFeatureFlags needed = 0;
  if ((usage & MTLTextureUsageShaderRead) != 0) {
    needed |= VK_FORMAT_FEATURE_SAMPLED_IMAGE_BIT | VK_FORMAT_FEATURE_SAMPLED_IMAGE_FILTER_LINEAR_BIT;
  }
  if ((usage & MTLTextureUsageShaderWrite) != 0) needed |= VK_FORMAT_FEATURE_STORAGE_IMAGE_BIT;
  if ((usage & MTLTextureUsageRenderTarget) != 0) needed |= VK_FORMAT_FEATURE_COLOR_ATTACHMENT_BIT;
  return needed;
}

VkImageUsageFlags imageUsage(uint32_t usage) {
  VkImageUsageFlags flags = VK_IMAGE_USAGE_TRANSFER_SRC_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT;
  if ((usage & MTLTextureUsageShaderRead) != 0) flags |= VK_IMAGE_USAGE_SAMPLED_BIT;
  if ((usage & MTLTextureUsageShaderWrite) != 0) flags |= VK_IMAGE_USAGE_STORAGE_BIT;
  if ((usage & MTLTextureUsageRenderTarget) != 0) flags |= VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT;
  return flags;
}

VkImageLayout homeLayout(uint32_t usage) {
  if ((usage & MTLTextureUsageShaderWrite) != 0) return VK_IMAGE_LAYOUT_GENERAL;
  if ((usage & MTLTextureUsageShaderRead) != 0) return VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL;
  return VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL;
}

VkImageCreateInfo imageInfo(const Image& image) {
  VkImageCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_IMAGE_CREATE_INFO;
  info.imageType = VK_IMAGE_TYPE_2D;
  info.format = vulkanFormat(image.format());
  info.extent = {image.extent().width, image.extent().height, 1};
  info.mipLevels = 1;
  info.arrayLayers = 1;
  info.samples = VK_SAMPLE_COUNT_1_BIT;
  info.tiling = VK_IMAGE_TILING_OPTIMAL;
  info.initialLayout = VK_IMAGE_LAYOUT_UNDEFINED;
  return info;
}

/// Whether the driver takes program memory as a linear, filtered texture of the format.
bool canImport(const Gpu& gpu, const VkImageCreateInfo& info) {
  const InstanceFunctions& vk = gpu.instanceFunctions();
  constexpr VkFormatFeatureFlags kSampled =
      VK_FORMAT_FEATURE_SAMPLED_IMAGE_BIT | VK_FORMAT_FEATURE_SAMPLED_IMAGE_FILTER_LINEAR_BIT;
  VkFormatProperties format{};
  vk.vkGetPhysicalDeviceFormatProperties(gpu.physicalDevice(), info.format, &format);
  if ((format.linearTilingFeatures & kSampled) != kSampled) return false;
  VkPhysicalDeviceExternalImageFormatInfo external{};
  external.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_EXTERNAL_IMAGE_FORMAT_INFO;
  external.handleType = kHostMemory;
  VkPhysicalDeviceImageFormatInfo2 question{};
  question.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_IMAGE_FORMAT_INFO_2;
  question.pNext = &external;
  question.format = info.format;
  question.type = info.imageType;
  question.tiling = info.tiling;
  question.usage = info.usage;
  VkExternalImageFormatProperties externalAnswer{};
  externalAnswer.sType = VK_STRUCTURE_TYPE_EXTERNAL_IMAGE_FORMAT_PROPERTIES;
  VkImageFormatProperties2 answer{};
  answer.sType = VK_STRUCTURE_TYPE_IMAGE_FORMAT_PROPERTIES_2;
  answer.pNext = &externalAnswer;
  if (vk.vkGetPhysicalDeviceImageFormatProperties2(gpu.physicalDevice(), &question, &answer) != VK_SUCCESS) {
    return false;
  }
  const VkExtent3D& largest = answer.imageFormatProperties.maxExtent;
  const VkExternalMemoryFeatureFlags features = externalAnswer.externalMemoryProperties.externalMemoryFeatures;
  return (features & VK_EXTERNAL_MEMORY_FEATURE_IMPORTABLE_BIT) != 0 && info.extent.width <= largest.width &&
         info.extent.height <= largest.height;
}

}  // namespace

Image::Image(Gpu& gpu, MTLPixelFormat format, size_t width, size_t height, uint32_t usage)
    : gpu_(gpu), format_(format), width_(width), height_(height), usage_(usage), home_(homeLayout(usage)) {}

bool Image::isSensible() const {
  const size_t limit = gpu_.capabilities().maximumTextureSize;
  return bytesPerPixel(format_) > 0 && width_ > 0 && height_ > 0 && width_ <= limit && height_ <= limit;
}

std::shared_ptr<Image> Image::create(Gpu& gpu, MTLPixelFormat format, size_t width, size_t height, uint32_t usage) {
  std::shared_ptr<Image> image(new Image(gpu, format, width, height, usage));
  const bool made = image->isSensible() && image->allocate() && image->makeView();
  return made && image->gpu().transfer().clear(image) ? image : nullptr;
}

std::shared_ptr<Image> Image::createForUpload(Gpu& gpu, MTLPixelFormat format, size_t width, size_t height) {
  std::shared_ptr<Image> image(new Image(gpu, format, width, height, MTLTextureUsageShaderRead));
  return image->isSensible() && image->allocate() && image->makeView() ? image : nullptr;
}

std::shared_ptr<Image> Image::import(Gpu& gpu, MTLPixelFormat format, size_t width, size_t height,
                                     const CVPixelBuffer::Plane& plane) {
  std::shared_ptr<Image> image(new Image(gpu, format, width, height, MTLTextureUsageShaderRead));
  if (!image->isSensible() || image->prepareImport().bytesPerRow != plane.bytesPerRow) return nullptr;
  return image->bindImported(plane.baseAddress) && image->makeView() ? image : nullptr;
}

Image::ImportRules Image::importRules(Gpu& gpu, MTLPixelFormat format, size_t width, size_t height) {
  Image probe(gpu, format, width, height, MTLTextureUsageShaderRead);
  return probe.isSensible() ? probe.prepareImport() : ImportRules{};
}

bool Image::allocate() {
  if (usage_ == 0) return false;
  const VkFormatFeatureFlags needed = neededFeatures(usage_);
  if ((gpu_.optimalFeatures(vulkanFormat(format_)) & needed) != needed) return false;
  VkImageCreateInfo info = imageInfo(*this);
  info.usage = imageUsage(usage_);
  if (!image_.create<&DeviceFunctions::vkCreateImage>(gpu_, info)) return false;
  VkMemoryRequirements requirements{};
  gpu_.functions().vkGetImageMemoryRequirements(gpu_.device(), image_.get(), &requirements);
  const int type = gpu_.memoryType(requirements.memoryTypeBits, 0, VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT);
  VkMemoryAllocateInfo memory{};
  memory.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO;
  memory.allocationSize = requirements.size;
  memory.memoryTypeIndex = static_cast<uint32_t>(type);
  return type >= 0 && memory_.create<&DeviceFunctions::vkAllocateMemory>(gpu_, memory) &&
         gpu_.succeeded(gpu_.functions().vkBindImageMemory(gpu_.device(), image_.get(), memory_.get(), 0));
}

Image::ImportRules Image::prepareImport() {
  const DeviceFunctions& vk = gpu_.functions();
  const size_t alignment = gpu_.capabilities().hostPointerAlignment;
  VkExternalMemoryImageCreateInfo external{};
  external.sType = VK_STRUCTURE_TYPE_EXTERNAL_MEMORY_IMAGE_CREATE_INFO;
  external.handleTypes = kHostMemory;
  VkImageCreateInfo info = imageInfo(*this);
  info.pNext = &external;
  info.tiling = VK_IMAGE_TILING_LINEAR;
  info.usage = VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT;
  if (!gpu_.capabilities().hostImport || alignment == 0 || !canImport(gpu_, info)) return {};
  if (!image_.create<&DeviceFunctions::vkCreateImage>(gpu_, info)) return {};
  const VkImageSubresource whole{VK_IMAGE_ASPECT_COLOR_BIT, 0, 0};
  VkSubresourceLayout rows{};
  vk.vkGetImageSubresourceLayout(gpu_.device(), image_.get(), &whole, &rows);
  VkMemoryRequirements requirements{};
  vk.vkGetImageMemoryRequirements(gpu_.device(), image_.get(), &requirements);
  if (rows.offset != 0) return {};
  return {static_cast<size_t>(rows.rowPitch), roundedUp(static_cast<size_t>(requirements.size), alignment)};
}

bool Image::bindImported(void* memory) {
  const DeviceFunctions& vk = gpu_.functions();
  VkMemoryRequirements requirements{};
  vk.vkGetImageMemoryRequirements(gpu_.device(), image_.get(), &requirements);
  VkMemoryHostPointerPropertiesEXT pointer{};
  pointer.sType = VK_STRUCTURE_TYPE_MEMORY_HOST_POINTER_PROPERTIES_EXT;
  if (!gpu_.succeeded(vk.vkGetMemoryHostPointerPropertiesEXT(gpu_.device(), kHostMemory, memory, &pointer))) {
    return false;
  }
  // Coherent, so that the GPU sees what the program wrote before a submission.
  constexpr VkMemoryPropertyFlags kCoherent =
      VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT;
  const int type = gpu_.memoryType(requirements.memoryTypeBits & pointer.memoryTypeBits, kCoherent, kCoherent);
  if (type < 0) return false;
  VkImportMemoryHostPointerInfoEXT source{};
  source.sType = VK_STRUCTURE_TYPE_IMPORT_MEMORY_HOST_POINTER_INFO_EXT;
  source.handleType = kHostMemory;
  source.pHostPointer = memory;
  VkMemoryAllocateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO;
  info.pNext = &source;
  info.allocationSize = roundedUp(static_cast<size_t>(requirements.size), gpu_.capabilities().hostPointerAlignment);
  info.memoryTypeIndex = static_cast<uint32_t>(type);
  if (!memory_.create<&DeviceFunctions::vkAllocateMemory>(gpu_, info)) return false;
  if (!gpu_.succeeded(vk.vkBindImageMemory(gpu_.device(), image_.get(), memory_.get(), 0))) return false;
  // Layouts of linear images differ in name only, but the first one of an imported image has to be "undefined".
  home_ = VK_IMAGE_LAYOUT_GENERAL;
  away_.store(true, std::memory_order_relaxed);
  return true;
}

bool Image::makeView() {
  VkImageViewCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_IMAGE_VIEW_CREATE_INFO;
  info.image = image_.get();
  info.viewType = VK_IMAGE_VIEW_TYPE_2D;
  info.format = vulkanFormat(format_);
  info.subresourceRange = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
  return view_.create<&DeviceFunctions::vkCreateImageView>(gpu_, info);
}

VkFramebuffer Image::framebuffer() {
  const std::lock_guard lock(framebufferMutex_);
  if (framebuffer_) return framebuffer_.get();
  const VkImageView view = view_.get();
  VkFramebufferCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_FRAMEBUFFER_CREATE_INFO;
  info.renderPass = gpu_.layouts().renderPass(vulkanFormat(format_), false, home_);
  info.attachmentCount = 1;
  info.pAttachments = &view;
  info.width = extent().width;
  info.height = extent().height;
  info.layers = 1;
  if (info.renderPass) framebuffer_.create<&DeviceFunctions::vkCreateFramebuffer>(gpu_, info);
  return framebuffer_.get();
}

VkImageMemoryBarrier imageBarrier(VkImage image, VkImageLayout from, VkAccessFlags written, VkImageLayout to,
                                  VkAccessFlags next) {
  VkImageMemoryBarrier barrier{};
  barrier.sType = VK_STRUCTURE_TYPE_IMAGE_MEMORY_BARRIER;
  barrier.srcAccessMask = written;
  barrier.dstAccessMask = next;
  barrier.oldLayout = from;
  barrier.newLayout = to;
  barrier.srcQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
  barrier.dstQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
  barrier.image = image;
  barrier.subresourceRange = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
  return barrier;
}

std::vector<uint8_t> Texture::_bytes() {
  std::vector<uint8_t> bytes;
  const size_t size = width() * height() * bytesPerPixel(pixelFormat());
  const bool read = gpu_->transfer().read(image_, [&](const uint8_t* pixels) { bytes.assign(pixels, pixels + size); });
  return read ? std::move(bytes) : std::vector<uint8_t>();
}

bool Texture::_readRows(void* rows, size_t bytesPerRow) {
  const size_t tight = width() * bytesPerPixel(pixelFormat());
  return gpu_->transfer().read(image_, [&](const uint8_t* pixels) {
    auto* row = static_cast<uint8_t*>(rows);
    for (size_t y = 0; y < height(); ++y) std::memcpy(row + y * bytesPerRow, pixels + y * tight, tight);
  });
}

}  // namespace ZELPlatform::vulkan
