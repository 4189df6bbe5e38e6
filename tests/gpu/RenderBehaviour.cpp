#include <ZELKit/internal/ZELInternalRenderState.h>
#include <ZELKit/internal/ZELInternalRenderView.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

#include "gpu/RenderHarness.h"
#include "platform/corevideo/Counters.h"
#include "platform/quartzcore/LayerContents.h"

// What is drawn, presented and uploaded when, and what happens to frames and views that make no sense.

namespace ZELTest {

static void PrintTo(const Work& work, std::ostream* stream) {
  *stream << work.calls << " calls, " << work.draws << " draws, " << work.presents << " presents, " << work.uploads
          << " uploads";
}

namespace {

constexpr double kTolerance = 2.0;
constexpr CGSize kPoints = {96, 54};

class RenderBehaviour : public testing::TestWithParam<const BackEnd*> {
 protected:
  void SetUp() override {
    ASSERT_EQ(GetParam()->unavailableReason(), "");
    stage_ = std::make_unique<Stage>(*GetParam(), kPoints);
  }

  Stage& stage() { return *stage_; }

  /// A view that has drawn a smooth frame.
  Eye addShowing(const CVPixelBufferRef& frame, std::shared_ptr<ZELProjection> projection) {
    Eye eye = stage().add();
    eye.view->setContentProjection(std::move(projection));
    stage().show(eye, frame);
    return eye;
  }

  /// The work of one refresh, but for the calls, of which every frame makes some.
  Work workOfStep(const Eye& eye) {
    Work work = stage().workOf(eye, [this] { stage().refresh(); });
    work.calls = 0;
    return work;
  }

  /// Expects that the view shows the frame as the reference does.
  static void expectShows(const Eye& eye, const CVPixelBuffer& frame) {
    const Picture picture = eye.picture();
    ASSERT_GT(picture.width, 0);
    EXPECT_EQ(compare(picture, eye.shot(picture, frame), frame, kTolerance).firstOff, "");
  }

  /// The work of a new frame of `frame_`'s kind.
  Work newFrame() const { return {.draws = 1, .presents = 1, .uploads = GetParam()->metal ? 0U : 1U}; }

  void expectBlack(const Picture& picture) const {
    ASSERT_FALSE(picture.bytes.empty());
    const std::vector<uint8_t> black = {0, 0, 0, static_cast<uint8_t>(GetParam()->metal ? 255 : 0)};
    for (size_t at = 0; at < picture.bytes.size(); at += 4) {
      ASSERT_TRUE(std::equal(black.begin(), black.end(), &picture.bytes[at])) << "pixel " << at / 4;
    }
  }

  const CVPixelBufferRef frame_ = smoothFrame(kCVPixelFormatType_32BGRA, 64, 32);

