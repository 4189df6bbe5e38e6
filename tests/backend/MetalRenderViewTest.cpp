#include <ZELKit/ZELRenderView.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIScreen.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "backend/FakeMetal.h"
#include "gl/ZELGLRenderView.h"
#include "metal/ZELMetalRenderView.h"

// Which back end a view gets, and what the Metal view does with each refresh.

namespace ZELTest {
namespace {

constexpr CGSize kPoints = {40, 20};
constexpr CGSize kFrame = {60, 30};

class Source final : public ZELPixelBufferSource {
 public:
  bool hasNewPixelBufferForTime(double) override {
    ++asked;
    if (onAsk) onAsk();
    return frame != nullptr;
  }
  CVPixelBufferRef copyPixelBufferForTime(double) override { return frame ? std::exchange(frame, nullptr) : last; }
  void notifyDisplaySizeChanged(CGSize) override {}

  std::weak_ptr<CVPixelBuffer> push(CGSize size = kFrame) {
    frame = CVPixelBuffer::create(static_cast<size_t>(size.width), static_cast<size_t>(size.height),
                                  kCVPixelFormatType_32BGRA);
    return frame;
  }

  CVPixelBufferRef frame;
  /// What a request gets that was not preceded by news.
  CVPixelBufferRef last;
  int asked = 0;
  std::function<void()> onAsk;
};

/// The log of one refresh in few words: what was done with the drawable, and its size.
std::string summary(const std::vector<std::string>& log) {
  std::string text;
  const auto starts = [](const std::string& line, const char* start) { return line.rfind(start, 0) == 0; };
  for (const std::string& line : log) {
    if (starts(line, "pass") && line.find("load 2 store 1 clear 0 0 0 1") != std::string::npos) text += "clear ";
    if (starts(line, "draw")) text += "draw ";
    if (starts(line, "present ")) text += line.substr(8);
  }
  return text.empty() ? "nothing" : text;
}

class MetalRenderView : public testing::Test {
 protected:
  void SetUp() override {
    FakeMetal::shared().reset();
    UIApplicationOptions options;
    options.displayDriver = "offscreen";
    ASSERT_EQ(UIApplication::start(options), "");
    UIScreen::mainScreen().setNativeScale(2.0);
    view_ = makeView();
    state_.projection = ZELProjection::equirectangular();
    state_.size = kPoints;
    FakeMetal::shared().takeLog();
  }

  void TearDown() override {
    UIApplication::sharedApplication().setApplicationState(UIApplicationStateActive);
    UIScreen::mainScreen().setNativeScale(1.0);
    view_ = nullptr;
    FakeMetal::shared().reset();
  }

  static std::shared_ptr<ZELMetalRenderView> makeView() {
    return ZELMetalRenderView::create(CGRectMake(0, 0, kPoints.width, kPoints.height));
  }

  std::string refresh(ZELMetalRenderView& view) {
    FakeMetal::shared().takeLog();
    view.renderWithPixelBufferSource(source_, std::make_shared<ZELInternalRenderState>(state_));
    return summary(FakeMetal::shared().takeLog());
  }
  std::string refresh() { return refresh(*view_); }

  std::string show(CGSize frame = kFrame) {
    source_->push(frame);
    return refresh();
  }

