#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "backend/FakeMetal.h"
#include "metal/ZELMetalRenderer.h"

// The pipelines, the uniform record, and what is encoded for a frame.

namespace ZELTest {
namespace {

const char* const kFunctions[] = {
    "fs_rgb_flat",    "fs_yuv_flat",    "fs_rgb_equirectangular", "fs_yuv_equirectangular",
    "fs_rgb_cubemap", "fs_yuv_cubemap", "fs_rgb_segmentedsphere", "fs_yuv_segmentedsphere"};

class Plane final : public CVMetalTexture {
 public:
  explicit Plane(const char* name) : texture_(std::make_shared<FakeTexture>(name, MTLPixelFormatR8Unorm, 4, 4)) {}
  std::shared_ptr<MTLTexture> texture() const override { return texture_; }
  bool isCopy() const override { return false; }

 private:
  std::shared_ptr<MTLTexture> texture_;
};

class MetalRenderer : public testing::Test {
 protected:
  void SetUp() override { FakeMetal::shared().reset(); }

  static std::shared_ptr<ZELMetalRenderer> create() {
    return ZELMetalRenderer::createWithMetalDevice(FakeMetal::shared().createDevice());
  }

  /// The log of one frame's encoding.
  static std::vector<std::string> encode(const ZELMetalTexture& texture, const ZELInternalRenderState* state) {
    const auto device = FakeMetal::shared().createDevice();
    const auto renderer = ZELMetalRenderer::createWithMetalDevice(device);
    const auto commandBuffer = device->newCommandQueue()->commandBuffer();
    FakeMetal::shared().takeLog();
    renderer->renderFrameWithRenderTarget(std::make_shared<FakeTexture>("target", MTLPixelFormatBGRA8Unorm, 8, 8),
                                          texture, state, *commandBuffer);
    return FakeMetal::shared().takeLog();
  }

  const std::shared_ptr<ZELMetalTexture> rgb_ =
      ZELMetalTexture::createWithSize(CGSizeMake(300, 200), std::make_shared<Plane>("colour"));
  const std::shared_ptr<ZELMetalTexture> yuv_ = ZELMetalTexture::createWithSize(
      CGSizeMake(300, 200), std::make_shared<Plane>("luma"), std::make_shared<Plane>("chroma"));
};

TEST_F(MetalRenderer, CompilesEightPipelines) {
  std::vector<std::string> expected;
  for (const std::string name : kFunctions) {
    expected.push_back("compile vs_main " + name + " for BGRA8, corner 29 0+0 every 8");
  }
  ASSERT_TRUE(create());
  EXPECT_EQ(FakeMetal::shared().takeLog(), expected);
}

TEST_F(MetalRenderer, IsAbsentWithoutAnyOfItsParts) {
  EXPECT_FALSE(ZELMetalRenderer::createWithMetalDevice(nullptr));
  std::vector<std::string> calls = {"function vs_main", "buffer 32", "buffer 12"};
  for (const std::string name : kFunctions) {
    for (const char* what : {"function ", "pipeline ", "pipeline error "}) calls.push_back(what + name);
  }
  for (const std::string& call : calls) {
    FakeMetal::shared().fail(call);
    EXPECT_FALSE(create()) << call;
    FakeMetal::shared().mend(call);
    EXPECT_TRUE(create()) << "after " << call;
  }
}

TEST_F(MetalRenderer, EncodesOneQuadWithThePipelineOfProjectionAndFormat) {
  ZELInternalRenderState state;
  state.size = CGSizeMake(8, 8);
  for (ZELProjectionType type = 0; type < 4; ++type) {
    state.projection = ZELProjection::createWithProjectionType(type);
    EXPECT_EQ(encode(*rgb_, &state)[1], std::string("pipeline ") + kFunctions[2 * type]);
    EXPECT_EQ(encode(*yuv_, &state)[1], std::string("pipeline ") + kFunctions[2 * type + 1]);
  }
  EXPECT_THAT(encode(*yuv_, &state),
              testing::ElementsAre("pass into target load 0 store 1 clear 0 0 0 1", "pipeline fs_yuv_segmentedsphere",
                                   "cull 0", "vertex buffer 0: 32+0", "vertex bytes 1: 96", "fragment bytes 0: 96",
                                   "texture 0: luma", "texture 1: chroma", "draw 3 6 0 12+0", "end"));
  EXPECT_EQ(FakeMetal::shared().vertexBytes, FakeMetal::shared().fragmentBytes);

  state.projection = ZELProjection::createWithProjectionType(7);
  EXPECT_TRUE(encode(*rgb_, &state).empty()) << "unknown projection";
  state.projection = nullptr;
  EXPECT_EQ(encode(*rgb_, &state)[1], "pipeline fs_rgb_flat");
  EXPECT_EQ(encode(*yuv_, nullptr)[1], "pipeline fs_yuv_flat");
  FakeMetal::shared().fail("encoder");
  EXPECT_TRUE(encode(*rgb_, nullptr).empty());
}

TEST_F(MetalRenderer, ForAPlaneDrawsFramesWithPlanesOnly) {
  for (const auto& [target, plane, format, clear] :
       {std::tuple(ZELMetalTarget::LumaPlane, "luma", "R8", "0.062745 0 0 1"),
        std::tuple(ZELMetalTarget::ChromaPlane, "chroma", "RG8", "0.501961 0.501961 0 1")}) {
    const auto device = FakeMetal::shared().createDevice();
    FakeMetal::shared().takeLog();
    const auto renderer = ZELMetalRenderer::createWithMetalDevice(device, target);
    ASSERT_TRUE(renderer);
    const std::string function = std::string("fs_") + plane + "_equirectangular";
    EXPECT_THAT(FakeMetal::shared().takeLog(),
                testing::Contains("compile vs_main " + function + " for " + format + ", corner 29 0+0 every 8"));
    const auto commandBuffer = device->newCommandQueue()->commandBuffer();
    const auto texture = std::make_shared<FakeTexture>("target", MTLPixelFormatR8Unorm, 8, 8);
    ZELInternalRenderState state;
    state.projection = ZELProjection::equirectangular();
    FakeMetal::shared().takeLog();
    renderer->renderFrameWithRenderTarget(texture, *yuv_, &state, *commandBuffer);
    const auto log = FakeMetal::shared().takeLog();
    ASSERT_GT(log.size(), 1U);
    EXPECT_EQ(log[0], std::string("pass into target load 2 store 1 clear ") + clear) << "black outside";
    EXPECT_EQ(log[1], "pipeline " + function);
    renderer->renderFrameWithRenderTarget(texture, *rgb_, &state, *commandBuffer);
    EXPECT_TRUE(FakeMetal::shared().takeLog().empty()) << "one colour plane has neither";
  }
}

class UniformBytes {
 public:
  UniformBytes(const ZELMetalTexture& texture, const ZELInternalRenderState* state) {
    const ZELMetalUniforms uniforms = ZELMetalUniforms::forTexture(texture, state);
    std::memcpy(floats_, &uniforms, sizeof floats_);
  }
  /// The number at a byte offset of the record.
  float at(size_t offset) const { return floats_[offset / sizeof(float)]; }
  std::vector<float> from(size_t offset, size_t count) const {
    return {floats_ + offset / sizeof(float), floats_ + offset / sizeof(float) + count};
  }

