#include "neural/LumaNetwork.h"

#include <ZELPlatform/CVMetalTextureCache.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/NSURL.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "metal/MetalSupport.h"
#include "neural/Framework.h"
#include "neural/ReferenceNetwork.h"

namespace ZELTest {
namespace {

const char kHere = 0;

/// On a real driver, with every step looked at by the validation layer.
class LumaNetworkTest : public metaltest::MetalTest {
 protected:
  void SetUp() override {
    MetalTest::SetUp();
    if (IsSkipped()) return;
    functions_ = device->newLibraryWithFile(NSBundle::pathForResource(&kHere, "default", "metallib"));
    ASSERT_TRUE(functions_);
  }

  static ZELNeural::ModelData model(const std::string& path) {
    return ZELNeural::decodeModel(ZELNeural::readModelFile(path).value_or(std::vector<uint8_t>{}))
        .value_or(ZELNeural::ModelData{});
  }

  std::shared_ptr<ZELNeural::LumaNetwork> network(const ZELNeural::ModelData& data, size_t width, size_t height) {
    return ZELNeural::LumaNetwork::create(device, functions_, queue, static_cast<int64_t>(width),
                                          static_cast<int64_t>(height), data);
  }

  std::shared_ptr<MTLTexture> outputTexture(size_t width, size_t height) {
    return device->newTextureWithDescriptor({.pixelFormat = MTLPixelFormatR8Unorm,
                                             .width = width,
                                             .height = height,
                                             .storageMode = MTLStorageModePrivate,
                                             .usage = MTLTextureUsageShaderRead | MTLTextureUsageShaderWrite});
  }

