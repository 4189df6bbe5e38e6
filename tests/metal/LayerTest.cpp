// Drawables of layers, what snapshots see of them, and that frames allocate nothing.

#include "MetalSupport.h"

#include <ZELPlatform/UIKit.h>

#include <chrono>
#include <cmath>

namespace metaltest {
namespace {

using Clock = std::chrono::steady_clock;

std::shared_ptr<ZELPlatform::LayerImage> front(const std::shared_ptr<CAMetalLayer>& layer) {
  return layer->contentsStore()->front();
}

void finish(MTLCommandQueue& queue) {
  const auto buffer = queue.commandBuffer();
  buffer->commit();
  buffer->waitUntilCompleted();
}

TEST_F(MetalTest, PresentingShowsTheDrawableAndReadingWaitsForTheGpu) {
  const auto layer = makeLayer(device, 12, 7);
  EXPECT_FALSE(front(layer));
  bool shownBeforeHandler = false;
  ASSERT_TRUE(
      showFrame(*queue, *layer, kRed, [&] { shownBeforeHandler = layer->contentsStore()->presentCount() == 1; }));
  ASSERT_TRUE(front(layer));
  EXPECT_TRUE(isFilledWith(front(layer)->readBack(), kRed));
  finish(*queue);
  EXPECT_TRUE(shownBeforeHandler);
  // A drawable that is not presented changes nothing; one whose drawing is not committed neither.
  EXPECT_TRUE(layer->nextDrawable());
  const auto before = front(layer);
  {
    const auto drawable = layer->nextDrawable();
    const auto buffer = queue->commandBuffer();
    buffer->renderCommandEncoderWithDescriptor(passOn(drawable->texture()));
    buffer->presentDrawable(drawable);
  }
  EXPECT_EQ(front(layer), before);
  // A reader keeps its picture while the layer goes on.
  const auto image = before->readBack();
  for (int i = 0; i < 10; ++i) ASSERT_TRUE(showFrame(*queue, *layer, i % 2 == 0 ? kGreen : kBlue));
  EXPECT_TRUE(isFilledWith(before->readBack(), kRed));
  EXPECT_TRUE(isFilledWith(front(layer)->readBack(), kBlue));
}

TEST_F(MetalTest, DrawablesAreCountedOutAndMadeAnewForAnotherSize) {
  const auto layer = makeLayer(device, 8, 8);
  auto one = layer->nextDrawable();
  auto two = layer->nextDrawable();
  ASSERT_TRUE(one && two);
  EXPECT_NE(one->texture(), two->texture());
  const auto start = Clock::now();
  EXPECT_FALSE(layer->nextDrawable());
  EXPECT_NEAR(std::chrono::duration<double>(Clock::now() - start).count(), 1.0, 0.5);
  one.reset();
  EXPECT_TRUE(layer->nextDrawable());

  layer->setDrawableSize({16.0, 5.0});
  const auto other = layer->nextDrawable();
  ASSERT_TRUE(other);
  EXPECT_EQ(other->texture()->width(), 16U);
  EXPECT_EQ(other->texture()->height(), 5U);
  two->present();
  EXPECT_EQ(front(layer)->width(), 8U);

  for (const CGSize size :
       {CGSize{0, 5}, CGSize{-1, 5}, CGSize{5, static_cast<double>(device->maximumTextureSize() + 1)},
        CGSize{std::nan(""), 5}}) {
    layer->setDrawableSize(size);
    EXPECT_FALSE(layer->nextDrawable()) << size.width << " x " << size.height;
  }
  layer->setDrawableSize({4, 4});
  EXPECT_TRUE(layer->nextDrawable());
  layer->setDevice(nullptr);
  EXPECT_FALSE(layer->nextDrawable());
}

class MetalLayerView : public UIView {
 public:
  explicit MetalLayerView(Key key) : UIView(key) {}
  static std::shared_ptr<MetalLayerView> create(CGRect frame) { return createView<MetalLayerView>(frame); }

