#include <ZELKit/ZELRenderView.h>
#include <ZELKit/internal/ZELInternalRenderState.h>
#include <ZELKit/internal/ZELInternalRenderView.h>
#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIScreen.h>
#include <ZELPlatform/UIWindow.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "frontend/ZELDisplayLink.h"

namespace {

/// A back end that keeps the states it was handed.
class RecordingView final : public ZELInternalRenderView {
 public:
  explicit RecordingView(Key key) : ZELInternalRenderView(key) {}
  static std::shared_ptr<RecordingView> create() { return createView<RecordingView>({}); }

  void renderWithPixelBufferSource(const std::shared_ptr<ZELPixelBufferSource>& source,
                                   const std::shared_ptr<const ZELInternalRenderState>& state) override {
    sources.push_back(source);
    states.push_back(state);
  }
  void flushGPU() override { ++flushes; }

  std::vector<std::shared_ptr<ZELPixelBufferSource>> sources;
  std::vector<std::shared_ptr<const ZELInternalRenderState>> states;
  int flushes = 0;
};

class RecordingSource final : public ZELPixelBufferSource {
 public:
  bool hasNewPixelBufferForTime(double) override { return false; }
  CVPixelBufferRef copyPixelBufferForTime(double) override { return nullptr; }
  void notifyDisplaySizeChanged(CGSize size) override { sizes.push_back(size); }
  std::vector<CGSize> sizes;
};

class RecordingController final : public ZELInteractionController {
 public:
  void attachToView(const std::shared_ptr<UIView>&) override { calls.emplace_back("attach"); }
  void detach() override { calls.emplace_back("detach"); }
  void updateWithDeltaTime(float deltaTime) override {
    calls.emplace_back("update");
    deltas.push_back(deltaTime);
  }
  void beginTransitionFromMatrix(GLKMatrix4) override { calls.emplace_back("transition"); }
  std::shared_ptr<ZELInteractionControllerDelegate> delegate() const override { return nullptr; }
  void setDelegate(const std::shared_ptr<ZELInteractionControllerDelegate>&) override {}
  GLKMatrix4 viewMatrix() const override {
    GLKMatrix4 matrix = GLKMatrix4Identity;
    matrix.m[0] = 42;
    return matrix;
  }
  bool enabled() const override { return enabled_; }
  void setEnabled(bool enabled) override {
    calls.emplace_back(enabled ? "enable" : "disable");
    enabled_ = enabled;
  }
  std::vector<std::string> calls;
  std::vector<float> deltas;

 private:
  bool enabled_ = false;
};

class RenderView : public testing::Test {
 protected:
  void SetUp() override {
    UIApplicationOptions options;
    options.displayDriver = "offscreen";
    ASSERT_EQ(UIApplication::start(options), "");
    DisplayRefresh::shared().setStepped(true);
    HostClock::setCurrent(clock_);
    view_ = ZELRenderView::create(CGRectMake(0, 0, 320.4, 568));
    backEnd_ = RecordingView::create();
    view_->_setupInternalView(backEnd_);
    view_->setContentSource(source_);
    view_->setController(controller_);
  }

  void TearDown() override {
    UIApplication::sharedApplication().overrideStatusBarOrientation(UIInterfaceOrientationUnknown);
    UIApplication::sharedApplication().setApplicationState(UIApplicationStateActive);
    view_ = nullptr;
    NSRunLoop::mainRunLoop().runPending();
    HostClock::setCurrent(nullptr);
    DisplayRefresh::shared().setStepped(false);
  }

  const ZELInternalRenderState& display(double time = 1.0) {
    view_->displayAtSyncTime(time);
    return *backEnd_->states.back();
  }

