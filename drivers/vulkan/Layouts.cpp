#include "drivers/vulkan/Layouts.h"

#include <vector>

namespace ZELPlatform::vulkan {
namespace {

VkDescriptorType descriptorType(uint32_t binding) {
  if (binding < kSampledBindings) return VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER;
  return binding < kFirstStorageBuffer ? VK_DESCRIPTOR_TYPE_STORAGE_IMAGE : VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
}

}  // namespace

std::unique_ptr<Layouts> Layouts::create(Gpu& gpu) {
  std::unique_ptr<Layouts> layouts(new Layouts(gpu));
  VkPipelineCacheCreateInfo cache{};
  cache.sType = VK_STRUCTURE_TYPE_PIPELINE_CACHE_CREATE_INFO;
  constexpr VkShaderStageFlags kBoth = VK_SHADER_STAGE_VERTEX_BIT | VK_SHADER_STAGE_FRAGMENT_BIT;
  const bool made = layouts->makeSampler() &&
                    layouts->makePair(&layouts->render_, kRenderBindings, VK_SHADER_STAGE_FRAGMENT_BIT, kBoth) &&
                    layouts->makePair(&layouts->compute_, kComputeBindings, VK_SHADER_STAGE_COMPUTE_BIT,
                                      VK_SHADER_STAGE_COMPUTE_BIT) &&
                    layouts->cache_.create<&DeviceFunctions::vkCreatePipelineCache>(gpu, cache);
  return made ? std::move(layouts) : nullptr;
}

bool Layouts::makeSampler() {
  VkSamplerCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_SAMPLER_CREATE_INFO;
  info.magFilter = VK_FILTER_LINEAR;
  info.minFilter = VK_FILTER_LINEAR;
  info.mipmapMode = VK_SAMPLER_MIPMAP_MODE_NEAREST;
  info.addressModeU = VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE;
  info.addressModeV = VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE;
  info.addressModeW = VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE;
  return sampler_.create<&DeviceFunctions::vkCreateSampler>(gpu_, info);
}

bool Layouts::makePair(Pair* pair, uint32_t bindings, VkShaderStageFlags bindingStages,
                       VkShaderStageFlags inlineStages) {
  const VkSampler sampler = sampler_.get();
  std::vector<VkDescriptorSetLayoutBinding> list;
  for (uint32_t binding = 0; binding < 32; ++binding) {
    if ((bindings & (1U << binding)) == 0) continue;
    const VkDescriptorType type = descriptorType(binding);
    const bool sampled = type == VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER;
    list.push_back({binding, type, 1, bindingStages, sampled ? &sampler : nullptr});
  }
  VkDescriptorSetLayoutCreateInfo set{};
  set.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO;
  set.bindingCount = static_cast<uint32_t>(list.size());
  set.pBindings = list.data();
  if (!pair->set.create<&DeviceFunctions::vkCreateDescriptorSetLayout>(gpu_, set)) return false;
  const VkDescriptorSetLayout setLayout = pair->set.get();
  const VkPushConstantRange inlineBytes{inlineStages, 0, kInlineBytes};
  VkPipelineLayoutCreateInfo pipeline{};
  pipeline.sType = VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO;
  pipeline.setLayoutCount = 1;
  pipeline.pSetLayouts = &setLayout;
  pipeline.pushConstantRangeCount = 1;
  pipeline.pPushConstantRanges = &inlineBytes;
  return pair->pipeline.create<&DeviceFunctions::vkCreatePipelineLayout>(gpu_, pipeline);
}

VkRenderPass Layouts::renderPass(VkFormat format, bool keepsPixels, VkImageLayout home) {
  const std::lock_guard lock(mutex_);
  RenderPassHandle& pass = passes_[{format, keepsPixels, home}];
  if (pass) return pass.get();
  VkAttachmentDescription attachment{};
  attachment.format = format;
  attachment.samples = VK_SAMPLE_COUNT_1_BIT;
  attachment.loadOp = keepsPixels ? VK_ATTACHMENT_LOAD_OP_LOAD : VK_ATTACHMENT_LOAD_OP_CLEAR;
  attachment.storeOp = VK_ATTACHMENT_STORE_OP_STORE;
  attachment.stencilLoadOp = VK_ATTACHMENT_LOAD_OP_DONT_CARE;
  attachment.stencilStoreOp = VK_ATTACHMENT_STORE_OP_DONT_CARE;
  attachment.initialLayout = keepsPixels ? home : VK_IMAGE_LAYOUT_UNDEFINED;
  attachment.finalLayout = home;
  const VkAttachmentReference color{0, VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL};
  VkSubpassDescription subpass{};
  subpass.pipelineBindPoint = VK_PIPELINE_BIND_POINT_GRAPHICS;
  subpass.colorAttachmentCount = 1;
  subpass.pColorAttachments = &color;
  // Whatever wrote or read the image before, and whatever reads or writes it afterwards, in any command buffer.
  constexpr VkPipelineStageFlags kOthers =
      VK_PIPELINE_STAGE_FRAGMENT_SHADER_BIT | VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT | VK_PIPELINE_STAGE_TRANSFER_BIT;
  constexpr VkPipelineStageFlags kPass = VK_PIPELINE_STAGE_COLOR_ATTACHMENT_OUTPUT_BIT;
  constexpr VkAccessFlags kPassAccess = VK_ACCESS_COLOR_ATTACHMENT_READ_BIT | VK_ACCESS_COLOR_ATTACHMENT_WRITE_BIT;
  const std::array<VkSubpassDependency, 2> dependencies{{
      {VK_SUBPASS_EXTERNAL, 0, kOthers | kPass, kPass,
       VK_ACCESS_SHADER_WRITE_BIT | VK_ACCESS_TRANSFER_WRITE_BIT | VK_ACCESS_COLOR_ATTACHMENT_WRITE_BIT, kPassAccess,
       0},
      {0, VK_SUBPASS_EXTERNAL, kPass, kOthers | kPass, VK_ACCESS_COLOR_ATTACHMENT_WRITE_BIT,
       VK_ACCESS_SHADER_READ_BIT | VK_ACCESS_SHADER_WRITE_BIT | VK_ACCESS_TRANSFER_READ_BIT |
           VK_ACCESS_TRANSFER_WRITE_BIT | kPassAccess,
       0},
  }};
  VkRenderPassCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_RENDER_PASS_CREATE_INFO;
  info.attachmentCount = 1;
  info.pAttachments = &attachment;
  info.subpassCount = 1;
  info.pSubpasses = &subpass;
  info.dependencyCount = static_cast<uint32_t>(dependencies.size());
  info.pDependencies = dependencies.data();
  pass.create<&DeviceFunctions::vkCreateRenderPass>(gpu_, info);
  return pass.get();
}

}  // namespace ZELPlatform::vulkan
