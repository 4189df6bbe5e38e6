#include "drivers/vulkan/Pipeline.h"

#include "drivers/vulkan/Library.h"

#include <array>
#include <optional>
#include <vector>

namespace ZELPlatform::vulkan {
namespace {

VkPipelineShaderStageCreateInfo stageInfo(VkShaderStageFlagBits stage, VkShaderModule module) {
  VkPipelineShaderStageCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO;
  info.stage = stage;
  info.module = module;
  info.pName = "main";
  return info;
}

/// The attributes and buffers of a vertex descriptor in Vulkan's terms.
struct VertexInput {
  std::vector<VkVertexInputAttributeDescription> attributes;
  std::vector<VkVertexInputBindingDescription> buffers;
  uint32_t bufferBits = 0;
};

/// None when an attribute lies in a buffer that does not exist or has no stride.
std::optional<VertexInput> vertexInput(const MTLVertexDescriptor& vertices) {
  VertexInput input;
  for (uint32_t i = 0; i < vertices.attributes.size(); ++i) {
    const MTLVertexAttributeDescriptor& attribute = vertices.attributes[i];
    if (attribute.format == MTLVertexFormatInvalid) continue;
    constexpr size_t kAttributeBytes = 8;
    if (attribute.format != MTLVertexFormatFloat2 || attribute.bufferIndex >= vertices.layouts.size()) return {};
    const auto buffer = static_cast<uint32_t>(attribute.bufferIndex);
    const size_t stride = vertices.layouts[buffer].stride;
    if (attribute.offset + kAttributeBytes > stride || stride > 2048) return {};
    input.attributes.push_back({i, buffer, VK_FORMAT_R32G32_SFLOAT, static_cast<uint32_t>(attribute.offset)});
    if ((input.bufferBits & (1U << buffer)) != 0) continue;
    input.bufferBits |= 1U << buffer;
    input.buffers.push_back({buffer, static_cast<uint32_t>(stride), VK_VERTEX_INPUT_RATE_VERTEX});
  }
  return input;
}

/// The function for this GPU if it is of the stage and declares nothing that the layout has not.
std::shared_ptr<Function> fitting(Gpu& gpu, const std::shared_ptr<MTLFunction>& given, ShaderStage stage,
                                  uint32_t allowed, std::string* error) {
  const auto refuse = [error](const std::string& why) {
    if (error) *error = why;
    return nullptr;
  };
  auto function = std::dynamic_pointer_cast<Function>(given);
  if (!function) return refuse("A function of the pipeline is missing.");
  if (function->traits().stage != stage) return refuse("The function " + function->name() + " is of another kind.");
  if ((function->traits().bindings & ~allowed) != 0) {
    return refuse("The function " + function->name() + " declares a binding that does not exist.");
  }
  return function->on(gpu);
}

}  // namespace

std::shared_ptr<Pipeline> Pipeline::createRender(Gpu& gpu, const MTLRenderPipelineDescriptor& descriptor,
                                                 std::string* error) {
  const auto refuse = [error](const char* why) {
    if (error) *error = why;
    return nullptr;
  };
  const auto vertex = fitting(gpu, descriptor.vertexFunction, ShaderStage::Vertex, 0, error);
  const auto fragment =
      vertex ? fitting(gpu, descriptor.fragmentFunction, ShaderStage::Fragment, kRenderBindings, error) : nullptr;
  if (!fragment) return nullptr;
  const MTLPixelFormat format = descriptor.colorAttachments[0].pixelFormat;
  if ((gpu.optimalFeatures(vulkanFormat(format)) & VK_FORMAT_FEATURE_COLOR_ATTACHMENT_BIT) == 0) {
    return refuse("The pipeline's pixel format cannot be drawn to.");
  }
  auto pipeline = fragment->pipeline({vertex, descriptor.vertexDescriptor, format}, [&]() -> std::shared_ptr<Pipeline> {
    std::shared_ptr<Pipeline> made(new Pipeline(fragment->gpu().shared_from_this()));
    made->bindings_ = fragment->traits().bindings;
    made->targetFormat_ = vulkanFormat(format);
    return made->compile(vertex->module(), fragment->module(), descriptor.vertexDescriptor) ? made : nullptr;
  });
  return pipeline ? pipeline : refuse("The driver does not take the pipeline.");
}

std::shared_ptr<Pipeline> Pipeline::createCompute(Gpu& gpu, const std::shared_ptr<MTLFunction>& function,
                                                  std::string* error) {
  const auto compute = fitting(gpu, function, ShaderStage::Compute, kComputeBindings, error);
  if (!compute) return nullptr;
  auto pipeline = compute->pipeline({}, [&]() -> std::shared_ptr<Pipeline> {
    std::shared_ptr<Pipeline> made(new Pipeline(compute->gpu().shared_from_this()));
    made->bindings_ = compute->traits().bindings;
    made->groupSize_ = compute->traits().groupSize;
    return made->compile(compute->module()) ? made : nullptr;
  });
  if (!pipeline && error) *error = "The driver does not take the pipeline.";
  return pipeline;
}

bool Pipeline::compile(VkShaderModule vertexModule, VkShaderModule fragmentModule,
                       const MTLVertexDescriptor& vertices) {
  const auto input = vertexInput(vertices);
  const VkRenderPass pass = gpu_->layouts().renderPass(targetFormat_, false, VK_IMAGE_LAYOUT_GENERAL);
  if (!vertexModule || !fragmentModule || !input || !pass) return false;
  vertexBuffers_ = input->bufferBits;
  const std::array<VkPipelineShaderStageCreateInfo, 2> stages{stageInfo(VK_SHADER_STAGE_VERTEX_BIT, vertexModule),
                                                              stageInfo(VK_SHADER_STAGE_FRAGMENT_BIT, fragmentModule)};
  VkPipelineVertexInputStateCreateInfo vertexState{};
  vertexState.sType = VK_STRUCTURE_TYPE_PIPELINE_VERTEX_INPUT_STATE_CREATE_INFO;
  vertexState.vertexBindingDescriptionCount = static_cast<uint32_t>(input->buffers.size());
  vertexState.pVertexBindingDescriptions = input->buffers.data();
  vertexState.vertexAttributeDescriptionCount = static_cast<uint32_t>(input->attributes.size());
  vertexState.pVertexAttributeDescriptions = input->attributes.data();
  VkPipelineInputAssemblyStateCreateInfo assembly{};
  assembly.sType = VK_STRUCTURE_TYPE_PIPELINE_INPUT_ASSEMBLY_STATE_CREATE_INFO;
  assembly.topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_LIST;
  VkPipelineViewportStateCreateInfo viewport{};
  viewport.sType = VK_STRUCTURE_TYPE_PIPELINE_VIEWPORT_STATE_CREATE_INFO;
  viewport.viewportCount = 1;
  viewport.scissorCount = 1;
  VkPipelineRasterizationStateCreateInfo raster{};
  raster.sType = VK_STRUCTURE_TYPE_PIPELINE_RASTERIZATION_STATE_CREATE_INFO;
  raster.cullMode = VK_CULL_MODE_NONE;
  raster.lineWidth = 1.0F;
  VkPipelineMultisampleStateCreateInfo samples{};
  samples.sType = VK_STRUCTURE_TYPE_PIPELINE_MULTISAMPLE_STATE_CREATE_INFO;
  samples.rasterizationSamples = VK_SAMPLE_COUNT_1_BIT;
  VkPipelineColorBlendAttachmentState attachment{};
  attachment.colorWriteMask =
      VK_COLOR_COMPONENT_R_BIT | VK_COLOR_COMPONENT_G_BIT | VK_COLOR_COMPONENT_B_BIT | VK_COLOR_COMPONENT_A_BIT;
  VkPipelineColorBlendStateCreateInfo blend{};
  blend.sType = VK_STRUCTURE_TYPE_PIPELINE_COLOR_BLEND_STATE_CREATE_INFO;
  blend.attachmentCount = 1;
  blend.pAttachments = &attachment;
  const std::array<VkDynamicState, 2> dynamicStates{VK_DYNAMIC_STATE_VIEWPORT, VK_DYNAMIC_STATE_SCISSOR};
  VkPipelineDynamicStateCreateInfo dynamic{};
  dynamic.sType = VK_STRUCTURE_TYPE_PIPELINE_DYNAMIC_STATE_CREATE_INFO;
  dynamic.dynamicStateCount = static_cast<uint32_t>(dynamicStates.size());
  dynamic.pDynamicStates = dynamicStates.data();
  VkGraphicsPipelineCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_GRAPHICS_PIPELINE_CREATE_INFO;
  info.stageCount = static_cast<uint32_t>(stages.size());
  info.pStages = stages.data();
  info.pVertexInputState = &vertexState;
  info.pInputAssemblyState = &assembly;
  info.pViewportState = &viewport;
  info.pRasterizationState = &raster;
  info.pMultisampleState = &samples;
  info.pColorBlendState = &blend;
  info.pDynamicState = &dynamic;
  info.layout = gpu_->layouts().pipelineLayout(PipelineKind::Render);
  info.renderPass = pass;
  VkPipeline made = VK_NULL_HANDLE;
  return gpu_->succeeded(gpu_->functions().vkCreateGraphicsPipelines(gpu_->device(), gpu_->layouts().pipelineCache(), 1,
                                                                     &info, nullptr, &made)) &&
         handle_.adopt(*gpu_, made);
}

bool Pipeline::compile(VkShaderModule computeModule) {
  if (!computeModule) return false;
  VkComputePipelineCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_COMPUTE_PIPELINE_CREATE_INFO;
  info.stage = stageInfo(VK_SHADER_STAGE_COMPUTE_BIT, computeModule);
  info.layout = gpu_->layouts().pipelineLayout(PipelineKind::Compute);
  VkPipeline made = VK_NULL_HANDLE;
  return gpu_->succeeded(gpu_->functions().vkCreateComputePipelines(gpu_->device(), gpu_->layouts().pipelineCache(), 1,
                                                                    &info, nullptr, &made)) &&
         handle_.adopt(*gpu_, made);
}

}  // namespace ZELPlatform::vulkan