  /// The picture as the luma plane of a frame of video.
  CVMetalTextureRef lumaPlane(const Plane& plane) {
    const CVPixelBufferRef frame =
        CVPixelBuffer::create(plane.width, plane.height, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
    const CVPixelBuffer::Plane rows = frame->plane(0);
    for (size_t y = 0; y < plane.height; ++y) {
      std::memcpy(static_cast<uint8_t*>(rows.baseAddress) + y * rows.bytesPerRow, &plane.bytes[y * plane.width],
                  plane.width);
    }
    if (!textures_) textures_ = CVMetalTextureCache::create(device);
    return textures_->createTextureFromImage(frame, MTLPixelFormatR8Unorm, plane.width, plane.height, 0);
  }

  Plane enlarged(const ZELNeural::ModelData& data, const Plane& input) {
    const auto made = network(data, input.width, input.height);
    const auto output = outputTexture(input.width * 2, input.height * 2);
    if (!made || !output) return {};
    made->process(lumaPlane(input)->texture(), output);
    return {input.width * 2, input.height * 2, output->_bytes()};
  }

  std::shared_ptr<MTLLibrary> functions_;
  std::shared_ptr<CVMetalTextureCache> textures_;
};

TEST_F(LumaNetworkTest, EqualsThePyTorchNetwork) {
  for (const char* path :
       {VECTORS_DIR "/random.zelluma", MODELS_DIR "/general.zelluma", MODELS_DIR "/screen.zelluma"}) {
    const std::string text(path);
    const std::string name = text.substr(text.rfind('/') + 1, text.rfind('.') - text.rfind('/') - 1);
    const Plane input = readPlane(VECTORS_DIR "/" + name + "-input.pgm");
    ASSERT_GT(input.width, 0U) << name;
    EXPECT_LE(largestDifference(enlarged(model(path), input), readPlane(VECTORS_DIR "/" + name + "-output.pgm")), 1)
        << name;
  }
}

/// Sizes that fill no group of invocations, and one pixel.
TEST_F(LumaNetworkTest, AnySizeEqualsTheReference) {
  const ZELNeural::ModelData data = model(VECTORS_DIR "/random.zelluma");
  for (const auto& [width, height] : {std::pair<size_t, size_t>{1, 1}, {2, 19}, {33, 9}, {16, 16}}) {
    Plane input{width, height, {}};
    for (size_t i = 0; i < width * height; ++i) input.bytes.push_back(static_cast<uint8_t>(i * 151 + i / 7 * 31));
    EXPECT_LE(largestDifference(enlarged(data, input), doubled(data, input)), 1) << width << " x " << height;
  }
}

TEST_F(LumaNetworkTest, TexturesOfAnotherSizeAreLeftAlone) {
  const ZELNeural::ModelData data = model(VECTORS_DIR "/random.zelluma");
  const auto made = network(data, 8, 8);
  ASSERT_TRUE(made);
  Plane input{8, 8, std::vector<uint8_t>(64, 200)};
  const CVMetalTextureRef luma = lumaPlane(input);
  const auto small = outputTexture(15, 16);
  made->process(luma->texture(), small);
  made->process(nullptr, small);
  made->process(luma->texture(), nullptr);
  const std::vector<uint8_t> bytes = small->_bytes();
  EXPECT_TRUE(std::all_of(bytes.begin(), bytes.end(), [](uint8_t byte) { return byte == 0; }));
}

TEST_F(LumaNetworkTest, WhatCannotBeMadeIsNoNetwork) {
  const ZELNeural::ModelData data = model(VECTORS_DIR "/random.zelluma");
  EXPECT_FALSE(network(data, 0, 8));
  EXPECT_FALSE(network(data, 8, 1 << 20));
  EXPECT_FALSE(ZELNeural::LumaNetwork::create(nullptr, functions_, queue, 8, 8, data));
  EXPECT_FALSE(ZELNeural::LumaNetwork::create(device, functions_, nullptr, 8, 8, data));
  EXPECT_FALSE(ZELNeural::LumaNetwork::create(device, library, queue, 8, 8, data)) << "a library without its functions";
  ZELNeural::Framework framework;
  EXPECT_FALSE(framework.createNetwork(device, functions_, queue, 8, 8, 4, nullptr));
}

TEST(NeuralSelector, EachContentTypeHasAModelOfItsOwn) {
  ZELNeural::Framework framework;
  const auto pathFor = [&](int64_t content) {
    return framework.modelURL({.contentType = content, .inputWidth = 960, .inputHeight = 540})->path();
  };
  EXPECT_TRUE(pathFor(0).ends_with("/general.zelluma"));
  EXPECT_TRUE(pathFor(1).ends_with("/screen.zelluma"));
  for (const int64_t content : {0, 1}) {
    EXPECT_TRUE(framework.createModel(framework.createReader(NSURL::fileURLWithPath(pathFor(content))))) << content;
  }
}

TEST(NeuralSelector, SupportsSizesThatAGpuKeepsUpWith) {
  ZELNeural::Framework framework;
  const auto supports = [&](int64_t width, int64_t height, int64_t content = 0, int64_t type = 0) {
    const ZELNetworkRequest request{
        .modelType = type, .contentType = content, .inputWidth = width, .inputHeight = height};
    EXPECT_EQ(framework.modelURL(request) != nullptr, (content == 0 || content == 1) && type == 0);
    return framework.isInputResolutionSupported(request);
  };
  EXPECT_TRUE(supports(960, 540));
  EXPECT_TRUE(supports(1280, 720));
  EXPECT_TRUE(supports(720, 1280));
  EXPECT_TRUE(supports(16, 16));
  EXPECT_TRUE(supports(2048, 450));
  EXPECT_FALSE(supports(1281, 720));
  EXPECT_FALSE(supports(15, 540));
  EXPECT_FALSE(supports(2049, 16));
  EXPECT_FALSE(supports(0, 0));
  EXPECT_FALSE(supports(-960, -540));
  EXPECT_FALSE(supports(INT64_MAX, INT64_MAX));
  EXPECT_TRUE(supports(960, 540, 1));
  EXPECT_FALSE(supports(960, 540, -1));
  EXPECT_FALSE(supports(960, 540, 9)) << "an unknown content type";
  EXPECT_FALSE(supports(960, 540, 0, 1)) << "an unknown model type";
}

}  // namespace
}  // namespace ZELTest
