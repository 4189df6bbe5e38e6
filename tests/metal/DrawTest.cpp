// Pixels that the explicit GPU draws and computes.

#include "MetalSupport.h"

namespace metaltest {
namespace {

TEST_F(MetalTest, TexturesBeginEmptyAndPassesClearThem) {
  const auto texture = target(5, 3);
  ASSERT_TRUE(texture);
  EXPECT_TRUE(isFilledWith(*texture, kNothing));
  const auto buffer = queue->commandBuffer();
  const auto encoder =
      buffer->renderCommandEncoderWithDescriptor(passOn(texture, MTLLoadActionClear, MTLClearColorMake(1, 0, 0, 1)));
  ASSERT_TRUE(encoder);
  encoder->endEncoding();
  buffer->commit();
  // Reading comes after all that was committed.
  EXPECT_TRUE(isFilledWith(*texture, kRed));
}

TEST_F(MetalTest, ClipSpaceHasYUpwardsAndInlineBytesReachBothFunctions) {
  const auto texture = target(4, 4);
  const auto pipeline = renderPipeline("fs_color");
  const Quad quad(*device);
  const auto buffer = queue->commandBuffer();
  const auto encoder = buffer->renderCommandEncoderWithDescriptor(passOn(texture));
  encoder->setRenderPipelineState(pipeline);
  encoder->setCullMode(MTLCullModeNone);
  // The upper right quarter red, the lower left one green, each with a record of its own in one pass.
  quad.draw(*encoder, {{0, 0, 1, 1}, {1, 0, 0, 1}});
  quad.draw(*encoder, {{-1, -1, 1, 1}, {0, 1, 0, 1}});
  encoder->endEncoding();
  buffer->commit();
  EXPECT_EQ(texelAt(*texture, 3, 0), kRed);
  EXPECT_EQ(texelAt(*texture, 2, 1), kRed);
  EXPECT_EQ(texelAt(*texture, 0, 3), kGreen);
  EXPECT_EQ(texelAt(*texture, 0, 0), kNothing);
  EXPECT_EQ(texelAt(*texture, 3, 3), kNothing);
}

TEST_F(MetalTest, APassKeepsOrClearsWhatWasThere) {
  const auto texture = target(4, 4);
  const auto pipeline = renderPipeline("fs_color");
  const Quad quad(*device);
  const auto drawRightHalf = [&](MTLLoadAction action) {
    const auto buffer = queue->commandBuffer();
    const auto encoder =
        buffer->renderCommandEncoderWithDescriptor(passOn(texture, action, MTLClearColorMake(0, 0, 1, 1)));
    encoder->setRenderPipelineState(pipeline);
    quad.draw(*encoder, {{0, -1, 1, 2}, {1, 0, 0, 1}});
    buffer->commit();
  };
  drawRightHalf(MTLLoadActionClear);
  EXPECT_EQ(texelAt(*texture, 0, 0), kBlue);
  EXPECT_EQ(texelAt(*texture, 3, 3), kRed);

  const auto buffer = queue->commandBuffer();
  const auto encoder = buffer->renderCommandEncoderWithDescriptor(passOn(texture, MTLLoadActionLoad));
  encoder->setRenderPipelineState(pipeline);
  quad.draw(*encoder, {{-1, 0, 1, 1}, {0, 1, 0, 1}});
  buffer->commit();
  EXPECT_EQ(texelAt(*texture, 0, 0), kGreen);
  EXPECT_EQ(texelAt(*texture, 0, 3), kBlue);
  EXPECT_EQ(texelAt(*texture, 3, 0), kRed);

  // Nothing of an earlier picture shines through where a pass does not care.
  drawRightHalf(MTLLoadActionDontCare);
  EXPECT_EQ(texelAt(*texture, 0, 0), kBlue);
}

TEST_F(MetalTest, TexturesAreFilteredLinearlyAndClamped) {
  // Two texels, black and white, over eight pixels: centres at 2 and 6, a ramp of 1/4 a pixel in between.
  std::array<uint8_t, 8> texels{0, 0, 0, 255, 255, 255, 255, 255};
  const auto pixels = CVPixelBuffer::createWithBytes(2, 1, kCVPixelFormatType_32BGRA, texels.data(), 8);
  const auto cache = CVMetalTextureCache::create(device);
  const auto wrapped = cache->createTextureFromImage(pixels, MTLPixelFormatBGRA8Unorm, 2, 1, 0);
  ASSERT_TRUE(wrapped);
  const auto texture = target(8, 1);
  const Quad quad(*device);
  const auto buffer = queue->commandBuffer();
  const auto encoder = buffer->renderCommandEncoderWithDescriptor(passOn(texture));
  encoder->setRenderPipelineState(renderPipeline("fs_texture"));
  encoder->setFragmentTexture(CVMetalTextureGetTexture(wrapped), 0);
  quad.draw(*encoder, {});
  buffer->commit();
  const std::vector<uint8_t> bytes = texture->_bytes();
  ASSERT_EQ(bytes.size(), 32U);
  const std::array<int, 8> expected{0, 0, 32, 96, 159, 223, 255, 255};
  // One step of an 8-bit weight either way.
  for (size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(bytes[i * 4], expected[i], 1) << i;
}

TEST_F(MetalTest, DrawsThatLackSomethingAreLeftOut) {
  const auto texture = target(4, 4);
  const auto color = renderPipeline("fs_color");
  const auto textured = renderPipeline("fs_texture");
  const Quad quad(*device);
  const Record record{{-1, -1, 2, 2}, {1, 0, 0, 1}};
  const auto draw = [&](const std::function<void(MTLRenderCommandEncoder&)>& spoil) {
    const auto buffer = queue->commandBuffer();
    const auto encoder = buffer->renderCommandEncoderWithDescriptor(passOn(texture));
    encoder->setRenderPipelineState(color);
    encoder->setVertexBuffer(quad.vertices, 0, 0);
    encoder->setVertexBytes(&record, sizeof(record), 1);
    spoil(*encoder);
    encoder->drawIndexedPrimitives(MTLPrimitiveTypeTriangle, 6, MTLIndexTypeUInt16, quad.indices, 0);
    encoder->endEncoding();
    encoder->drawIndexedPrimitives(MTLPrimitiveTypeTriangle, 6, MTLIndexTypeUInt16, quad.indices, 0);
    buffer->commit();
    buffer->waitUntilCompleted();
    EXPECT_EQ(buffer->status(), MTLCommandBufferStatusCompleted);
    return texelAt(*texture, 1, 1);
  };
  EXPECT_EQ(draw([](auto&) {}), kRed);
  EXPECT_EQ(draw([](auto& e) { e.setRenderPipelineState(nullptr); }), kNothing);
  EXPECT_EQ(draw([](auto& e) { e.setVertexBuffer(nullptr, 0, 0); }), kNothing);
  EXPECT_EQ(draw([&](auto& e) { e.setVertexBuffer(quad.vertices, 32, 0); }), kNothing);
  EXPECT_EQ(draw([&](auto& e) { e.setRenderPipelineState(textured); }), kNothing);
  // A pass cannot read what it draws.
  EXPECT_EQ(draw([&](auto& e) {
              e.setRenderPipelineState(textured);
              e.setFragmentTexture(texture, 0);
            }),
            kNothing);
  const Record other{{-1, -1, 2, 2}, {0, 1, 0, 1}};
  EXPECT_EQ(draw([&](auto& e) { e.setFragmentBytes(&other, sizeof(other), 0); }), kNothing);
  const auto short1 = device->newBufferWithLength(11, 0);
  EXPECT_EQ(draw([&](auto& e) {
              e.drawIndexedPrimitives(MTLPrimitiveTypeTriangle, 6, MTLIndexTypeUInt16, short1, 0);
              e.setRenderPipelineState(nullptr);
            }),
            kNothing);
}

TEST_F(MetalTest, ComputeFunctionsWriteTexturesThatDrawsRead) {
  constexpr size_t kWidth = 37;
  constexpr size_t kHeight = 21;
  std::vector<uint8_t> luma(kWidth * kHeight);
  for (size_t i = 0; i < luma.size(); ++i) luma[i] = static_cast<uint8_t>(i * 7);
  std::vector<uint8_t> chroma((kWidth + 1) / 2 * ((kHeight + 1) / 2) * 2, 128);
  const auto pixels = CVPixelBuffer::createWithPlanarBytes(
      kWidth, kHeight, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange,
      {{{luma.data(), kWidth, kHeight, kWidth}, {chroma.data(), (kWidth + 1) / 2, (kHeight + 1) / 2, kWidth + 1}}});
  const auto cache = CVMetalTextureCache::create(device);
  const auto source = cache->createTextureFromImage(pixels, MTLPixelFormatR8Unorm, kWidth, kHeight, 0);
  const auto inverted =
      device->newTextureWithDescriptor({MTLTextureType2D, MTLPixelFormatR8Unorm, kWidth, kHeight, MTLStorageModePrivate,
                                        MTLTextureUsageShaderRead | MTLTextureUsageShaderWrite});
  if (!device->supportsFeatureSet(MTLFeatureSet_iOS_GPUFamily2_v2)) GTEST_SKIP() << "cannot write R8 textures here";
  ASSERT_TRUE(source && inverted);
  const auto buffer = queue->commandBuffer();
  const auto compute = buffer->computeCommandEncoder();
  ASSERT_TRUE(compute);
  EXPECT_FALSE(buffer->computeCommandEncoder()) << "two encoders at once";
  const auto pipeline = computePipeline("cs_invert");
  EXPECT_EQ(pipeline->threadsPerThreadgroup(), MTLSizeMake(8, 4, 1));
  compute->setComputePipelineState(pipeline);
  compute->setTexture(CVMetalTextureGetTexture(source), 0);
  compute->setTexture(inverted, 1);
  const float scale = 1.0F;
  compute->setBytes(&scale, sizeof(scale), 0);
  compute->dispatchThreadgroups(MTLSizeMake(5, 6, 1), pipeline->threadsPerThreadgroup());
  compute->endEncoding();
  // A draw in the same buffer reads what was computed.
  const auto shown = target(kWidth, kHeight);
  const auto encoder = buffer->renderCommandEncoderWithDescriptor(passOn(shown));
  ASSERT_TRUE(encoder);
  encoder->setRenderPipelineState(renderPipeline("fs_texture"));
  encoder->setFragmentTexture(inverted, 0);
  const Quad quad(*device);
  quad.draw(*encoder, {});
  buffer->commit();
  const std::vector<uint8_t> computed = inverted->_bytes();
  const std::vector<uint8_t> drawn = shown->_bytes();
  ASSERT_EQ(computed.size(), luma.size());
  for (size_t i = 0; i < luma.size(); ++i) {
    ASSERT_EQ(computed[i], 255 - luma[i]) << i;
    ASSERT_EQ(drawn[i * 4 + 2], computed[i]) << i;
  }
}

TEST_F(MetalTest, DispatchesSeeWhatEarlierOnesWrote) {
  constexpr uint32_t kCount = 1000;
  const auto numbers = device->newBufferWithLength(kCount * 4, MTLResourceStorageModeShared);
  const auto copies = device->newBufferWithLength(kCount * 4 + 256, MTLResourceStorageModeShared);
  const auto hidden = device->newBufferWithLength(kCount * 4, MTLResourceStorageModePrivate);
  ASSERT_TRUE(numbers && copies && hidden);
  EXPECT_EQ(hidden->contents(), nullptr);
  auto* counted = static_cast<uint32_t*>(numbers->contents());
  for (uint32_t i = 0; i < kCount; ++i) counted[i] = i;
  const auto pipeline = computePipeline("cs_add");
  const MTLSize group = pipeline->threadsPerThreadgroup();
  const auto buffer = queue->commandBuffer();
  const auto compute = buffer->computeCommandEncoder();
  compute->setComputePipelineState(pipeline);
  compute->setBuffer(numbers, 0, 0);
  for (uint32_t step = 1; step <= 10; ++step) {
    const std::array<uint32_t, 2> bytes{kCount, step};
    compute->setBytes(bytes.data(), sizeof(bytes), 2);
    compute->setBuffer(step == 10 ? copies : hidden, step == 10 ? 256 : 0, 1);
    compute->dispatchThreadgroups(MTLSizeMake((kCount + 63) / 64, 1, 1), group);
  }
  // Left out: another group size, no groups, more groups than there can be, a missing buffer.
  compute->dispatchThreadgroups(MTLSizeMake(1, 1, 1), MTLSizeMake(32, 1, 1));
  compute->dispatchThreadgroups(MTLSizeMake(1, 0, 1), group);
  compute->dispatchThreadgroups(MTLSizeMake(size_t{1} << 33, 1, 1), group);
  compute->setBuffer(copies, 4, 1);
  compute->dispatchThreadgroups(MTLSizeMake(1, 1, 1), group);
  buffer->commit();
  buffer->waitUntilCompleted();
  const auto* copied = static_cast<const uint32_t*>(copies->contents()) + 64;
  for (uint32_t i = 0; i < kCount; ++i) {
    ASSERT_EQ(counted[i], i + 55) << i;
    ASSERT_EQ(copied[i], i + 55) << i;
  }
}

TEST_F(MetalTest, WhatCannotBeMadeIsAbsent) {
  const auto texture = [this](MTLPixelFormat format, size_t width, size_t height, uint32_t usage) {
    return device->newTextureWithDescriptor({MTLTextureType2D, format, width, height, MTLStorageModePrivate, usage});
  };
  const size_t limit = device->maximumTextureSize();
  EXPECT_FALSE(texture(MTLPixelFormatR8Unorm, 0, 1, MTLTextureUsageShaderRead));
  EXPECT_FALSE(texture(MTLPixelFormatR8Unorm, limit + 1, 1, MTLTextureUsageShaderRead));
  EXPECT_TRUE(texture(MTLPixelFormatR8Unorm, limit, 1, MTLTextureUsageShaderRead));
  EXPECT_FALSE(texture(MTLPixelFormatR8Unorm, 4, 4, MTLTextureUsageUnknown));
  EXPECT_FALSE(texture(MTLPixelFormatInvalid, 4, 4, MTLTextureUsageShaderRead));
  EXPECT_FALSE(device->newBufferWithLength(0, 0));
  EXPECT_FALSE(device->newBufferWithLength(SIZE_MAX, 0));
  EXPECT_FALSE(device->newBufferWithBytes(nullptr, 4, 0));
  const int number = 1;
  EXPECT_FALSE(device->newBufferWithBytes(&number, 4, MTLResourceStorageModePrivate));
  const auto buffer = queue->commandBuffer();
  EXPECT_FALSE(buffer->renderCommandEncoderWithDescriptor(passOn(nullptr)));
  EXPECT_FALSE(buffer->renderCommandEncoderWithDescriptor(
      passOn(texture(MTLPixelFormatR8Unorm, 4, 4, MTLTextureUsageShaderRead))));

  std::string error;
  auto descriptor = pipelineDescriptor(*library, "fs_missing");
  EXPECT_FALSE(device->newRenderPipelineStateWithDescriptor(descriptor, &error));
  EXPECT_FALSE(error.empty());
  descriptor = pipelineDescriptor(*library, "cs_add");
  EXPECT_FALSE(device->newRenderPipelineStateWithDescriptor(descriptor, &error));
  EXPECT_EQ(error, "The function cs_add is of another kind.");
  descriptor = pipelineDescriptor(*library, "fs_color", MTLPixelFormatInvalid);
  EXPECT_FALSE(device->newRenderPipelineStateWithDescriptor(descriptor));
  descriptor = pipelineDescriptor(*library, "fs_color");
  descriptor.vertexDescriptor.layouts[0].stride = 0;
  EXPECT_FALSE(device->newRenderPipelineStateWithDescriptor(descriptor));
  EXPECT_FALSE(device->newComputePipelineStateWithFunction(library->newFunctionWithName("fs_color")));
}

}  // namespace
}  // namespace metaltest
