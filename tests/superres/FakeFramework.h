#pragma once

/// A network behind the boundary, and a GPU before it, that write down what they are asked.

#include <ZELKit/internal/ZELNetworkFramework.h>
#include <ZELPlatform/Metal.h>
#include <ZELPlatform/NSURL.h>

#include <atomic>
#include <optional>
#include <string>
#include <vector>

namespace ZELTest {

class FakeModel final : public ZELNetworkModel {
 public:
  explicit FakeModel(int32_t factor) : factor_(factor) {}
  int32_t rescaleFactor() const override { return factor_; }

 private:
  int32_t factor_;
};

struct FakeReader final : ZELNetworkModelReader {};

class FakeFramework final : public ZELNetworkFramework {
 public:
  bool isInputResolutionSupported(const ZELNetworkRequest& request) override {
    asked = request;
    return supported;
  }
  std::shared_ptr<const NSURL> modelURL(const ZELNetworkRequest& request) override {
    askedForModel = request;
    return url;
  }
  std::shared_ptr<ZELNetworkModelReader> createReader(const std::shared_ptr<const NSURL>& modelURL) override {
    ++readers;
    readPath = modelURL->path();
    return readable ? std::make_shared<FakeReader>() : nullptr;
  }
  std::shared_ptr<const ZELNetworkModel> createModel(const std::shared_ptr<ZELNetworkModelReader>&) override {
    return valid ? std::make_shared<FakeModel>(factor) : nullptr;
  }
  std::shared_ptr<ZELNetwork> createNetwork(const std::shared_ptr<MTLDevice>&, const std::shared_ptr<MTLLibrary>&,
                                            const std::shared_ptr<MTLCommandQueue>&, int64_t width, int64_t height,
                                            int64_t tolerance, const std::shared_ptr<const ZELNetworkModel>&) override {
    made = std::to_string(width) + "x" + std::to_string(height) + " tolerance " + std::to_string(tolerance);
    return networks ? std::make_shared<Network>(*this) : nullptr;
  }

  bool supported = true;
  std::shared_ptr<const NSURL> url = NSURL::fileURLWithPath("/models/one");
  bool readable = true;
  bool valid = true;
  bool networks = true;
  int32_t factor = 2;

  std::optional<ZELNetworkRequest> asked;
  std::optional<ZELNetworkRequest> askedForModel;
  std::atomic<int> readers = 0;
  std::string readPath;
  std::string made;
  std::shared_ptr<MTLTexture> input;
  std::shared_ptr<MTLTexture> output;

 private:
  class Network final : public ZELNetwork {
   public:
    explicit Network(FakeFramework& owner) : owner_(owner) {}
    void process(const std::shared_ptr<MTLTexture>& input, const std::shared_ptr<MTLTexture>& output) override {
      owner_.input = input;
      owner_.output = output;
    }

   private:
    FakeFramework& owner_;
  };
};

class FakeTexture final : public MTLTexture {
 public:
  explicit FakeTexture(const MTLTextureDescriptor& descriptor) : descriptor_(descriptor) {}
  MTLPixelFormat pixelFormat() const override { return descriptor_.pixelFormat; }
  size_t width() const override { return descriptor_.width; }
  size_t height() const override { return descriptor_.height; }
  MTLStorageMode storageMode() const override { return descriptor_.storageMode; }
  uint32_t usage() const override { return descriptor_.usage; }

 private:
  MTLTextureDescriptor descriptor_;
};

struct FakeLibrary final : MTLLibrary {
  std::shared_ptr<MTLFunction> newFunctionWithName(const std::string&) override { return nullptr; }
};

/// Makes textures and libraries and nothing else.
class FakeDevice final : public MTLDevice {
 public:
  std::string name() const override { return "a device of the tests"; }
  bool supportsFeatureSet(MTLFeatureSet set) const override {
    return features && set == MTLFeatureSet_iOS_GPUFamily2_v2;
  }
  std::shared_ptr<MTLLibrary> newLibraryWithFile(const std::string&, std::string*) override {
    ++libraries;
    return std::make_shared<FakeLibrary>();
  }
  std::shared_ptr<MTLTexture> newTextureWithDescriptor(const MTLTextureDescriptor& descriptor) override {
    return textures ? std::make_shared<FakeTexture>(descriptor) : nullptr;
  }
  std::shared_ptr<MTLRenderPipelineState> newRenderPipelineStateWithDescriptor(const MTLRenderPipelineDescriptor&,
                                                                               std::string*) override {
    return nullptr;
  }
  std::shared_ptr<MTLComputePipelineState> newComputePipelineStateWithFunction(const std::shared_ptr<MTLFunction>&,
                                                                               std::string*) override {
    return nullptr;
  }
  std::shared_ptr<MTLBuffer> newBufferWithBytes(const void*, size_t, uint32_t) override { return nullptr; }
  std::shared_ptr<MTLBuffer> newBufferWithLength(size_t, uint32_t) override { return nullptr; }
  std::shared_ptr<MTLCommandQueue> newCommandQueue() override { return nullptr; }
  size_t maximumTextureSize() const override { return 16384; }
  std::shared_ptr<CVMetalTextureCache> _newTextureCache() override { return nullptr; }
  std::shared_ptr<ZELPlatform::DrawableRing> _newDrawableRing(const std::shared_ptr<ZELPlatform::LayerContents>&,
                                                              MTLPixelFormat, size_t, size_t) override {
    return nullptr;
  }

  bool features = true;
  bool textures = true;
  int libraries = 0;
};

}  // namespace ZELTest
