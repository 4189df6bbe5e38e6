#include "neural/LumaNetwork.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace ZELNeural {
namespace {

/// Numbers that shader functions read at once.
constexpr uint32_t kGroup = 4;
constexpr uint32_t kChannelGroups = kChannels / kGroup;

// The numbers by which the functions find their textures: what is written comes first.
constexpr size_t kWrittenTexture = 0;
constexpr size_t kReadTexture = 4;
constexpr size_t kLumaTexture = 5;

/// What every function is given beside its textures.
struct Arguments {
  int32_t width;
  int32_t height;
  uint32_t begin;
};

/// By row, column, input and output: the functions go over the taps and add up all outputs at once.
void packWeights(const Layer& layer, std::vector<float>& numbers) {
  for (size_t row = 0; row < layer.kernel; ++row) {
    for (size_t column = 0; column < layer.kernel; ++column) {
      for (size_t input = 0; input < layer.inputs; ++input) {
        for (size_t output = 0; output < layer.outputs; ++output) {
          numbers.push_back(layer.weight(output, input, row, column));
        }
      }
    }
  }
}

void packBase(const ModelData& model, std::vector<float>& numbers) {
  constexpr size_t kTaps = size_t{kBaseKernel} * kBaseKernel;
  for (size_t tap = 0; tap < kTaps; ++tap) {
    for (size_t phase = 0; phase < kPhases; ++phase) numbers.push_back(model.base[phase * kTaps + tap]);
  }
}

std::shared_ptr<MTLComputePipelineState> pipelineNamed(MTLDevice& device, MTLLibrary& library, const char* name) {
  const std::shared_ptr<MTLFunction> function = library.newFunctionWithName(name);
  return function ? device.newComputePipelineStateWithFunction(function) : nullptr;
}

std::shared_ptr<const Pipelines> compilePipelines(MTLDevice& device, MTLLibrary& library) {
  Pipelines made{pipelineNamed(device, library, "neural_first"), pipelineNamed(device, library, "neural_hidden"),
                 pipelineNamed(device, library, "neural_last")};
  if (!made.first || !made.hidden || !made.last) return nullptr;
  return std::make_shared<const Pipelines>(std::move(made));
}

/// The functions of the device and library that were used last: compiling takes longer than everything else, and a
/// program that switches super-resolution off and on again would wait for it each time.
std::shared_ptr<const Pipelines> pipelinesOf(const std::shared_ptr<MTLDevice>& device,
                                             const std::shared_ptr<MTLLibrary>& library) {
  struct Kept {
    std::mutex mutex;
    std::weak_ptr<MTLDevice> device;
    std::weak_ptr<MTLLibrary> library;
    std::shared_ptr<const Pipelines> pipelines;
  };
  // Never destroyed: a network may still be made on another thread while the process ends.
  static auto* kept = new Kept;
  const std::lock_guard lock(kept->mutex);
  if (!kept->pipelines || kept->device.lock() != device || kept->library.lock() != library) {
    kept->pipelines = compilePipelines(*device, *library);
    kept->device = device;
    kept->library = library;
  }
  return kept->pipelines;
}

std::shared_ptr<MTLTexture> featureTexture(MTLDevice& device, uint32_t width, uint32_t height) {
  return device.newTextureWithDescriptor({.pixelFormat = MTLPixelFormatRGBA16Float,
                                          .width = size_t{width} * kChannelGroups,
                                          .height = height,
                                          .storageMode = MTLStorageModePrivate,
                                          .usage = MTLTextureUsageShaderRead | MTLTextureUsageShaderWrite});
}

}  // namespace

PackedModel packModel(const ModelData& model) {
  PackedModel packed;
  std::vector<float>& numbers = packed.numbers;
  for (const Layer& layer : model.layers) {
    packed.begins.push_back(static_cast<uint32_t>(numbers.size() / kGroup));
    numbers.insert(numbers.end(), layer.biases.begin(), layer.biases.end());
    numbers.insert(numbers.end(), layer.slopes.begin(), layer.slopes.end());
    if (&layer == &model.layers.back()) packBase(model, numbers);
    packWeights(layer, numbers);
  }
  return packed;
}

