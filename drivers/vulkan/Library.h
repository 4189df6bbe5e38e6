#pragma once

#include "drivers/vulkan/Handle.h"
#include "platform/metal/LibraryFile.h"

#include <ZELPlatform/MTLPipeline.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace ZELPlatform::vulkan {

class Pipeline;
class Function;

/// What tells render pipelines of one fragment function apart.
struct RenderPipelineKey {
  std::weak_ptr<Function> vertexFunction;
  MTLVertexDescriptor vertices;
  MTLPixelFormat pixelFormat = MTLPixelFormatInvalid;
};

/// A shader module, and the pipelines that were made of it: the same parts give the same pipeline, for which the driver
/// compiles once, however many views there are.
class Function final : public MTLFunction, public std::enable_shared_from_this<Function> {
 public:
  Function(std::shared_ptr<Gpu> gpu, LibraryFunction contents) : gpu_(std::move(gpu)), contents_(std::move(contents)) {}

  std::string name() const override { return contents_.name; }
  const ModuleTraits& traits() const { return contents_.traits; }
  Gpu& gpu() const { return *gpu_; }

  /// The function for that GPU: itself, or one like it, made on first use, for another GPU than its library's. So a
  /// library outlives a lost device.
  std::shared_ptr<Function> on(Gpu& gpu);

  /// The module, made on first use; null when memory is short.
  VkShaderModule module();

  /// The pipeline that was kept under the key, else the one that `make` makes, which may be null. `key` belongs to
  /// render pipelines: a compute function has just one pipeline.
  template <typename Make>
  std::shared_ptr<Pipeline> pipeline(const RenderPipelineKey& key, Make make) {
    const std::lock_guard lock(mutex_);
    if (auto kept = find(key)) return kept;
    auto made = make();
    if (made) pipelines_.emplace_back(key, made);
    return made;
  }

 private:
  std::shared_ptr<Pipeline> find(const RenderPipelineKey& key) const;

  std::shared_ptr<Gpu> gpu_;
  LibraryFunction contents_;
  std::mutex siblingMutex_;
  std::shared_ptr<Function> sibling_;
  std::mutex moduleMutex_;
  ShaderModuleHandle module_;
  std::mutex mutex_;
  std::vector<std::pair<RenderPipelineKey, std::shared_ptr<Pipeline>>> pipelines_;
};

/// The functions of a library file.
class Library final : public MTLLibrary {
 public:
  Library(const std::shared_ptr<Gpu>& gpu, std::vector<LibraryFunction> functions);
  std::shared_ptr<MTLFunction> newFunctionWithName(const std::string& name) override;

 private:
  std::map<std::string, std::shared_ptr<Function>> functions_;
};

}  // namespace ZELPlatform::vulkan
