#include <ZELPlatform/CoreVideo.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/metal/MetalDriver.h"
#include "superres/FakeFramework.h"
#include "superres/ZELCNNConfiguration.h"
#include "superres/ZELCNNSuperResolution.h"

namespace ZELTest {
namespace {

constexpr uint32_t k420v = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
constexpr uint32_t k420f = kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;

/// The process's device: counted, so that a test sees that it is asked for once.
int devicesAskedFor = 0;

class Environment final : public testing::Environment {
  void SetUp() override {
    ZELPlatform::replaceMetalDevice([] {
      ++devicesAskedFor;
      return std::make_shared<FakeDevice>();
    });
  }
  void TearDown() override { ZELPlatform::replaceMetalDevice(nullptr); }
};
[[maybe_unused]] const auto* const kEnvironment = testing::AddGlobalTestEnvironment(new Environment);

class SRConfiguration : public testing::Test {
 protected:
  SRConfiguration() {
    state_.projection = ZELProjection::flatWithContentGravity(ZELContentGravityFit);
    state_.srEnabled = true;
    state_.srContentType = 3;
    state_.srEncoderType = -4;
  }

  ZELCNNConfiguration configuration(uint32_t format = k420v) { return {state_, size_, format, &framework_}; }

  ZELInternalRenderState state_;
  CGSize size_ = CGSizeMake(960, 540);
  FakeFramework framework_;
};

TEST_F(SRConfiguration, AsksTheFrameworkWithTheHostsTypesAndTheSizeInWholePixels) {
  size_ = CGSizeMake(960.9, 540.2);
  EXPECT_EQ(configuration(k420f).modelURL(), framework_.url) << "the very object";
  ASSERT_TRUE(framework_.asked && framework_.askedForModel);
  for (const ZELNetworkRequest& request : {*framework_.asked, *framework_.askedForModel}) {
    EXPECT_EQ(request.modelType, 0);
    EXPECT_EQ(request.encoderType, -4);
    EXPECT_EQ(request.contentType, 3);
    EXPECT_EQ(request.inputWidth, 960);
    EXPECT_EQ(request.inputHeight, 540);
  }
  framework_.url = nullptr;
  EXPECT_FALSE(configuration().modelURL());
}

TEST_F(SRConfiguration, WithoutAProjectionTheContentIsFlat) {
  state_.projection = nullptr;
  EXPECT_TRUE(configuration().modelURL());
}

TEST_F(SRConfiguration, WhatRulesEnlargingOutNeverReachesTheFramework) {
  /// Why, and empty when the framework was asked.
  const auto ruledOut = [&](uint32_t format) {
    const ZELCNNConfiguration made = configuration(format);
    return !made.modelURL() && !framework_.asked ? made.obstacle() : std::string();
  };
  for (const uint32_t format : {uint32_t{kCVPixelFormatType_32BGRA}, uint32_t{kCVPixelFormatType_32RGBA}, 0U}) {
    EXPECT_EQ(ruledOut(format), "the frames have no luma plane");
  }
  state_.projection = ZELProjection::equirectangular();
  EXPECT_EQ(ruledOut(k420v), "the projection is not flat");
  state_.projection = ZELProjection::flatWithContentGravity(ZELContentGravityFill);
  state_.srEnabled = false;
  EXPECT_EQ(ruledOut(k420v), "it is switched off");
  state_.srEnabled = true;
  EXPECT_EQ(ruledOut(k420v), "");
  EXPECT_EQ(configuration().obstacle(), "");
}

TEST_F(SRConfiguration, AnUnsupportedSizeHasNoModel) {
  framework_.supported = false;
  EXPECT_FALSE(configuration().modelURL());
  EXPECT_FALSE(framework_.askedForModel) << "no model is asked for";
  EXPECT_EQ(configuration().obstacle(), "no network is for frames of this size and kind");
}

TEST_F(SRConfiguration, DiffersInWhatDecidesAndInNothingElse) {
  const ZELCNNConfiguration first = configuration();
  const auto differs = [&](uint32_t format = k420v) {
    const ZELCNNConfiguration second = configuration(format);
    EXPECT_EQ(first.differsFromConfiguration(second), second.differsFromConfiguration(first));
    return first.differsFromConfiguration(second);
  };
  state_.viewMatrix = GLKMatrix4Identity;
  state_.size = CGSizeMake(7, 8);
  state_.nativeScale = 3;
  state_.syncTime = 9;
  state_.nearPlane = 2;
  state_.projection = ZELProjection::flatWithContentGravity(ZELContentGravityFill);
  EXPECT_FALSE(differs());

  const ZELInternalRenderState before = state_;
  const auto restored = [&](auto change) {
    change();
    const bool result = differs();
    state_ = before;
    size_ = CGSizeMake(960, 540);
    return result;
  };
  EXPECT_TRUE(restored([&] { state_.srEnabled = false; }));
  EXPECT_TRUE(restored([&] { state_.srContentType = 4; }));
  EXPECT_TRUE(restored([&] { state_.srEncoderType = 4; }));
  EXPECT_TRUE(restored([&] { state_.projection = ZELProjection::equirectangular(); }));
  EXPECT_TRUE(restored([&] { size_.width += 1e-9; }));
  EXPECT_TRUE(restored([&] { size_.height += 1e-9; }));
  EXPECT_FALSE(differs());
  EXPECT_TRUE(differs(k420f));
}

TEST_F(SRConfiguration, TheServicesLevelAndTheGpuDecideOnceForTheProcess) {
  const auto supports = [](const char* version, bool device, bool features) {
    int asked = 0;
    const bool result = ZELCNNConfiguration::_isSupported(version, [&]() -> std::shared_ptr<MTLDevice> {
      ++asked;
      if (!device) return nullptr;
      auto made = std::make_shared<FakeDevice>();
      made->features = features;
      return made;
    });
    return std::pair(result, asked);
  };
  for (const char* version : {"9.0", "9", "9.0.1", "09.3", "10.0", "10", "12.1.4"}) {
    EXPECT_TRUE(supports(version, true, true).first) << version;
  }
  for (const char* version : {"8.4.1", "8", "8.10", "", "none"}) {
    EXPECT_EQ(supports(version, true, true), std::pair(false, 0)) << version;
  }
  EXPECT_FALSE(supports("10.0", false, true).first);
  EXPECT_FALSE(supports("10.0", true, false).first);

  EXPECT_TRUE(ZELCNNConfiguration::_isDeviceSupported());
  EXPECT_TRUE(ZELCNNConfiguration::_isDeviceSupported());
  EXPECT_EQ(devicesAskedFor, 1);
}

TEST_F(SRConfiguration, WithoutAFrameworkNothingIsEnlarged) {
  const auto resolution = ZELCNNSuperResolution::createWithFramework(nullptr);
  EXPECT_FALSE(resolution->configurationWithRenderState(state_, size_, k420v)->modelURL());
  EXPECT_FALSE(resolution->resolverWithDevice(std::make_shared<FakeDevice>(), nullptr, framework_.url, 8, 8));
}

}  // namespace
}  // namespace ZELTest