std::shared_ptr<LumaNetwork> LumaNetwork::create(const std::shared_ptr<MTLDevice>& device,
                                                 const std::shared_ptr<MTLLibrary>& library,
                                                 std::shared_ptr<MTLCommandQueue> queue, int64_t inputWidth,
                                                 int64_t inputHeight, const ModelData& model) {
  if (!device || !library || !queue) return nullptr;
  const auto most = static_cast<int64_t>(device->maximumTextureSize() / kChannelGroups);
  if (std::min(inputWidth, inputHeight) < 1 || std::max(inputWidth, inputHeight) > most) return nullptr;
  const std::shared_ptr<LumaNetwork> network(new LumaNetwork);
  network->queue_ = std::move(queue);
  network->width_ = static_cast<uint32_t>(inputWidth);
  network->height_ = static_cast<uint32_t>(inputHeight);
  network->pipelines_ = pipelinesOf(device, library);
  PackedModel packed = packModel(model);
  network->begins_ = std::move(packed.begins);
  network->numbers_ = device->newBufferWithBytes(packed.numbers.data(), packed.numbers.size() * sizeof(float),
                                                 MTLResourceStorageModeShared);
  for (auto& texture : network->features_) texture = featureTexture(*device, network->width_, network->height_);
  const bool whole = network->pipelines_ && network->numbers_ && network->features_[0] && network->features_[1];
  return whole ? network : nullptr;
}

void LumaNetwork::process(const std::shared_ptr<MTLTexture>& inputTexture,
                          const std::shared_ptr<MTLTexture>& outputTexture) {
  if (!fits(inputTexture.get(), outputTexture.get())) return;
  const std::shared_ptr<MTLCommandBuffer> commands = queue_->commandBuffer();
  const std::shared_ptr<MTLComputeCommandEncoder> encoder = commands ? commands->computeCommandEncoder() : nullptr;
  if (!encoder) return;
  encoder->setBuffer(numbers_, 0, 0);
  encoder->setTexture(inputTexture, kLumaTexture);
  encoder->setTexture(features_[0], kWrittenTexture);
  dispatch(*encoder, pipelines_->first, begins_.front());
  size_t newest = 0;
  for (size_t layer = 1; layer + 1 < begins_.size(); ++layer) {
    encoder->setTexture(features_[newest], kReadTexture);
    newest = 1 - newest;
    encoder->setTexture(features_[newest], kWrittenTexture);
    dispatch(*encoder, pipelines_->hidden, begins_[layer]);
  }
  encoder->setTexture(features_[newest], kReadTexture);
  encoder->setTexture(outputTexture, kWrittenTexture);
  dispatch(*encoder, pipelines_->last, begins_.back());
  encoder->endEncoding();
  commands->commit();
}

bool LumaNetwork::fits(const MTLTexture* input, const MTLTexture* output) const {
  return input && output && input->width() == width_ && input->height() == height_ &&
         output->width() == size_t{width_} * kRescaleFactor && output->height() == size_t{height_} * kRescaleFactor;
}

void LumaNetwork::dispatch(MTLComputeCommandEncoder& encoder, const std::shared_ptr<MTLComputePipelineState>& pipeline,
                           uint32_t begin) const {
  const Arguments arguments{static_cast<int32_t>(width_), static_cast<int32_t>(height_), begin};
  const MTLSize group = pipeline->threadsPerThreadgroup();
  encoder.setComputePipelineState(pipeline);
  encoder.setBytes(&arguments, sizeof arguments, 0);
  encoder.dispatchThreadgroups(
      MTLSizeMake((width_ + group.width - 1) / group.width, (height_ + group.height - 1) / group.height, 1), group);
}

}  // namespace ZELNeural