 private:
  float floats_[24];
};

TEST_F(MetalRenderer, UniformsAreTheStatesByTheirOffsets) {
  ZELInternalRenderState state;
  for (size_t index = 0; index < 16; ++index) state.viewMatrix.m[index] = static_cast<float>(index) + 0.5F;
  state.projection = ZELProjection::flatWithContentGravity(ZELContentGravityFit);
  state.size = CGSizeMake(200, 200);
  state.nearPlane = 0.75;
  const UniformBytes flat(*rgb_, &state);
  EXPECT_EQ(flat.from(0, 16), std::vector<float>(std::begin(state.viewMatrix.m), std::end(state.viewMatrix.m)));
  // 3:2 content in a square: 134 of 200 points high, 33 below the top.
  EXPECT_THAT(flat.from(64, 4), testing::ElementsAre(0.0F, 33.0F / 200, 1.0F, 134.0F / 200));
  EXPECT_EQ(flat.at(80), 1.0F);
  EXPECT_EQ(flat.at(84), 0.75F);
  EXPECT_EQ(flat.at(88), 1.0F);
  EXPECT_EQ(flat.at(92), 0.0F);

  state.projection = ZELProjection::cubemapWithPadding(16);
  state.size = CGSizeMake(320, 180);
  const UniformBytes cube(*rgb_, &state);
  EXPECT_THAT(cube.from(64, 4), testing::ElementsAre(0.0F, 0.0F, 1.0F, 1.0F));
  EXPECT_EQ(cube.at(80), static_cast<float>(320.0 / 180.0));
  EXPECT_EQ(cube.at(88), 0.84F) << "(100 - 16) / 100";
  const auto empty = ZELMetalTexture::createWithSize(CGSizeMake(0, 0), std::make_shared<Plane>("empty"));
  EXPECT_EQ(UniformBytes(*empty, &state).at(88), -16.0F);
  state.size.height = 0;
  EXPECT_EQ(UniformBytes(*rgb_, &state).at(80), 1.0F);

  const UniformBytes none(*rgb_, nullptr);
  EXPECT_EQ(none.from(0, 20), std::vector<float>(20, 0.0F));
  EXPECT_THAT(none.from(80, 4), testing::ElementsAre(1.0F, 0.0F, 1.0F, 0.0F));
}

}  // namespace
}  // namespace ZELTest
