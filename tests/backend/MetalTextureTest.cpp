#include <ZELKit/ZELDirectPixelBufferSource.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "backend/FakeMetal.h"
#include "metal/ZELMetalTexture.h"
#include "metal/ZELMetalTextureCache.h"

// A frame's textures, and what the cache does with each frame that a source has.

namespace ZELTest {
namespace {

constexpr uint32_t k420v = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;

class Plane final : public CVMetalTexture {
 public:
  std::shared_ptr<MTLTexture> texture() const override { return texture_; }
  bool isCopy() const override { return false; }

 private:
  std::shared_ptr<MTLTexture> texture_ = std::make_shared<FakeTexture>("plane", MTLPixelFormatR8Unorm, 4, 4);
};

TEST(MetalTexture, StorageLivesWhileAcquired) {
  const std::shared_ptr<Plane> planes[] = {std::make_shared<Plane>(), std::make_shared<Plane>(),
                                           std::make_shared<Plane>()};
  const auto enlarged = std::make_shared<FakeTexture>("enlarged", MTLPixelFormatR8Unorm, 8, 8);
  const auto rgb = ZELMetalTexture::createWithSize(CGSizeMake(4, 4), planes[0]);
  const auto yuv = ZELMetalTexture::createWithSize(CGSizeMake(4, 4), planes[0], planes[1]);
  const auto super = ZELMetalTexture::createWithSuperLuma(CGSizeMake(4, 4), enlarged, planes[2]);
  EXPECT_EQ(rgb->format(), ZELTextureFormatRGB);
  EXPECT_EQ(yuv->format(), ZELTextureFormatYUV);
  EXPECT_EQ(super->format(), ZELTextureFormatYUV);
  EXPECT_THAT(rgb->planes(), testing::ElementsAre(planes[0]->texture()));
  EXPECT_THAT(yuv->planes(), testing::ElementsAre(planes[0]->texture(), planes[1]->texture()));
  EXPECT_THAT(super->planes(), testing::ElementsAre(enlarged, planes[2]->texture()));

  const long before[] = {planes[0].use_count(), planes[1].use_count(), planes[2].use_count()};
  for (int round = 0; round < 2; ++round) {
    yuv->acquirePlanes();
    yuv->acquirePlanes();
    super->acquirePlanes();
    EXPECT_EQ(planes[0].use_count(), before[0] + 2);
    EXPECT_EQ(planes[1].use_count(), before[1] + 2);
    EXPECT_EQ(planes[2].use_count(), before[2] + 1);
    yuv->releasePlanes();
    EXPECT_EQ(planes[0].use_count(), before[0] + 1);
    yuv->releasePlanes();
    super->releasePlanes();
    super->releasePlanes();  // once too often
    EXPECT_EQ(planes[0].use_count(), before[0]);
    EXPECT_EQ(planes[1].use_count(), before[1]);
    EXPECT_EQ(planes[2].use_count(), before[2]);
  }
}

/// Has one new frame when it was given one.
class Source final : public ZELPixelBufferSource {
 public:
  bool hasNewPixelBufferForTime(double time) override {
    times.push_back(time);
    return isNew;
  }
  CVPixelBufferRef copyPixelBufferForTime(double) override {
    isNew = false;
    return std::move(frame);
  }
  void notifyDisplaySizeChanged(CGSize) override {}

  void push(size_t width, size_t height, uint32_t format = k420v) {
    frame = CVPixelBuffer::create(width, height, format);
    watched = frame;
    isNew = true;
  }

  CVPixelBufferRef frame;
  std::weak_ptr<CVPixelBuffer> watched;
  bool isNew = false;
  std::vector<double> times;
};

/// Answers as the test wants: the deciding value is the state's content type.
class Resolution final : public ZELSuperResolution {
 public:
  class Configuration final : public ZELSRConfiguration {
   public:
    Configuration(int64_t key, std::shared_ptr<const NSURL> url) : key_(key), url_(std::move(url)) {}
    bool differsFromConfiguration(const ZELSRConfiguration& other) const override {
      return dynamic_cast<const Configuration&>(other).key_ != key_;
    }
    std::shared_ptr<const NSURL> modelURL() const override { return url_; }
    std::string obstacle() const override { return "a reason of the tests"; }

