#include "drivers/vulkan/Library.h"

#include "drivers/vulkan/Pipeline.h"

#include <algorithm>

namespace ZELPlatform::vulkan {
namespace {

bool sameVertices(const MTLVertexDescriptor& one, const MTLVertexDescriptor& other) {
  const auto sameAttribute = [](const auto& a, const auto& b) {
    return a.format == b.format && a.offset == b.offset && a.bufferIndex == b.bufferIndex;
  };
  const auto sameLayout = [](const auto& a, const auto& b) { return a.stride == b.stride; };
  return std::equal(one.attributes.begin(), one.attributes.end(), other.attributes.begin(), sameAttribute) &&
         std::equal(one.layouts.begin(), one.layouts.end(), other.layouts.begin(), sameLayout);
}

bool sameKey(const RenderPipelineKey& one, const RenderPipelineKey& other) {
  return one.vertexFunction.lock() == other.vertexFunction.lock() && one.pixelFormat == other.pixelFormat &&
         sameVertices(one.vertices, other.vertices);
}

}  // namespace

std::shared_ptr<Function> Function::on(Gpu& gpu) {
  if (&gpu == gpu_.get()) return shared_from_this();
  const std::lock_guard lock(siblingMutex_);
  if (!sibling_ || &sibling_->gpu() != &gpu) sibling_ = std::make_shared<Function>(gpu.shared_from_this(), contents_);
  return sibling_;
}

VkShaderModule Function::module() {
  const std::lock_guard lock(moduleMutex_);
  if (!module_) {
    VkShaderModuleCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO;
    info.codeSize = contents_.code.size() * sizeof(uint32_t);
    info.pCode = contents_.code.data();
    module_.create<&DeviceFunctions::vkCreateShaderModule>(*gpu_, info);
  }
  return module_.get();
}

std::shared_ptr<Pipeline> Function::find(const RenderPipelineKey& key) const {
  const auto found = std::find_if(pipelines_.begin(), pipelines_.end(),
                                  [&key](const auto& entry) { return sameKey(entry.first, key); });
  return found != pipelines_.end() ? found->second : nullptr;
}

Library::Library(const std::shared_ptr<Gpu>& gpu, std::vector<LibraryFunction> functions) {
  for (LibraryFunction& function : functions) {
    const std::string name = function.name;
    functions_[name] = std::make_shared<Function>(gpu, std::move(function));
  }
}

std::shared_ptr<MTLFunction> Library::newFunctionWithName(const std::string& name) {
  const auto found = functions_.find(name);
  return found != functions_.end() ? found->second : nullptr;
}

}  // namespace ZELPlatform::vulkan
