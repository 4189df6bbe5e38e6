#pragma once

#include <ZELKit/internal/ZELNetworkFramework.h>
#include <ZELPlatform/Metal.h>

#include <cstdint>
#include <vector>

#include "neural/ModelFile.h"

namespace ZELNeural {

/// The model's numbers in the order in which the shader functions read them, in groups of four (neural/shaders).
struct PackedModel {
  std::vector<float> numbers;
  /// Where the numbers of each layer begin, in groups of four.
  std::vector<uint32_t> begins;
};
PackedModel packModel(const ModelData& model);

/// The compiled functions that the layers are made of.
struct Pipelines {
  std::shared_ptr<MTLComputePipelineState> first;
  std::shared_ptr<MTLComputePipelineState> hidden;
  std::shared_ptr<MTLComputePipelineState> last;
};

/// A model's layers as compute functions, one dispatch each.
///
/// Between the layers, the channels of a pixel lie in half precision in four texels beside each other. Sums are single
/// precision.
class LumaNetwork final : public ZELNetwork {
 public:
  /// Null when the library lacks a function, the driver refuses, a side is out of reach, or memory is short.
  static std::shared_ptr<LumaNetwork> create(const std::shared_ptr<MTLDevice>& device,
                                             const std::shared_ptr<MTLLibrary>& library,
                                             std::shared_ptr<MTLCommandQueue> queue, int64_t inputWidth,
                                             int64_t inputHeight, const ModelData& model);

  /// Does nothing when a texture is missing or of another size than the network's.
  void process(const std::shared_ptr<MTLTexture>& inputTexture,
               const std::shared_ptr<MTLTexture>& outputTexture) override;

 private:
  LumaNetwork() = default;
  bool fits(const MTLTexture* input, const MTLTexture* output) const;
  void dispatch(MTLComputeCommandEncoder& encoder, const std::shared_ptr<MTLComputePipelineState>& pipeline,
                uint32_t begin) const;

  std::shared_ptr<MTLCommandQueue> queue_;
  std::shared_ptr<const Pipelines> pipelines_;
  std::shared_ptr<MTLBuffer> numbers_;
  std::vector<uint32_t> begins_;
  /// What the layers write and read by turns.
  std::shared_ptr<MTLTexture> features_[2];
  uint32_t width_ = 0;
  uint32_t height_ = 0;
};

}  // namespace ZELNeural