 protected:
  std::shared_ptr<CALayer> createLayer() override { return std::make_shared<CAMetalLayer>(); }
};

TEST_F(MetalTest, SnapshotsShowMetalLayers) {
  const auto view = MetalLayerView::create(CGRectMake(0, 0, 20, 10));
  const auto layer = std::dynamic_pointer_cast<CAMetalLayer>(view->layer());
  layer->setDevice(device);
  layer->setDrawableSize({40, 20});
  layer->setOpaque(true);
  ASSERT_TRUE(showFrame(*queue, *layer, kGreen));
  UIGraphicsBeginImageContextWithOptions({20, 10}, true, 1.0);
  EXPECT_TRUE(view->drawViewHierarchyInRect(CGRectMake(0, 0, 20, 10), false));
  const auto image = UIGraphicsGetImageFromCurrentImageContext();
  UIGraphicsEndImageContext();
  ASSERT_TRUE(image);
  EXPECT_TRUE(isFilledWith(image->cgImage(), kGreen));
}

TEST_F(MetalTest, FramesMakeNoGpuObjects) {
  const auto layer = makeLayer(device, 64, 64);
  const auto cache = CVMetalTextureCache::create(device);
  const auto pipeline = renderPipeline("fs_planes");
  const Quad quad(*device);
  // A decoder's pool of buffers, which come round again and again.
  std::vector<CVPixelBufferRef> pool(5);
  for (auto& pixels : pool) {
    pixels = CVPixelBuffer::create(64, 64, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
  }
  const auto frame = [&](size_t i) {
    const auto& pixels = pool[i % pool.size()];
    const auto luma = cache->createTextureFromImage(pixels, MTLPixelFormatR8Unorm, 64, 64, 0);
    const auto chroma = cache->createTextureFromImage(pixels, MTLPixelFormatRG8Unorm, 32, 32, 1);
    const auto drawable = layer->nextDrawable();
    const auto buffer = queue->commandBuffer();
    const auto encoder = buffer->renderCommandEncoderWithDescriptor(passOn(drawable->texture()));
    encoder->setRenderPipelineState(pipeline);
    encoder->setFragmentTexture(luma->texture(), 0);
    encoder->setFragmentTexture(chroma->texture(), 1);
    quad.draw(*encoder, {});
    encoder->endEncoding();
    buffer->enqueue();
    buffer->presentDrawable(drawable);
    buffer->commit();
  };
  for (size_t i = 0; i < 30; ++i) frame(i);
  finish(*queue);
  const uint64_t made = pixelCounters().gpuObjectsMade;
  for (size_t i = 0; i < 300; ++i) frame(i);
  finish(*queue);
  EXPECT_LE(pixelCounters().gpuObjectsMade, made + kMadeAtThePeak);
}

TEST_F(MetalTest, RoundsOfMakingAndDroppingLeaveNothing) {
  const auto round = [this](int i) {
    const auto own = device->newCommandQueue();
    const auto cache = CVMetalTextureCache::create(device);
    const auto pipeline = renderPipeline("fs_color");
    const Quad quad(*device);
    const auto layer = makeLayer(device, 16 + i % 7, 16);
    ASSERT_TRUE(showFrame(*own, *layer, kRed));
    if (i % 50 == 0) {
      ASSERT_TRUE(isFilledWith(front(layer)->readBack(), kRed));
    }
  };
  for (int i = 0; i < 20; ++i) round(i);
  gpu().waitUntilIdle();
  // While the GPU is behind, up to twelve copies are under way: each has a pool and a fence, which are kept, and an
  // image with its memory, view and framebuffer, which the next copy lets go. One object a round would be 500.
  constexpr int64_t kHeld = 12 * 6;
  const int64_t alive = pixelCounters().gpuObjects;
  for (int i = 0; i < 500; ++i) round(i);
  EXPECT_TRUE(gpuObjectsFallTo(alive + kHeld)) << pixelCounters().gpuObjects - alive << " objects more";
}

}  // namespace
}  // namespace metaltest
