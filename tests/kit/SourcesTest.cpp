#include <ZELKit/ZELDirectPixelBufferSource.h>
#include <ZELKit/ZELImagePixelBufferSource.h>
#include <ZELPlatform/Foundation.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

CVPixelBufferRef makeFrame() { return CVPixelBuffer::create(4, 2, kCVPixelFormatType_32BGRA); }

class DirectSource : public testing::Test {
 protected:
  void SetUp() override { HostClock::setCurrent(clock_); }
  void TearDown() override { HostClock::setCurrent(nullptr); }

  std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>(10.0);
  std::shared_ptr<ZELDirectPixelBufferSource> source_ = ZELDirectPixelBufferSource::create();
};

TEST_F(DirectSource, HandsAFrameOutOnceItsTimeHasCome) {
  EXPECT_FALSE(source_->hasNewPixelBufferForTime(1e9));
  EXPECT_EQ(source_->copyPixelBufferForTime(1e9), nullptr);

  const CVPixelBufferRef frame = makeFrame();
  source_->updateWithPixelBuffer(frame, CMTimeMake(999, 1));
  EXPECT_FALSE(source_->hasNewPixelBufferForTime(9.99));
  EXPECT_EQ(source_->copyPixelBufferForTime(9.99), nullptr);
  EXPECT_TRUE(source_->hasNewPixelBufferForTime(10.01));
  EXPECT_EQ(source_->copyPixelBufferForTime(10.01), frame);

  // Taken: no longer new, but a later redraw still gets it, and the same time does not.
  EXPECT_FALSE(source_->hasNewPixelBufferForTime(10.02));
  EXPECT_EQ(source_->copyPixelBufferForTime(10.01), nullptr);
  EXPECT_EQ(source_->copyPixelBufferForTime(10.02), frame);
}

TEST_F(DirectSource, ComparesThePushWithTheSyncTimeOfTheLastAccess) {
  source_->updateWithPixelBuffer(makeFrame(), {});
  ASSERT_NE(source_->copyPixelBufferForTime(10.5), nullptr);
  clock_->advance(0.25);
  source_->updateWithPixelBuffer(makeFrame(), {});
  EXPECT_FALSE(source_->hasNewPixelBufferForTime(10.6)) << "pushed at 10.25, before the time last shown";
  clock_->advance(0.5);
  source_->updateWithPixelBuffer(makeFrame(), {});
  EXPECT_TRUE(source_->hasNewPixelBufferForTime(10.8));
}

TEST_F(DirectSource, StampsInWholeMicroseconds) {
  HostClock::setCurrent(std::make_shared<ManualClock>(10.0000019));
  source_->updateWithPixelBuffer(makeFrame(), {});
  EXPECT_FALSE(source_->hasNewPixelBufferForTime(10.0000009));
  EXPECT_TRUE(source_->hasNewPixelBufferForTime(10.000001));
}

TEST_F(DirectSource, HoldsOnlyTheLatestFrameAndNullEmptiesIt) {
  CVPixelBufferRef first = makeFrame();
  const std::weak_ptr<CVPixelBuffer> watch = first;
  source_->updateWithPixelBuffer(std::move(first), {});
  EXPECT_FALSE(watch.expired());
  source_->updateWithPixelBuffer(makeFrame(), {});
  EXPECT_TRUE(watch.expired());
  source_->updateWithPixelBuffer(nullptr, {});
  EXPECT_FALSE(source_->hasNewPixelBufferForTime(11));
  EXPECT_EQ(source_->copyPixelBufferForTime(11), nullptr);
}

TEST(DirectSourceThreads, PushesAndTakesDoNotTear) {
  const auto source = ZELDirectPixelBufferSource::create();
  std::atomic<bool> done{false};
  std::thread producer([&] {
    for (int frame = 0; frame < 2000; ++frame) source->updateWithPixelBuffer(makeFrame(), {});
    done = true;
  });
  int taken = 0;
  bool last = false;
  while (!last) {
    last = done;
    const double now = CACurrentMediaTime();
    if (!source->hasNewPixelBufferForTime(now)) continue;
    const CVPixelBufferRef frame = source->copyPixelBufferForTime(now);
    if (!frame) continue;  // pushed between the two calls, and so later than `now`
    EXPECT_EQ(frame->width(), 4U);
    ++taken;
  }
  producer.join();
  EXPECT_GT(taken, 0);
}

std::shared_ptr<UIImage> makeImage(size_t width, size_t height, CGSize size, double scale) {
  std::vector<uint8_t> bytes(width * height * 4);
  for (size_t i = 0; i < bytes.size(); i += 4) {
    bytes[i] = 200;
    bytes[i + 1] = 100;
    bytes[i + 2] = 50;
    bytes[i + 3] = 255;
  }
  return UIImage::createWithSize(
      CGImage::create(width, height, width * 4, CGImageAlphaInfo::PremultipliedLast, std::move(bytes)), size, scale);
}

TEST(ImageSource, HandsItsOneBufferOutOnceWithRedFirst) {
  const auto source = ZELImagePixelBufferSource::createWithImage(makeImage(200, 100, {100, 50}, 2));
  EXPECT_TRUE(source->hasNewPixelBufferForTime(-1));
  const CVPixelBufferRef buffer = source->copyPixelBufferForTime(0);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(buffer->width(), 100U);
  EXPECT_EQ(buffer->height(), 50U);
  EXPECT_EQ(buffer->pixelFormatType(), kCVPixelFormatType_32BGRA);
  EXPECT_TRUE(buffer->attributes().openGLESCompatibility && buffer->attributes().metalCompatibility &&
              buffer->attributes().ioSurfaceProperties);
  const auto* last = static_cast<const uint8_t*>(buffer->baseAddress()) + 49 * buffer->bytesPerRow() + size_t{99} * 4;
  EXPECT_EQ(last[0], 200);
  EXPECT_EQ(last[1], 100);
  EXPECT_EQ(last[2], 50);
  EXPECT_FALSE(source->hasNewPixelBufferForTime(1));
  EXPECT_EQ(source->copyPixelBufferForTime(1), nullptr);
}

TEST(ImageSource, CutsFractionsOfPoints) {
  const auto source = ZELImagePixelBufferSource::createWithImage(makeImage(10, 10, {100.7, 50.2}, 1));
  const CVPixelBufferRef buffer = source->copyPixelBufferForTime(0);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(buffer->width(), 100U);
  EXPECT_EQ(buffer->height(), 50U);
}

TEST(ImageSource, WithoutABufferTheFirstCopyStillEndsIt) {
  for (const auto& image :
       {std::shared_ptr<UIImage>(), makeImage(10, 10, {0.5, 50}, 1), makeImage(10, 10, {40000, 40000}, 1)}) {
    const auto source = ZELImagePixelBufferSource::createWithImage(image);
    EXPECT_TRUE(source->hasNewPixelBufferForTime(0));
    EXPECT_EQ(source->copyPixelBufferForTime(0), nullptr);
    EXPECT_FALSE(source->hasNewPixelBufferForTime(0));
  }
}

}  // namespace
