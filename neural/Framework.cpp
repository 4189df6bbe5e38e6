#include "neural/Framework.h"

#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/NSURL.h>

#include "neural/LumaNetwork.h"

namespace ZELNeural {
namespace {

constexpr int64_t kShortestSide = 16;
constexpr int64_t kLongestSide = 2048;
/// 1280 x 720, which takes a GPU of 2 TFLOP/s 7.4 of the 16.7 ms that a frame has at 60 frames per second.
constexpr int64_t kMostPixels = 921'600;

/// Its address tells where the shared object and its models are.
const char kHere = 0;

/// What the content types mean: anything, and what was drawn rather than photographed.
constexpr int64_t kGeneralContent = 0;
constexpr int64_t kScreenContent = 1;

/// The model's file; empty where there is none.
std::string modelPath(const ZELNetworkRequest& request) {
  if (request.modelType != 0) return {};
  if (request.contentType == kGeneralContent) return NSBundle::pathForResource(&kHere, "general", "zelluma");
  if (request.contentType == kScreenContent) return NSBundle::pathForResource(&kHere, "screen", "zelluma");
  return {};
}

}  // namespace

bool Framework::isInputResolutionSupported(const ZELNetworkRequest& request) {
  for (const int64_t side : {request.inputWidth, request.inputHeight}) {
    if (side < kShortestSide || side > kLongestSide) return false;
  }
  return request.inputWidth * request.inputHeight <= kMostPixels && !modelPath(request).empty();
}

std::shared_ptr<const NSURL> Framework::modelURL(const ZELNetworkRequest& request) {
  const std::string path = modelPath(request);
  return path.empty() ? nullptr : NSURL::fileURLWithPath(path);
}

std::shared_ptr<ZELNetworkModelReader> Framework::createReader(const std::shared_ptr<const NSURL>& modelURL) {
  if (!modelURL) return nullptr;
  std::optional<std::vector<uint8_t>> bytes = readModelFile(modelURL->path());
  return bytes ? std::make_shared<Reader>(*std::move(bytes)) : nullptr;
}

std::shared_ptr<const ZELNetworkModel> Framework::createModel(const std::shared_ptr<ZELNetworkModelReader>& reader) {
  const auto own = std::dynamic_pointer_cast<Reader>(reader);
  std::optional<ModelData> data = own ? decodeModel(own->bytes) : std::nullopt;
  return data ? std::make_shared<Model>(*std::move(data)) : nullptr;
}

std::shared_ptr<ZELNetwork> Framework::createNetwork(const std::shared_ptr<MTLDevice>& device,
                                                     const std::shared_ptr<MTLLibrary>& library,
                                                     const std::shared_ptr<MTLCommandQueue>& queue, int64_t inputWidth,
                                                     int64_t inputHeight, int64_t,
                                                     const std::shared_ptr<const ZELNetworkModel>& model) {
  const auto own = std::dynamic_pointer_cast<const Model>(model);
  return own ? LumaNetwork::create(device, library, queue, inputWidth, inputHeight, own->data) : nullptr;
}

}  // namespace ZELNeural
