#pragma once

#include <ZELKit/internal/ZELNetworkFramework.h>

#include "neural/ModelFile.h"

namespace ZELNeural {

class Reader final : public ZELNetworkModelReader {
 public:
  explicit Reader(std::vector<uint8_t> itsBytes) : bytes(std::move(itsBytes)) {}
  const std::vector<uint8_t> bytes;
};

class Model final : public ZELNetworkModel {
 public:
  explicit Model(ModelData itsData) : data(std::move(itsData)) {}
  int32_t rescaleFactor() const override { return kRescaleFactor; }
  const ModelData data;
};

/// The project's own networks, which double luma in each direction. docs/super-resolution.md says which there are and
/// what the types mean.
class Framework final : public ZELNetworkFramework {
 public:
  bool isInputResolutionSupported(const ZELNetworkRequest& request) override;
  std::shared_ptr<const NSURL> modelURL(const ZELNetworkRequest& request) override;
  std::shared_ptr<ZELNetworkModelReader> createReader(const std::shared_ptr<const NSURL>& modelURL) override;
  std::shared_ptr<const ZELNetworkModel> createModel(const std::shared_ptr<ZELNetworkModelReader>& reader) override;
  /// The background tolerance plays no part: every pixel is refined.
  std::shared_ptr<ZELNetwork> createNetwork(const std::shared_ptr<MTLDevice>& device,
                                            const std::shared_ptr<MTLLibrary>& library,
                                            const std::shared_ptr<MTLCommandQueue>& queue, int64_t inputWidth,
                                            int64_t inputHeight, int64_t backgroundTolerance,
                                            const std::shared_ptr<const ZELNetworkModel>& model) override;
};

}  // namespace ZELNeural