   private:
    int64_t key_;
    std::shared_ptr<const NSURL> url_;
  };

  class Resolver final : public ZELSuperResolver {
   public:
    explicit Resolver(Resolution& owner) : owner_(owner) {}
    std::shared_ptr<MTLTexture> superResolveLumaPlane(const std::shared_ptr<MTLTexture>& luma) override {
      if (owner_.refuses) return nullptr;
      return std::make_shared<FakeTexture>("enlarged", luma->pixelFormat(), luma->width() * 2, luma->height() * 2);
    }

   private:
    Resolution& owner_;
  };

  std::shared_ptr<const ZELSRConfiguration> configurationWithRenderState(const ZELInternalRenderState& state, CGSize,
                                                                         uint32_t) override {
    return std::make_shared<Configuration>(state.srContentType, url);
  }
  std::shared_ptr<ZELSuperResolver> resolverWithDevice(const std::shared_ptr<MTLDevice>&,
                                                       const std::shared_ptr<MTLCommandQueue>&,
                                                       const std::shared_ptr<const NSURL>&, size_t width,
                                                       size_t height) override {
    made.push_back(std::to_string(width) + "x" + std::to_string(height));
    return fails ? nullptr : std::make_shared<Resolver>(*this);
  }

  /// A model that is another object than any before.
  void changeModel() {
    auto object = std::make_shared<char>();
    url = {object, reinterpret_cast<const NSURL*>(object.get())};
  }

  std::shared_ptr<const NSURL> url;
  bool fails = false;
  std::atomic<bool> refuses = false;
  std::vector<std::string> made;
};

class MetalTextureCache : public testing::Test {
 protected:
  void SetUp() override {
    FakeMetal::shared().reset();
    state_.projection = ZELProjection::flatWithContentGravity(ZELContentGravityFit);
    state_.size = CGSizeMake(100, 100);
    state_.nativeScale = 1;
    makeCache();
  }

  void makeCache() {
    cache_ =
        ZELMetalTextureCache::createWithMetalDevice(FakeMetal::shared().createDevice(), queue_, nullptr, resolution_);
  }

  std::shared_ptr<ZELMetalTexture> request() {
    std::shared_ptr<ZELMetalTexture> texture;
    queue_->sync([&] { texture = cache_->textureFromPixelBufferSource(&source_, state_); });
    return texture;
  }

  /// What the next request yields: planes, and whether they are new.
  std::string next() {
    const auto texture = request();
    if (!texture) return "none";
    std::string text = texture->updated() ? "new" : "old";
    for (const auto& plane : texture->planes()) text += ", " + describe(*plane);
    return text;
  }

  /// Lets everything that the cache left to other queues run: each such task holds the cache, and the last of them
  /// passes through the render queue, behind which what they wrote may be read.
  void settle() {
    while (cache_.use_count() > 1) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    queue_->sync([] {});
  }