  const std::shared_ptr<Source> source_ = std::make_shared<Source>();
  std::shared_ptr<ZELMetalRenderView> view_;
  ZELInternalRenderState state_;
};

TEST_F(MetalRenderView, SetsUpAnOpaqueLayer) {
  ASSERT_TRUE(view_->canRender());
  EXPECT_TRUE(ZELMetalRenderView::metalSupported());
  const auto layer = view_->metalLayer();
  EXPECT_TRUE(layer->device());
  EXPECT_EQ(layer->pixelFormat(), MTLPixelFormatBGRA8Unorm);
  EXPECT_TRUE(layer->framebufferOnly());
  EXPECT_TRUE(layer->isOpaque());
  EXPECT_EQ(view_->_renderQueue()->label(), "ZELGLRenderView");
  EXPECT_NE(view_->_renderQueue(), makeView()->_renderQueue()) << "a queue of its own";
}

TEST_F(MetalRenderView, ClearsOnceUntilThereIsAFrame) {
  EXPECT_EQ(refresh(), "clear 40x20");
  EXPECT_EQ(refresh(), "nothing");
  view_->renderWithPixelBufferSource(nullptr, std::make_shared<ZELInternalRenderState>(state_));
  EXPECT_EQ(summary(FakeMetal::shared().takeLog()), "nothing");
  EXPECT_EQ(show(), "draw 80x40");
  EXPECT_EQ(refresh(), "nothing");
  EXPECT_EQ(show(), "draw 80x40") << "a new frame";
  EXPECT_EQ(refresh(), "nothing");
}

TEST_F(MetalRenderView, RedrawsWhenTheStateDiffersAndNotWhenOnlyTimeDoes) {
  show();
  state_.syncTime = 5;
  EXPECT_EQ(refresh(), "nothing");
  state_.viewMatrix.m[3] = 1;
  EXPECT_EQ(refresh(), "draw 80x40");
  state_.projection = ZELProjection::equirectangular();
  EXPECT_EQ(refresh(), "draw 80x40");
  EXPECT_EQ(refresh(), "nothing");
  state_.projection = ZELProjection::createWithProjectionType(7);
  EXPECT_EQ(refresh(), "80x40") << "presented, undrawn";
  EXPECT_EQ(refresh(), "nothing");
}

TEST_F(MetalRenderView, SizesTheDrawableByTheProjection) {
  show();
  EXPECT_EQ(view_->metalLayer()->contentsScale(), 2.0);
  state_.projection = ZELProjection::flatWithContentGravity(ZELContentGravityFit);
  EXPECT_EQ(show({20, 10}), "draw 40x20") << "a small flat frame gets a small drawable";
  EXPECT_EQ(show({25, 10}), "draw 50x25");
  state_.size = CGSizeMake(30, 20);
  EXPECT_EQ(refresh(), "draw 50x34") << "25 of 30 points, twice as fine: a scale of 5/3";
  UIScreen::mainScreen().setNativeScale(1.0);
  EXPECT_EQ(refresh(), "clear 30x20") << "another size with nothing new to draw";
  EXPECT_EQ(refresh(), "nothing");
  state_.projection = nullptr;
  EXPECT_EQ(show(), "nothing") << "no projection, no scale";
  EXPECT_EQ(refresh(), "nothing");
  state_.projection = ZELProjection::equirectangular();
  EXPECT_EQ(refresh(), "draw 30x20");
}

TEST_F(MetalRenderView, EncodesInTheOrderThatQueuesNeed) {
  source_->push();
  FakeMetal::shared().takeLog();
  view_->renderWithPixelBufferSource(source_, std::make_shared<ZELInternalRenderState>(state_));
  const std::vector<std::string> log = FakeMetal::shared().takeLog();
  ASSERT_GT(log.size(), 4U);
  EXPECT_THAT(std::vector(log.end() - 4, log.end()), testing::ElementsAre("end", "enqueue", "present 80x40", "commit"));
  view_->flushGPU();
  EXPECT_THAT(FakeMetal::shared().takeLog(), testing::ElementsAre("enqueue", "commit", "wait"));
}

TEST_F(MetalRenderView, TellsOfAFrameAndLetsItsPlanesGoWhenTheGPUIsDone) {
  int displayed = 0;
  state_.frameDisplayed = [&] { ++displayed; };
  refresh();
  EXPECT_EQ(displayed, 0) << "cleared, without a frame";

  FakeMetal::shared().holdCompletions(true);
  const std::weak_ptr<CVPixelBuffer> first = source_->push();
  refresh();
  show();
  EXPECT_EQ(displayed, 0);
  EXPECT_FALSE(first.expired()) << "the GPU still reads it";
  std::thread([] { FakeMetal::shared().complete(); }).join();
  EXPECT_EQ(displayed, 2) << "on the thread that reports it";
  EXPECT_TRUE(first.expired());

  refresh();
  FakeMetal::shared().complete();
  EXPECT_EQ(displayed, 2) << "nothing was presented";
  UIScreen::mainScreen().setNativeScale(1.0);
  EXPECT_EQ(refresh(), "clear 40x20");
  FakeMetal::shared().complete();
  EXPECT_EQ(displayed, 3) << "cleared, with a frame";
}

TEST_F(MetalRenderView, DropsWhatComesWhileItRenders) {
  source_->onAsk = [&] {
    // On the render queue, while the request that caused it is under way.
    const int before = source_->asked;
    view_->renderWithPixelBufferSource(source_, std::make_shared<ZELInternalRenderState>(state_));
    EXPECT_EQ(source_->asked, before);
  };
  EXPECT_EQ(show(), "draw 80x40");
  EXPECT_EQ(source_->asked, 1);
}

TEST_F(MetalRenderView, DoesNothingWhileTheApplicationIsNotActive) {
  for (const UIApplicationState inactive : {UIApplicationStateInactive, UIApplicationStateBackground}) {
    UIApplication::sharedApplication().setApplicationState(inactive);
    EXPECT_EQ(show(), "nothing");
    EXPECT_EQ(source_->asked, 0) << "not even the source is asked";
  }
  UIApplication::sharedApplication().setApplicationState(UIApplicationStateActive);
  EXPECT_EQ(refresh(), "draw 80x40");
}

TEST_F(MetalRenderView, WhatFailsIsDrawnAsSoonAsItCan) {
  for (const char* call : {"ring", "drawable", "command buffer"}) {
    SCOPED_TRACE(call);
    view_ = makeView();
    FakeMetal::shared().fail(call);
    EXPECT_EQ(refresh(), "nothing");
    FakeMetal::shared().mend(call);
    EXPECT_EQ(refresh(), "clear 40x20") << "a clear that failed";
    show();
    state_.size.width += 2;  // another size, so that the drawables are made anew
    FakeMetal::shared().fail(call);
    EXPECT_EQ(show(), "nothing");
    EXPECT_EQ(refresh(), "nothing");
    FakeMetal::shared().mend(call);
    EXPECT_NE(refresh().find("draw"), std::string::npos) << "a frame that failed";
    EXPECT_EQ(refresh(), "nothing");

    // The same at the same size, where only the frame is new.
    if (std::string(call) == "ring") continue;
    FakeMetal::shared().fail(call);
    EXPECT_EQ(show(), "nothing");
    FakeMetal::shared().mend(call);
    EXPECT_NE(refresh().find("draw"), std::string::npos);
    EXPECT_EQ(refresh(), "nothing");
  }
}

TEST_F(MetalRenderView, WhatTheGPUCouldNotDoIsDoneAgain) {
  FakeMetal::shared().fail("work");
  EXPECT_EQ(refresh(), "clear 40x20");
  FakeMetal::shared().mend("work");
  EXPECT_EQ(refresh(), "clear 40x20");
  EXPECT_EQ(refresh(), "nothing");
  FakeMetal::shared().fail("work");
  EXPECT_EQ(show(), "draw 80x40");
  EXPECT_EQ(refresh(), "draw 80x40") << "without a new frame";
  FakeMetal::shared().mend("work");
  EXPECT_EQ(refresh(), "draw 80x40");
  EXPECT_EQ(refresh(), "nothing");
}

TEST_F(MetalRenderView, DrawsOnWithTheDeviceThatFollowsALostOne) {
  show();
  EXPECT_EQ(refresh(), "nothing");
  source_->last = CVPixelBuffer::create(60, 30, kCVPixelFormatType_32BGRA);
  FakeMetal::shared().fail("device");
  EXPECT_EQ(refresh(), "nothing") << "none yet";
  FakeMetal::shared().mend("device");
  FakeMetal::shared().loseDevice();
  EXPECT_EQ(refresh(), "draw 80x40") << "the source's frame again, though it is not new";
  EXPECT_EQ(view_->metalLayer()->device(), FakeMetal::shared().createDevice());
  EXPECT_EQ(refresh(), "nothing");

  FakeMetal::shared().fail("pipeline fs_rgb_flat");
  FakeMetal::shared().loseDevice();
  EXPECT_EQ(refresh(), "nothing");
  EXPECT_FALSE(view_->canRender());
}

TEST_F(MetalRenderView, SaysWhatDraws) {
  EXPECT_EQ(view_->rendererDescription(), "Metal: a device of the tests");
  show();
  EXPECT_EQ(view_->rendererDescription(), "Metal: a device of the tests, frames imported without a copy");
  FakeMetal::shared().fail("import");
  show();
  EXPECT_EQ(view_->rendererDescription(), "Metal: a device of the tests, frames uploaded");
}

TEST_F(MetalRenderView, EmptyBoundsAndSizesDrawNothing) {
  view_->setFrame({});
  EXPECT_EQ(show(), "nothing");
  view_->setFrame(CGRectMake(0, 0, kPoints.width, kPoints.height));
  state_.size = {};
  EXPECT_EQ(refresh(), "nothing");
  state_.size = kPoints;
  EXPECT_EQ(refresh(), "draw 80x40");
}

class BackEndChoice : public MetalRenderView {
 protected:
  static bool isMetal() {
    return std::dynamic_pointer_cast<ZELMetalRenderView>(ZELRenderView::_createInternalView()) != nullptr;
  }
  static bool isGL() {
    return std::dynamic_pointer_cast<ZELGLRenderView>(ZELRenderView::_createInternalView()) != nullptr;
  }
};

TEST_F(BackEndChoice, IsMetalWhereItCanRenderAndElseOpenGLES) {
  EXPECT_TRUE(isMetal());
  for (const char* call : {"device", "queue", "buffer 32", "buffer 12", "function vs_main", "pipeline fs_yuv_cubemap",
                           "pipeline error fs_rgb_flat"}) {
    FakeMetal::shared().fail(call);
    const auto view = makeView();
    ASSERT_TRUE(view) << "a view that cannot render is a view all the same";
    EXPECT_FALSE(view->canRender()) << call;
    EXPECT_EQ(refresh(*view), "nothing");
    view->flushGPU();
    EXPECT_TRUE(isGL()) << call;
    FakeMetal::shared().mend(call);
    EXPECT_TRUE(isMetal()) << "the choice is made anew for every view";
  }
  ZELRenderView::setMetalAllowed(false);
  EXPECT_TRUE(isGL()) << "not allowed";
  ZELRenderView::setMetalAllowed(true);
  EXPECT_TRUE(ZELRenderView::create({})->usesMetal());
  FakeMetal::shared().fail("texture cache");
  EXPECT_TRUE(isMetal()) << "a view that can render, though no frame will yield a texture";
  EXPECT_EQ(refresh(*makeView()), "clear 40x20");
  source_->push();
  EXPECT_EQ(refresh(*makeView()), "clear 40x20");
}

/// What is found out once per process needs a process of its own.
class BackEndChoiceOfAProcess : public testing::TestWithParam<const char*> {};

TEST_P(BackEndChoiceOfAProcess, IsOpenGLESForGood) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto body = [] {
    const auto isGL = [] {
      return std::dynamic_pointer_cast<ZELGLRenderView>(ZELRenderView::_createInternalView()) != nullptr;
    };
    FakeMetal::shared().fail(GetParam());
    const bool before = isGL();
    FakeMetal::shared().mend(GetParam());
    std::_Exit(before && isGL() ? 0 : 1);
  };
  EXPECT_EXIT(body(), testing::ExitedWithCode(0), "");
}

INSTANTIATE_TEST_SUITE_P(All, BackEndChoiceOfAProcess, testing::Values("device", "library", "library error"),
                         [](const auto& info) {
                           std::string name = info.param;
                           std::replace(name.begin(), name.end(), ' ', '_');
                           return name;
                         });

}  // namespace
}  // namespace ZELTest