  std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
  std::shared_ptr<RecordingSource> source_ = std::make_shared<RecordingSource>();
  std::shared_ptr<RecordingController> controller_ = std::make_shared<RecordingController>();
  std::shared_ptr<RecordingView> backEnd_;
  std::shared_ptr<ZELRenderView> view_;
};

TEST_F(RenderView, FillsTheStateOfAFrame) {
  UIApplication::sharedApplication().overrideStatusBarOrientation(UIInterfaceOrientationLandscapeLeft);
  const auto projection = ZELProjection::cubemapWithPadding(2);
  view_->setContentProjection(projection);
  view_->setZoom(2.0);
  view_->setSuperResolutionEnabled(true);
  view_->setSuperResolutionContentType(5);
  view_->setSuperResolutionEncoderType(6);
  const ZELInternalRenderState& state = display(12.5);
  EXPECT_EQ(state.viewMatrix.m[0], 42);
  EXPECT_EQ(state.nearPlane, 2.0 * (320.4 / 568.0 * 0.9));
  EXPECT_EQ(state.size.width, 321);
  EXPECT_EQ(state.size.height, 568);
  EXPECT_EQ(state.nativeScale, UIScreen::mainScreen().nativeScale());
  EXPECT_EQ(state.projection, projection);
  EXPECT_EQ(state.syncTime, 12.5);
  EXPECT_TRUE(state.srEnabled);
  EXPECT_EQ(state.srContentType, 5);
  EXPECT_EQ(state.srEncoderType, 6);
  EXPECT_EQ(backEnd_->sources.back(), source_);

  UIApplication::sharedApplication().overrideStatusBarOrientation(UIInterfaceOrientationPortraitUpsideDown);
  EXPECT_EQ(display().nearPlane, 2.0 * 0.9);
}

TEST_F(RenderView, AbsentObjectsAndEmptyBoundsDegradeQuietly) {
  view_->setContentSource(nullptr);
  view_->setController(nullptr);
  const ZELInternalRenderState& state = display();
  EXPECT_EQ(state.nearPlane, 0.0);
  EXPECT_EQ(std::memcmp(&state.viewMatrix, &GLKMatrix4Identity, sizeof state.viewMatrix), 0);
  EXPECT_EQ(backEnd_->sources.back(), nullptr);

  UIApplication::sharedApplication().overrideStatusBarOrientation(UIInterfaceOrientationLandscapeRight);
  view_->setContentProjection(ZELProjection::equirectangular());
  view_->setFrame(CGRectMake(0, 0, 300, 0));
  EXPECT_EQ(display().nearPlane, 0.9) << "without height the aspect ratio is 1";
}

TEST_F(RenderView, SwitchesTheControllerWithTheProjection) {
  view_->setContentProjection(ZELProjection::equirectangular());
  display();
  EXPECT_THAT(controller_->calls, testing::ElementsAre("enable", "update"));
  display();
  EXPECT_THAT(controller_->calls, testing::ElementsAre("enable", "update", "update"));
  controller_->calls.clear();
  view_->setContentProjection(ZELProjection::flatWithContentGravity(0));
  EXPECT_EQ(display().viewMatrix.m[0], 1.0F);
  display();
  EXPECT_THAT(controller_->calls, testing::ElementsAre("disable"));
}

TEST_F(RenderView, StepsTheControllerByTheTimeSinceTheLastFrame) {
  view_->setContentProjection(ZELProjection::equirectangular());
  display();
  clock_->advance(0.25);
  display();
  EXPECT_THAT(controller_->deltas, testing::ElementsAre(0.0F, testing::FloatNear(0.25F, 1e-6F)));

  // A pause out of the window does not count.
  clock_->advance(60);
  const auto window = UIWindow::create(CGRectMake(0, 0, 400, 600));
  window->addSubview(view_);
  display();
  EXPECT_LT(controller_->deltas.back(), 1e-6F);
  view_->removeFromSuperview();
}

TEST_F(RenderView, TellsFlatSourcesOfTheSizeWhenItChanges) {
  view_->setContentProjection(ZELProjection::equirectangular());
  display();
  EXPECT_TRUE(source_->sizes.empty());
  view_->setContentProjection(ZELProjection::flatWithContentGravity(0));
  display();
  display();
  view_->setFrame(CGRectMake(0, 0, 320.9, 568));
  display();
  ASSERT_EQ(source_->sizes.size(), 1U);
  EXPECT_EQ(source_->sizes[0].width, 321);

  const auto other = std::make_shared<RecordingSource>();
  view_->setContentSource(other);
  display();
  EXPECT_TRUE(other->sizes.empty()) << "the size did not change";
  view_->setFrame(CGRectMake(0, 0, 400, 568));
  display();
  EXPECT_EQ(other->sizes.size(), 1U);
}

TEST_F(RenderView, BecomesReadyOnceOnTheMainThreadAfterTheFirstFrameOfASource) {
  std::vector<bool> changes;
  view_->setReadyForDisplayObserver([&](bool ready) { changes.push_back(ready); });
  display();
  display();
  const auto first = backEnd_->states[0]->frameDisplayed;
  const auto second = backEnd_->states[1]->frameDisplayed;
  ASSERT_TRUE(first && second);
  DispatchQueue::globalQueue()->sync(first);
  second();
  EXPECT_FALSE(view_->readyForDisplay());
  NSRunLoop::mainRunLoop().runPending();
  EXPECT_TRUE(view_->readyForDisplay());
  EXPECT_FALSE(display().frameDisplayed);
  view_->setContentSource(source_);
  EXPECT_FALSE(view_->readyForDisplay());
  EXPECT_TRUE(display().frameDisplayed);
  EXPECT_THAT(changes, testing::ElementsAre(true, false));
}

TEST_F(RenderView, AFrameInFlightHoldsTheViewAndARememberedOneDoesNot) {
  display();
  const std::weak_ptr<ZELRenderView> watch = view_;
  view_ = nullptr;
  EXPECT_FALSE(watch.expired());
  backEnd_->states[0] = backEnd_->states[0]->withoutCallback();
  EXPECT_TRUE(watch.expired());
}

TEST_F(RenderView, DrawsOnlyInAWindowWhileTheApplicationIsActive) {
  const auto window = UIWindow::create(CGRectMake(0, 0, 400, 600));
  const auto refresh = [&] { DisplayRefresh::shared().refresh(100.0, 0.25); };
  refresh();
  EXPECT_TRUE(backEnd_->states.empty());
  window->addSubview(view_);
  refresh();
  ASSERT_EQ(backEnd_->states.size(), 1U);
  EXPECT_EQ(backEnd_->states[0]->syncTime, 100.25);
  EXPECT_TRUE(CGRectEqualToRect(backEnd_->frame(), view_->bounds())) << "laid out before the first frame";
  for (const UIApplicationState state : {UIApplicationStateInactive, UIApplicationStateBackground}) {
    UIApplication::sharedApplication().setApplicationState(state);
    refresh();
  }
  UIApplication::sharedApplication().setApplicationState(UIApplicationStateActive);
  EXPECT_EQ(backEnd_->states.size(), 1U);
  view_->removeFromSuperview();
  refresh();
  EXPECT_EQ(backEnd_->states.size(), 1U);
}

TEST_F(RenderView, ALinkWithoutItsDisplayableFiresHarmlessly) {
  class Counter final : public ZELDisplayable {
   public:
    void displayAtSyncTime(double) override { ++count; }
    int count = 0;
  };
  auto counter = std::make_shared<Counter>();
  const auto link = ZELDisplayLink::createWithDisplayable(counter);
  DisplayRefresh::shared().refresh(1, 1);
  EXPECT_EQ(counter->count, 0) << "links start paused";
  link->resume();
  DisplayRefresh::shared().refresh(2, 1);
  EXPECT_EQ(counter->count, 1);
  counter = nullptr;
  DisplayRefresh::shared().refresh(3, 1);
  link->invalidate();
  link->resume();
  EXPECT_EQ(link->displayLink(), nullptr);
}

TEST_F(RenderView, RegistryPrunesTheDeadAndFlushesTheLivingOnce) {
  ZELRenderView::collectWeakRefs();
  const size_t before = ZELRenderView::_trackedViews().size();
  auto a = RecordingView::create();
  auto b = RecordingView::create();
  auto c = RecordingView::create();
  for (const auto& view : {a, b, c}) ZELRenderView::_trackInternalView(view);
  a = nullptr;
  c = nullptr;
  EXPECT_EQ(ZELRenderView::_trackedViews().size(), before + 3);
  ZELRenderView::flushGPU();
  EXPECT_EQ(b->flushes, 1);
  const auto d = RecordingView::create();
  ZELRenderView::_trackInternalView(d);
  EXPECT_EQ(ZELRenderView::_trackedViews().size(), before + 2);
  DispatchQueue::globalQueue()->sync([] { ZELRenderView::flushGPU(); });
  EXPECT_EQ(b->flushes, 2);
  EXPECT_EQ(d->flushes, 1);
}

TEST(RenderState, DiffersByPictureNotByTime) {
  const auto projection = ZELProjection::equirectangular();
  ZELInternalRenderState a;
  a.viewMatrix = GLKMatrix4Identity;
  a.projection = projection;
  a.size = CGSizeMake(3, 4);
  ZELInternalRenderState b = a;
  b.syncTime = 9;
  b.frameDisplayed = [] {};
  EXPECT_FALSE(a.differsFromRenderState(b));

  const auto differs = [&](auto change) {
    ZELInternalRenderState changed = a;
    change(changed);
    return a.differsFromRenderState(changed) && changed.differsFromRenderState(a);
  };
  EXPECT_TRUE(differs([](auto& s) { s.viewMatrix.m[1] = -0.0F; })) << "bytes, not values";
  EXPECT_TRUE(differs([](auto& s) { s.nearPlane = 1e-300; }));
  EXPECT_TRUE(differs([](auto& s) { s.projection = ZELProjection::equirectangular(); })) << "identity";
  EXPECT_TRUE(differs([](auto& s) { s.size.width = 5; }));
  EXPECT_TRUE(differs([](auto& s) { s.size.height = 5; }));
  EXPECT_TRUE(differs([](auto& s) { s.nativeScale = 2; }));
  EXPECT_TRUE(differs([](auto& s) { s.srContentType = 1; }));
  EXPECT_TRUE(differs([](auto& s) { s.srEncoderType = 1; }));
  EXPECT_TRUE(differs([](auto& s) { s.srEnabled = true; }));
}

}  // namespace