 private:
  std::unique_ptr<Stage> stage_;
};

INSTANTIATE_TEST_SUITE_P(All, RenderBehaviour, testing::ValuesIn(allBackEnds()),
                         [](const auto& info) { return std::string(info.param->name); });

/// For back ends that queue frames.
class RenderQueues : public RenderBehaviour {};

INSTANTIATE_TEST_SUITE_P(GL, RenderQueues, testing::Values(&backEnds().front()),
                         [](const auto& info) { return std::string(info.param->name); });

constexpr Work kNothing{};
constexpr Work kRedraw{.draws = 1, .presents = 1};

TEST_P(RenderBehaviour, BecomesReadyOnceWithTheFirstFrame) {
  const Eye eye = stage().add();
  eye.view->setContentProjection(ZELProjection::equirectangular());
  std::vector<bool> changes;
  eye.view->setReadyForDisplayObserver([&](bool ready) { changes.push_back(ready); });

  EXPECT_EQ(workOfStep(eye), (Work{.presents = 1})) << "an empty drawable, before any content";
  expectBlack(eye.picture());
  EXPECT_EQ(workOfStep(eye), kNothing);
  EXPECT_TRUE(changes.empty());

  stage().push(eye, frame_);
  EXPECT_EQ(workOfStep(eye), newFrame());
  EXPECT_EQ(changes, std::vector{true});
  expectShows(eye, *frame_);

  stage().show(eye, frame_);
  EXPECT_EQ(changes, std::vector{true});
  eye.view->setContentSource(eye.source);
  stage().show(eye, frame_);
  EXPECT_EQ(changes, (std::vector{true, false, true})) << "a source set anew has to show a frame again";
}

TEST_P(RenderBehaviour, UnchangedFramesCostNothing) {
  const Eye eye = addShowing(frame_, ZELProjection::equirectangular());
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(workOfStep(eye), kNothing) << "only the time differs";
  }
  eye.camera->look(rotation(10, 0, 0, false));
  EXPECT_EQ(workOfStep(eye), kRedraw);
  EXPECT_EQ(workOfStep(eye), kNothing);
  eye.view->setZoom(1.5);
  EXPECT_EQ(workOfStep(eye), kRedraw);
  eye.view->setContentProjection(ZELProjection::equirectangular());
  EXPECT_EQ(workOfStep(eye), kRedraw) << "an equal projection is another one";
  EXPECT_EQ(workOfStep(eye), kNothing);
  expectShows(eye, *frame_);
}

TEST_P(RenderBehaviour, NewSizesAndScalesRemakeTheDrawableOnce) {
  const Eye eye = addShowing(frame_, ZELProjection::equirectangular());
  for (const CGSize size : {CGSizeMake(50, 70), CGSizeMake(51, 70), CGSizeMake(96, 54)}) {
    eye.view->setFrame(CGRectMake(0, 0, size.width, size.height));
    EXPECT_EQ(workOfStep(eye), kRedraw);
    EXPECT_EQ(workOfStep(eye), kNothing);
    expectShows(eye, *frame_);
  }
  UIScreen::mainScreen().setNativeScale(2.0);
  EXPECT_EQ(workOfStep(eye), kRedraw);
  EXPECT_EQ(eye.picture().width, 192);
  EXPECT_EQ(workOfStep(eye), kNothing);
  expectShows(eye, *frame_);
}

TEST_P(RenderBehaviour, FractionalSizesRoundUpToWholePoints) {
  const Eye eye = addShowing(frame_, ZELProjection::flatWithContentGravity(ZELContentGravityFill));
  eye.view->setFrame(CGRectMake(0, 0, 40.4, 30));
  stage().step();
  EXPECT_EQ(eye.picture().width, 41);
  EXPECT_EQ(eye.picture().height, 30);
}

TEST_P(RenderBehaviour, BordersOfFlatPicturesStayBlack) {
  const CVPixelBufferRef wide = smoothFrame(kCVPixelFormatType_32BGRA, 90, 18);
  const CVPixelBufferRef tall = smoothFrame(kCVPixelFormatType_32BGRA, 20, 60);
  const Eye eye = addShowing(wide, ZELProjection::flatWithContentGravity(ZELContentGravityFill));
  const auto fit = ZELProjection::flatWithContentGravity(ZELContentGravityFit);
  // The drawable was full; its images must not shine through the borders that come with the new projection.
  eye.view->setFrame(CGRectMake(0, 0, 80, 54));
  eye.view->setContentProjection(fit);
  for (int round = 0; round < 8; ++round) {
    stage().show(eye, wide);
    expectShows(eye, *wide);
  }
  eye.view->setFrame(CGRectMake(0, 0, 96, 40));
  for (int round = 0; round < 8; ++round) {
    stage().show(eye, tall);
    expectShows(eye, *tall);
  }
}

TEST_P(RenderQueues, BusyViewsDropRefreshes) {
  const Eye eye = addShowing(frame_, ZELProjection::equirectangular());
  const Rotation first = rotation(25, 0, 0, false);
  Work work = stage().workOf(eye, [&] {
    const auto hold = stage().holdRenderQueues();
    eye.camera->look(first);
    stage().refresh();
    for (int round = 0; round < 4; ++round) {
      eye.camera->look(rotation(90 + round, 0, 0, false));
      stage().refresh();
    }
  });
  work.calls = 0;
  EXPECT_EQ(work, kRedraw);
  eye.camera->look(first);
  expectShows(eye, *frame_);
}

TEST_P(RenderBehaviour, InactiveApplicationsDrawNothing) {
  const Eye eye = addShowing(frame_, ZELProjection::equirectangular());
  UIApplication& application = UIApplication::sharedApplication();
  for (const UIApplicationState state : {UIApplicationStateInactive, UIApplicationStateBackground}) {
    application.setApplicationState(state);
    stage().push(eye, frame_);
    EXPECT_EQ(stage().workOf(eye, [this] { stage().refresh(); }), kNothing);
    application.setApplicationState(UIApplicationStateActive);
    EXPECT_EQ(workOfStep(eye), newFrame());
  }
}

TEST_P(RenderQueues, FramesQueuedBeforeTheApplicationWentAwayAreNotDrawn) {
  const Eye eye = addShowing(frame_, ZELProjection::equirectangular());
  UIApplication& application = UIApplication::sharedApplication();
  for (const UIApplicationState state : {UIApplicationStateInactive, UIApplicationStateBackground}) {
    stage().push(eye, frame_);
    EXPECT_EQ(stage().workOf(eye,
                             [&] {
                               const auto hold = stage().holdRenderQueues();
                               stage().refresh();
                               application.setApplicationState(state);
                             }),
              kNothing);
    application.setApplicationState(UIApplicationStateActive);
    EXPECT_EQ(workOfStep(eye), newFrame());
  }
}

TEST_P(RenderBehaviour, UnknownProjectionsShowTheLastPicture) {
  const Eye eye = addShowing(frame_, ZELProjection::equirectangular());
  eye.view->setContentSource(eye.source);
  eye.view->setContentProjection(ZELProjection::createWithProjectionType(7));
  EXPECT_EQ(workOfStep(eye), (Work{.presents = 1})) << "presented, undrawn";
  EXPECT_EQ(eye.view->readyForDisplay(), GetParam()->metal)
      << "Metal tells of what was presented, OpenGL of what was drawn";
  EXPECT_EQ(workOfStep(eye), kNothing);
  eye.view->setContentProjection(ZELProjection::equirectangular());
  EXPECT_EQ(workOfStep(eye), kRedraw);
  EXPECT_TRUE(eye.view->readyForDisplay());
  expectShows(eye, *frame_);
}

TEST_P(RenderBehaviour, UnsupportedFramesEmptyTheView) {
  const Eye eye = addShowing(frame_, ZELProjection::equirectangular());
  const Picture before = eye.picture();
  stage().push(eye, CVPixelBuffer::create(64, 32, kCVPixelFormatType_16LE565));
  EXPECT_EQ(workOfStep(eye), kNothing);
  eye.camera->look(rotation(40, 0, 0, false));
  EXPECT_EQ(workOfStep(eye), kNothing) << "there is nothing to draw any more";
  EXPECT_EQ(eye.picture(), before);
  stage().push(eye, frame_);
  EXPECT_EQ(workOfStep(eye), newFrame());
  expectShows(eye, *frame_);
}

TEST_P(RenderBehaviour, EmptiedSourcesKeepTheirLastFrame) {
  const Eye eye = addShowing(frame_, ZELProjection::equirectangular());
  stage().push(eye, nullptr);
  EXPECT_EQ(workOfStep(eye), kNothing);
  eye.camera->look(rotation(40, 0, 0, false));
  EXPECT_EQ(workOfStep(eye), kRedraw);
  expectShows(eye, *frame_);
}

TEST_P(RenderBehaviour, FormatsAndSizesChangeFromFrameToFrame) {
  const Eye eye = addShowing(frame_, ZELProjection::equirectangular());
  const uint32_t formats[] = {kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, kCVPixelFormatType_32RGBA,
                              kCVPixelFormatType_420YpCbCr8BiPlanarFullRange, kCVPixelFormatType_32BGRA};
  const size_t sides[] = {64, 37, 33, 2, 3, 1};
  for (const size_t width : sides) {
    for (const size_t height : sides) {
      for (const uint32_t format : formats) {
        const CVPixelBufferRef frame = smoothFrame(format, width, height);
        stage().push(eye, frame);
        if (frame->planeCount() != 0 && (width < 2 || height < 2)) {
          EXPECT_EQ(workOfStep(eye).draws, 0U) << "no chroma at " << width << "x" << height;
          continue;
        }
        EXPECT_EQ(workOfStep(eye).draws, 1U);
        SCOPED_TRACE(testing::Message() << width << "x" << height << " of format " << std::hex << format);
        expectShows(eye, *frame);
      }
    }
  }
}

TEST_P(RenderBehaviour, BorrowedMemoryWithWideRowsIsReadByItsRows) {
  const Eye eye = addShowing(frame_, ZELProjection::equirectangular());
  constexpr size_t kWidth = 30;
  constexpr size_t kHeight = 20;
  constexpr size_t kRow = 151;
  std::vector<uint8_t> bytes(kRow * kHeight, 0xEE);
  int released = 0;
  const auto pattern = smoothFrame(kCVPixelFormatType_32RGBA, kWidth, kHeight);
  for (size_t row = 0; row < kHeight; ++row) {
    const auto* source = static_cast<const uint8_t*>(pattern->baseAddress()) + row * pattern->bytesPerRow();
    std::copy_n(source, kWidth * 4, &bytes[row * kRow]);
  }
  CVPixelBufferRef frame = CVPixelBuffer::createWithBytes(kWidth, kHeight, kCVPixelFormatType_32RGBA, bytes.data(),
                                                          kRow, [&released] { ++released; });
  ASSERT_TRUE(frame) << "rows of any length at least the pixels'";
  stage().show(eye, frame);
  expectShows(eye, *frame);
  stage().show(eye, frame_);
  frame = nullptr;
  stage().step();
  EXPECT_EQ(released, 1) << "nothing holds a frame that was replaced";
}

TEST_P(RenderBehaviour, MissingPiecesAreQuiet) {
  const Eye eye = stage().add();
  eye.view->setController(nullptr);
  eye.view->setContentSource(nullptr);
  stage().step();
  EXPECT_FALSE(eye.view->readyForDisplay());

  eye.view->setContentSource(eye.source);
  stage().show(eye, frame_);
  stage().show(eye, frame_);

  eye.view->setContentProjection(ZELProjection::equirectangular());
  stage().show(eye, frame_);
  EXPECT_TRUE(eye.view->readyForDisplay());
  expectShows(eye, *frame_);

  eye.view->setContentProjection(nullptr);
  stage().show(eye, frame_);
  stage().step();
  eye.view->setContentProjection(ZELProjection::equirectangular());
  stage().step();
  expectShows(eye, *frame_);
}

TEST_P(RenderBehaviour, EmptyBoundsAreQuiet) {
  for (const CGSize size : {CGSizeMake(0, 0), CGSizeMake(0, 20), CGSizeMake(20, 0)}) {
    for (const auto& projection : {ZELProjection::equirectangular(), ZELProjection::flatWithContentGravity(0)}) {
      const Eye eye = stage().add();
      eye.view->setContentProjection(projection);
      eye.view->setFrame(CGRectMake(0, 0, size.width, size.height));
      stage().show(eye, frame_);
      stage().show(eye, frame_);
      EXPECT_EQ(eye.contents()->presentCount(), 0U);
      eye.view->setFrame(CGRectMake(0, 0, 40, 30));
      stage().step();
      expectShows(eye, *frame_);
      // And from a good size to an empty one and back.
      eye.view->setFrame(CGRectMake(0, 0, size.width, size.height));
      stage().show(eye, frame_);
      eye.view->setFrame(CGRectMake(0, 0, 30, 20));
      stage().step();
      stage().show(eye, frame_);
      expectShows(eye, *frame_);
      eye.view->removeFromSuperview();
    }
  }
}

TEST_P(RenderBehaviour, SnapshotsShowTheLayersPicture) {
  const Eye eye = addShowing(frame_, ZELProjection::cubemapWithPadding(0));
  eye.camera->look(rotation(30, 20, 10, false));
  stage().step();
  const std::shared_ptr<UIImage> snapshot = eye.view->takeSnapshot();
  ASSERT_TRUE(snapshot);
  EXPECT_TRUE(CGSizeEqualToSize(snapshot->size(), kPoints));
  EXPECT_EQ(pictureOf(*snapshot->cgImage()), eye.picture());
}

TEST_P(RenderBehaviour, ViewsGoAwayWithFramesQueued) {
  for (const bool ready : {false, true}) {
    Eye eye = stage().add();
    eye.view->setContentProjection(ZELProjection::equirectangular());
    stage().push(eye, frame_);
    if (ready) {
      stage().step();
    }
    const std::weak_ptr<ZELRenderView> view = eye.view;
    const std::weak_ptr<ZELDirectPixelBufferSource> source = eye.source;
    {
      const auto hold = stage().holdRenderQueues();  // of the back ends that have them; others have a frame at the GPU
      stage().refresh();
      eye.view->removeFromSuperview();
      eye = {};
    }
    EXPECT_TRUE(NSRunLoop::mainRunLoop().runUntil([&] { return view.expired() && source.expired(); }, 5.0));
    stage().settle();
  }
}

TEST_P(RenderBehaviour, UndrawnViewsGoAway) {
  // Each of these leaves a view that was never told that its frame was displayed.
  const std::shared_ptr<ZELProjection> projections[] = {nullptr, ZELProjection::createWithProjectionType(7)};
  for (const std::shared_ptr<ZELProjection>& projection : projections) {
    std::weak_ptr<ZELRenderView> view;
    {
      const Eye eye = stage().add();
      eye.view->setContentProjection(projection);
      stage().show(eye, frame_);
      view = eye.view;
      eye.view->removeFromSuperview();
    }
    EXPECT_TRUE(NSRunLoop::mainRunLoop().runUntil([&] { return view.expired(); }, 1.0))
        << (projection ? "unknown projection" : "no projection");
    stage().settle();
  }
}

TEST_P(RenderBehaviour, ViewsResizedInTurnKeepTheirPicturesAndTheirMemoryBounded) {
  // Names of one view's drawable objects may be handed to the deletion of another's; neither picture may suffer.
  const CVPixelBufferRef frames[] = {smoothFrame(kCVPixelFormatType_32BGRA, 64, 32),
                                     smoothFrame(kCVPixelFormatType_32RGBA, 90, 60),
                                     smoothFrame(kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, 50, 20)};
  const std::shared_ptr<ZELProjection> projections[] = {ZELProjection::equirectangular(),
                                                        ZELProjection::cubemapWithPadding(2),
                                                        ZELProjection::flatWithContentGravity(ZELContentGravityFit)};
  Eye eyes[3];
  for (size_t index = 0; index < 3; ++index) {
    eyes[index] = stage().add();
    eyes[index].view->setContentProjection(projections[index]);
    stage().push(eyes[index], frames[index]);
  }
  stage().step();
  const auto& images = ZELPlatform::pixelCounters().drawableImages;
  int64_t mostImages = 0;
  for (int round = 0; round < 24; ++round) {
    const size_t resized = static_cast<size_t>(round) % 3;
    eyes[resized].view->setFrame(CGRectMake(0, 0, 40 + round, 60 - round));
    stage().step();
    for (size_t index = 0; index < 3; ++index) {
      eyes[index].camera->look(rotation(11.0 * round, 3.0 * round, 0, false));
    }
    stage().step();
    for (size_t index = 0; index < 3; ++index) {
      SCOPED_TRACE(testing::Message() << "round " << round << ", view " << index);
      expectShows(eyes[index], *frames[index]);
    }
    mostImages = std::max<int64_t>(mostImages, images);
  }
  // A layer's ring: the image in front, the one drawn into, and one that a reader may still hold.
  EXPECT_LE(mostImages, 3 * 3);
}

}  // namespace
}  // namespace ZELTest