  const std::shared_ptr<DispatchQueue> queue_ = DispatchQueue::create("test render queue");
  const std::shared_ptr<Resolution> resolution_ = std::make_shared<Resolution>();
  std::shared_ptr<ZELMetalTextureCache> cache_;
  Source source_;
  ZELInternalRenderState state_;
};

TEST_F(MetalTextureCache, WrapsThePlanesOfEachFormat) {
  source_.push(64, 32, kCVPixelFormatType_32BGRA);
  EXPECT_EQ(next(), "new, BGRA8 64x32");
  source_.push(1281, 721, kCVPixelFormatType_32RGBA);
  EXPECT_EQ(next(), "new, RGBA8 1281x721");
  source_.push(1281, 721);
  EXPECT_EQ(next(), "new, R8 1281x721, RG8 640x360");
  source_.push(64, 32, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
  const auto texture = request();
  EXPECT_EQ(texture->format(), ZELTextureFormatYUV);
  EXPECT_TRUE(CGSizeEqualToSize(texture->size(), CGSizeMake(64, 32)));
}

TEST_F(MetalTextureCache, AFrameIsNewOnceAndIsAskedForByTheStatesTime) {
  state_.syncTime = 12.5;
  EXPECT_EQ(next(), "none");
  source_.push(64, 32);
  EXPECT_EQ(next(), "new, R8 64x32, RG8 32x16");
  EXPECT_EQ(next(), "old, R8 64x32, RG8 32x16");
  EXPECT_THAT(source_.times, testing::Each(12.5));

  source_.isNew = true;
  EXPECT_EQ(next(), "old, R8 64x32, RG8 32x16") << "a frame that was announced and is not there";
  EXPECT_EQ(cache_->textureFromPixelBufferSource(nullptr, state_)->updated(), false) << "no source";
  EXPECT_FALSE(source_.watched.expired());
  source_.push(2, 2);
  next();
  EXPECT_FALSE(source_.watched.expired());
  cache_ = nullptr;
  EXPECT_TRUE(source_.watched.expired()) << "a frame goes with its textures";
}

TEST_F(MetalTextureCache, WhatCannotBeConvertedEmptiesIt) {
  const auto broken = [&](const char* call, uint32_t format) {
    source_.push(64, 32);
    EXPECT_EQ(next(), "new, R8 64x32, RG8 32x16");
    if (*call != 0) FakeMetal::shared().fail(call);
    source_.push(64, 32, format);
    EXPECT_EQ(next(), "none");
    EXPECT_TRUE(source_.watched.expired()) << "the frame is released all the same";
    FakeMetal::shared().reset();
  };
  broken("", kCVPixelFormatType_16LE565);
  broken("texture 0", kCVPixelFormatType_32BGRA);
  broken("texture 0", k420v);
  broken("texture 1", k420v);

  FakeMetal::shared().fail("texture cache");
  makeCache();
  source_.push(64, 32);
  EXPECT_EQ(next(), "none");
  cache_ = ZELMetalTextureCache::createWithMetalDevice(nullptr, queue_, nullptr);
  source_.push(64, 32);
  EXPECT_EQ(next(), "none");
}

TEST_F(MetalTextureCache, EnlargesLumaWhereTheDisplayHasMoreThanTwoAndAQuarterTimesThePixels) {
  resolution_->changeModel();
  state_.size = CGSizeMake(30, 12);
  state_.nativeScale = 2;
  source_.push(40, 16);  // 640 pixels; 1440 are 2.25 times as many
  next();
  settle();
  EXPECT_THAT(resolution_->made, testing::ElementsAre("40x16"));
  source_.push(40, 16);
  EXPECT_EQ(next(), "new, R8 40x16, RG8 20x8") << "exactly 2.25 times";
  state_.size.width = 30.04;
  source_.push(40, 16);
  EXPECT_EQ(next(), "new, R8 80x32, RG8 20x8");
  EXPECT_TRUE(CGSizeEqualToSize(request()->size(), CGSizeMake(40, 16))) << "the frame's size, not the plane's";
  state_.nativeScale = 2.0001;
  state_.size = CGSizeMake(30, 12);
  source_.push(40, 16);
  EXPECT_EQ(next(), "new, R8 40x16, RG8 20x8") << "1440.144 pixels count as 1440";

  state_.size = CGSizeMake(100, 100);
  resolution_->refuses = true;
  source_.push(40, 16);
  EXPECT_EQ(next(), "new, R8 40x16, RG8 20x8") << "the plain plane, when the resolver cannot";
  FakeMetal::shared().fail("texture 1");
  source_.push(40, 16);
  EXPECT_EQ(next(), "none");
}

TEST_F(MetalTextureCache, AModelIsTriedOnceUntilTheConfigurationNamesAnother) {
  resolution_->changeModel();
  resolution_->fails = true;
  const auto show = [&] {
    source_.push(4, 4);
    next();
    settle();
    source_.push(4, 4);
    return next();
  };
  EXPECT_EQ(show(), "new, R8 4x4, RG8 2x2");
  EXPECT_EQ(resolution_->made.size(), 1U) << "a failure is final";
  resolution_->fails = false;
  state_.srContentType = 1;
  EXPECT_EQ(show(), "new, R8 4x4, RG8 2x2");
  EXPECT_EQ(resolution_->made.size(), 1U) << "another configuration, the same model";

  resolution_->changeModel();
  EXPECT_EQ(show(), "new, R8 4x4, RG8 2x2") << "a model is asked for when the configuration changes, not before";
  state_.srContentType = 2;
  EXPECT_EQ(show(), "new, R8 8x8, RG8 2x2");
  EXPECT_EQ(resolution_->made.size(), 2U);

  resolution_->url = nullptr;
  state_.srContentType = 3;
  source_.push(4, 4);
  EXPECT_EQ(next(), "new, R8 4x4, RG8 2x2") << "no model: the resolver is dropped";
  resolution_->changeModel();
  state_.srContentType = 4;
  EXPECT_EQ(show(), "new, R8 8x8, RG8 2x2");
  EXPECT_EQ(resolution_->made.size(), 3U);
}

TEST_F(MetalTextureCache, SaysWhatBecameOfTheLastFrame) {
  const auto status = [&] {
    ZELSuperResolutionStatus answer;
    queue_->sync([&] { answer = cache_->superResolutionStatus(); });
    return answer.description + (answer.isActive ? ", active" : "") + (answer.isPreparing ? ", preparing" : "");
  };
  const auto show = [&](int64_t contentType) {
    state_.srContentType = contentType;
    source_.push(40, 16);
    next();
    return status();
  };
  EXPECT_EQ(status(), "off: there is no frame");
  EXPECT_EQ(show(1), "off: a reason of the tests");
  resolution_->changeModel();
  EXPECT_EQ(show(2), "off: the network is being prepared, preparing");
  settle();
  EXPECT_EQ(status(), "off: the network is being prepared, preparing") << "until the next frame";
  EXPECT_EQ(show(2), "on: luma enlarged from 40x16 to 80x32, active");
  state_.size = CGSizeMake(30, 48);
  EXPECT_EQ(show(2), "off: the display does not have more than 2.25 times the frame's pixels");
  state_.size = CGSizeMake(100, 100);
  resolution_->refuses = true;
  EXPECT_EQ(show(2), "off: the network did not enlarge the frame");
  resolution_->changeModel();
  resolution_->fails = true;
  show(3);
  settle();
  EXPECT_EQ(show(3), "off: the network could not be prepared");
}

TEST_F(MetalTextureCache, FramesOfOtherProjectionsAreEnlargedAsideWhileTheLastOneIsShown) {
  resolution_->changeModel();
  source_.push(4, 4);
  next();
  settle();
  state_.projection = ZELProjection::equirectangular();
  // One task on the render queue, so that the result cannot come back before its end.
  queue_->sync([&] {
    source_.push(4, 4);
    const auto last = cache_->textureFromPixelBufferSource(&source_, state_);
    ASSERT_TRUE(last);
    EXPECT_FALSE(last->updated());
    EXPECT_EQ(describe(*last->planes()[0]), "R8 4x4");
    source_.push(6, 6);
    const size_t asked = source_.times.size();
    cache_->textureFromPixelBufferSource(&source_, state_);
    EXPECT_EQ(source_.times.size(), asked) << "no further frame is taken meanwhile";
  });
  settle();
  source_.isNew = false;
  EXPECT_EQ(next(), "new, R8 8x8, RG8 2x2");
}

}  // namespace
}  // namespace ZELTest
