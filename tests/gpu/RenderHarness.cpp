#include "gpu/RenderHarness.h"

#include <ZELPlatform/EAGL.h>
#include <ZELPlatform/MTLDevice.h>
#include <ZELPlatform/QuartzCore.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <future>

#include "gl/ZELGLRenderView.h"
#include "gpu/RenderGLCalls.h"
#include "platform/corevideo/Counters.h"
#include "platform/quartzcore/LayerContents.h"

namespace ZELTest {
namespace {

/// The application starts once per process, on the driver that needs no display.
void startApplication() {
  UIApplicationOptions options;
  options.displayDriver = "offscreen";
  const std::string error = UIApplication::start(options);
  const std::string driver = UIApplication::sharedApplication().displayDriverName();
  if (!error.empty() || driver != options.displayDriver) {
    std::fprintf(stderr, "The tests need the offscreen display driver (%s): %s\n", driver.c_str(), error.c_str());
    std::abort();
  }
}

Layout layoutOf(const ZELProjection& projection) {
  switch (projection.type()) {
    case ZELProjectionTypeEquirectangular:
      return Layout::Equirectangular;
    case ZELProjectionTypeCubemap:
      return Layout::Cubemap;
    case ZELProjectionTypeSegmentedSphere:
      return Layout::SegmentedSphere;
    default:
      return projection.contentGravity() == ZELContentGravityFit ? Layout::FlatFit : Layout::FlatFill;
  }
}

}  // namespace

const std::vector<BackEnd>& backEnds() {
  static const std::vector<BackEnd> built = {
      {"GL", false, true, [] { return EAGLContext::unavailableReason(); },
       [](ZELRenderView&) { return ZELGLRenderView::_sharedRenderQueue(); }, [] { return glCalls().draws; },
       [] { return glCalls().all; }},
#ifdef ZEL_WITH_VULKAN
      {"Metal", true, false, [] { return MTLUnavailableReason(); },
       [](ZELRenderView&) { return std::shared_ptr<DispatchQueue>(); },
       [] { return ZELPlatform::pixelCounters().metalDraws.load(); }, [] { return uint64_t{0}; }},
#endif
  };
  return built;
}

std::vector<const BackEnd*> allBackEnds() {
  std::vector<const BackEnd*> all;
  for (const BackEnd& backEnd : backEnds()) {
    all.push_back(&backEnd);
  }
  return all;
}

Picture pictureOf(const CGImage& image) {
  Picture picture{static_cast<int>(image.width()), static_cast<int>(image.height()), {}};
  for (size_t row = 0; row < image.height(); ++row) {
    const uint8_t* bytes = image.bytes() + row * image.bytesPerRow();
    picture.bytes.insert(picture.bytes.end(), bytes, bytes + image.width() * 4);
  }
  return picture;
}

void CameraController::look(const Rotation& rotation) {
  matrix_ = GLKMatrix4Identity;
  for (size_t row = 0; row < 3; ++row) {
    for (size_t column = 0; column < 3; ++column) {
      matrix_.m[column * 4 + row] = static_cast<float>(rotation[row][column]);
    }
  }
}

Rotation CameraController::rotation() const {
  Rotation result{};
  for (size_t row = 0; row < 3; ++row) {
    for (size_t column = 0; column < 3; ++column) {
      result[row][column] = matrix_.m[column * 4 + row];
    }
  }
  return result;
}

const std::shared_ptr<ZELPlatform::LayerContents>& Eye::contents() const {
  return view->renderView()->layer()->contentsStore();
}

Picture Eye::picture() const {
  const auto front = contents()->front();
  const auto image = front ? front->readBack() : nullptr;
  return image ? pictureOf(*image) : Picture{};
}

Shot Eye::shot(const Picture& picture, const CVPixelBuffer& frame) const {
  const CGSize size = view->bounds().size;
  const CGSize windowSize = view->window()->bounds().size;
  Shot shot;
  shot.layout = layoutOf(*view->contentProjection());
  shot.padding = static_cast<double>(view->contentProjection()->padding());
  shot.camera = camera->rotation();
  shot.zoom = view->zoom();
  shot.pointsWide = size.width;
  shot.pointsHigh = size.height;
  shot.landscape = windowSize.width > windowSize.height;
  shot.pixelsWide = picture.width;
  shot.pixelsHigh = picture.height;
  shot.frameWide = static_cast<double>(frame.width());
  shot.frameHigh = static_cast<double>(frame.height());
  shot.borderAlpha = view->usesMetal() ? 255 : 0;
  return shot;
}

Stage::Stage(const BackEnd& backEnd, CGSize points, double nativeScale) : backEnd_(backEnd) {
  startApplication();
  ZELRenderView::setMetalAllowed(backEnd.metal);
  HostClock::setCurrent(clock_);
  UIScreen::mainScreen().setNativeScale(nativeScale);
  DisplayRefresh::shared().setStepped(true);
  window_ = UIWindow::create(CGRectMake(0, 0, points.width, points.height));
  window_->makeKeyAndVisible();
}

Stage::~Stage() {
  while (!window_->subviews().empty()) {
    window_->subviews().back()->removeFromSuperview();
  }
  settle();
  window_->close();
  window_ = nullptr;
  UIApplication::sharedApplication().setApplicationState(UIApplicationStateActive);
  UIScreen::mainScreen().setNativeScale(1.0);
  ZELRenderView::setMetalAllowed(true);
  HostClock::setCurrent(nullptr);
}

Eye Stage::add(CGRect frame) {
  Eye eye{ZELRenderView::create(frame.size.width > 0 ? frame : window_->bounds())};
  eye.view->setContentSource(eye.source);
  eye.view->setController(eye.camera);
  window_->addSubview(eye.view);
  const std::shared_ptr<DispatchQueue> queue = backEnd_.renderQueue(*eye.view);
  if (queue && std::ranges::find(renderQueues_, queue) == renderQueues_.end()) {
    renderQueues_.push_back(queue);
  }
  return eye;
}

void Stage::push(const Eye& eye, const CVPixelBufferRef& frame) {
  clock_->advance(2 * kPeriod);
  eye.source->updateWithPixelBuffer(frame, CMTimeMake(0, 1));
}

void Stage::refresh() {
  clock_->advance(kPeriod);
  DisplayRefresh::shared().refresh(CACurrentMediaTime(), kPeriod);
}

void Stage::settle() {
  const auto drain = [](const std::shared_ptr<DispatchQueue>& queue) { queue->sync([] {}); };
  std::ranges::for_each(renderQueues_, drain);
  if (!backEnd_.queuesFrames) {
    ZELRenderView::flushGPU();
  }
  NSRunLoop::mainRunLoop().runPending();
  // What the main thread destroyed may have left its GL objects to the queues.
  std::ranges::for_each(renderQueues_, drain);
}

void Stage::step() {
  refresh();
  settle();
}

void Stage::show(const Eye& eye, const CVPixelBufferRef& frame) {
  push(eye, frame);
  step();
}

Work Stage::workOf(const Eye& eye, const std::function<void()>& action) {
  const auto total = [&] {
    return Work{backEnd_.calls(), backEnd_.draws(), eye.contents()->presentCount(),
                ZELPlatform::pixelCounters().uploads};
  };
  const Work before = total();
  action();
  settle();
  const Work after = total();
  return {after.calls - before.calls, after.draws - before.draws, after.presents - before.presents,
          after.uploads - before.uploads};
}

std::shared_ptr<void> Stage::holdRenderQueues() {
  auto release = std::make_shared<std::promise<void>>();
  const std::shared_future<void> released = release->get_future().share();
  for (const std::shared_ptr<DispatchQueue>& queue : renderQueues_) {
    std::promise<void> held;
    queue->async([&held, released] {
      held.set_value();
      released.wait();
    });
    held.get_future().wait();
  }
  return {nullptr, [release](void*) { release->set_value(); }};
}

}  // namespace ZELTest
