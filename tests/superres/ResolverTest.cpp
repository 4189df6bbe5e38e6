#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "superres/FakeFramework.h"
#include "superres/ZELCNNSuperResolution.h"
#include "superres/ZELCNNSuperResolver.h"

namespace ZELTest {
namespace {

/// The models of the process outlive a test, so each has files of its own.
std::shared_ptr<const NSURL> modelFile(const std::string& name) { return NSURL::fileURLWithPath("/models/" + name); }

class SuperResolver : public testing::Test {
 protected:
  std::shared_ptr<ZELCNNSuperResolver> resolver(const std::string& file, size_t width = 960, size_t height = 540) {
    return ZELCNNSuperResolver::createWithDevice(framework_, device_, nullptr, modelFile(file), width, height);
  }

  FakeFramework framework_;
  const std::shared_ptr<FakeDevice> device_ = std::make_shared<FakeDevice>();
};

TEST_F(SuperResolver, EnlargesIntoOneTextureOfItsOwn) {
  const auto made = resolver("enlarge");
  ASSERT_TRUE(made);
  EXPECT_EQ(framework_.made, "960x540 tolerance 4");
  const std::shared_ptr<MTLTexture> texture = made->upscaledTexture();
  ASSERT_TRUE(texture);
  EXPECT_EQ(texture->pixelFormat(), MTLPixelFormatR8Unorm);
  EXPECT_EQ(texture->width(), 1920U);
  EXPECT_EQ(texture->height(), 1080U);
  EXPECT_EQ(texture->storageMode(), MTLStorageModePrivate);
  EXPECT_EQ(texture->usage(), MTLTextureUsageShaderRead + MTLTextureUsageShaderWrite);

  const auto luma = std::make_shared<FakeTexture>(MTLTextureDescriptor{.width = 960, .height = 540});
  EXPECT_EQ(made->superResolveLumaPlane(luma), texture);
  EXPECT_EQ(framework_.input, luma);
  EXPECT_EQ(framework_.output, texture);
  EXPECT_EQ(made->superResolveLumaPlane(luma), texture) << "the same for every frame";

  framework_.factor = 3;
  EXPECT_EQ(resolver("by three", 10, 7)->upscaledTexture()->height(), 21U);
}

TEST_F(SuperResolver, WithoutANetworkItGivesOutItsTextureAllTheSame) {
  framework_.networks = false;
  const auto made = resolver("no network");
  ASSERT_TRUE(made);
  EXPECT_FALSE(made->cnn());
  EXPECT_EQ(made->superResolveLumaPlane(nullptr), made->upscaledTexture());
  EXPECT_TRUE(made->upscaledTexture());

  device_->textures = false;
  EXPECT_FALSE(resolver("no network")->superResolveLumaPlane(nullptr)) << "nor a texture";
}

TEST_F(SuperResolver, AModelIsReadOncePerPathAndAFailureIsForgotten) {
  const auto model = [&](const char* file) {
    return ZELCNNSuperResolver::cachedModelForURL(framework_, modelFile(file));
  };
  framework_.readable = false;
  EXPECT_FALSE(model("late"));
  EXPECT_FALSE(resolver("late"));
  framework_.readable = true;
  framework_.valid = false;
  EXPECT_FALSE(model("late"));
  EXPECT_EQ(framework_.readers, 3) << "each call tries again";
  framework_.valid = true;
  const auto first = model("late");
  ASSERT_TRUE(first);
  EXPECT_EQ(framework_.readPath, "/models/late");
  EXPECT_EQ(model("late"), first) << "another object with the same path";
  EXPECT_TRUE(resolver("late"));
  EXPECT_EQ(framework_.readers, 4);
  EXPECT_NE(model("other"), first);
  EXPECT_EQ(framework_.readers, 5);
}

TEST_F(SuperResolver, SeveralThreadsShareOneReading) {
  std::vector<std::shared_ptr<const ZELNetworkModel>> models(8);
  {
    std::vector<std::jthread> threads;
    for (auto& model : models) {
      threads.emplace_back([&] { model = ZELCNNSuperResolver::cachedModelForURL(framework_, modelFile("by many")); });
    }
  }
  EXPECT_THAT(models, testing::Each(models[0]));
  EXPECT_TRUE(models[0]);
  EXPECT_EQ(framework_.readers, 1);
  EXPECT_EQ(ZELCNNSuperResolver::cacheQueue()->label(), "ZELSuperResolver.cache");
}

TEST_F(SuperResolver, TheShaderLibraryIsLoadedOnceForAllDevices) {
  const std::shared_ptr<MTLLibrary> library = ZELCNNSuperResolver::sharedLibraryForDevice(device_);
  const auto other = std::make_shared<FakeDevice>();
  EXPECT_EQ(ZELCNNSuperResolver::sharedLibraryForDevice(other), library);
  EXPECT_EQ(other->libraries, 0);
}

TEST_F(SuperResolver, NothingIsMadeOfNothing) {
  EXPECT_FALSE(ZELCNNSuperResolver::createWithDevice(framework_, nullptr, nullptr, modelFile("x"), 8, 8));
  EXPECT_FALSE(ZELCNNSuperResolver::createWithDevice(framework_, device_, nullptr, nullptr, 8, 8));
}

}  // namespace
}  // namespace ZELTest
