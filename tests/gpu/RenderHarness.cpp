#include "gpu/RenderHarness.h"

#include "gl/ZELGLRenderView.h"
#include "gpu/RenderGLCalls.h"
#include "platform/corevideo/Counters.h"
#include "platform/quartzcore/LayerContents.h"

#include <ZELPlatform/EAGL.h>
#include <ZELPlatform/QuartzCore.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <numbers>

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

/// Wave `index` at a place of a picture. Its steepest slope is three waves across the picture.
double wave(size_t index, double u, double v) {
  constexpr double kTurn = 2 * std::numbers::pi;
  constexpr double kAmplitude = 0.42;
  switch (index) {
    case 0:
      return kAmplitude * std::sin(kTurn * 2 * u);
    case 1:
      return kAmplitude * std::sin(kTurn * 1.5 * v + 0.7);
    default:
      return kAmplitude * std::sin(kTurn * (u + 2 * v) + 2);
  }
}

/// Fills byte `offset` of every texel of a plane with a wave around the middle.
void fillWave(const CVPixelBuffer::Plane& plane, size_t channels, size_t offset, size_t index, double gain = 1.0) {
  for (size_t row = 0; row < plane.height; ++row) {
    auto* bytes = static_cast<uint8_t*>(plane.baseAddress) + row * plane.bytesPerRow;
    for (size_t column = 0; column < plane.width; ++column) {
      const double u = (static_cast<double>(column) + 0.5) / static_cast<double>(plane.width);
      const double v = (static_cast<double>(row) + 0.5) / static_cast<double>(plane.height);
      bytes[column * channels + offset] = static_cast<uint8_t>(std::lround(255 * (0.5 + gain * wave(index, u, v))));
    }
  }
}

/// The largest difference of a pixel from its sample, or of a pixel outside the picture from zero, in 255ths.
double difference(const uint8_t* pixel, const std::optional<Sample>& sample, const CVPixelBuffer& frame) {
  if (!sample) {
    return *std::max_element(pixel, pixel + 4);
  }
  const std::array<double, 3> colour = colourAt(frame, sample->u, sample->v);
  double worst = 255.0 - pixel[3];
  for (size_t channel = 0; channel < 3; ++channel) {
    worst = std::max(worst, std::abs(255 * colour[channel] - pixel[channel]));
  }
  return worst;
}

std::string describe(int column, int row, const uint8_t* pixel, const std::optional<Sample>& sample,
                     const CVPixelBuffer& frame) {
  std::array<double, 3> colour{};
  if (sample) {
    colour = colourAt(frame, sample->u, sample->v);
  }
  char text[160];
  std::snprintf(text, sizeof text, "pixel (%d, %d) is %d %d %d %d, the reference %s %.2f %.2f %.2f", column, row,
                pixel[0], pixel[1], pixel[2], pixel[3], sample ? "inside" : "outside", 255 * colour[0], 255 * colour[1],
                255 * colour[2]);
  return text;
}

}  // namespace

const std::vector<BackEnd>& backEnds() {
  static const std::vector<BackEnd> built = {
      {"GL", [] { return EAGLContext::unavailableReason(); },
       [](ZELRenderView&) { return ZELGLRenderView::_sharedRenderQueue(); }, [] { return glCalls().draws; },
       [] { return glCalls().all; }},
  };
  return built;
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
  return shot;
}

Stage::Stage(const BackEnd& backEnd, CGSize points, double nativeScale) : backEnd_(backEnd) {
  startApplication();
  HostClock::setCurrent(clock_);
  UIScreen::mainScreen().setNativeScale(nativeScale);
  DisplayRefresh::shared().setStepped(true);
  window_ = UIWindow::create(CGRectMake(0, 0, points.width, points.height));
  window_->makeKeyAndVisible();
}

Stage::~Stage() {
  const std::vector<std::shared_ptr<UIView>> views = window_->subviews();
  std::ranges::for_each(views, [](const std::shared_ptr<UIView>& view) { view->removeFromSuperview(); });
  settle();
  window_->close();
  window_ = nullptr;
  UIApplication::sharedApplication().setApplicationState(UIApplicationStateActive);
  UIScreen::mainScreen().setNativeScale(1.0);
  HostClock::setCurrent(nullptr);
}

Eye Stage::add(CGRect frame) {
  Eye eye{ZELRenderView::create(frame.size.width > 0 ? frame : window_->bounds())};
  eye.view->setContentSource(eye.source);
  eye.view->setController(eye.camera);
  window_->addSubview(eye.view);
  const std::shared_ptr<DispatchQueue> queue = backEnd_.renderQueue(*eye.view);
  if (std::ranges::find(renderQueues_, queue) == renderQueues_.end()) {
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

void Comparison::add(const Comparison& other) {
  pixels += other.pixels;
  ambiguous += other.ambiguous;
  ambiguousOff += other.ambiguousOff;
  off += other.off;
  worst = std::max(worst, other.worst);
  if (firstOff.empty()) {
    firstOff = other.firstOff;
  }
}

std::string Comparison::summary() const {
  const double percent = 100.0 / static_cast<double>(std::max<size_t>(pixels, 1));
  char text[200];
  std::snprintf(text, sizeof text,
                "%zu pixels: worst %.2f/255; at discontinuities %zu (%.4f %%), of which off %zu (%.4f %%)", pixels,
                worst, ambiguous, static_cast<double>(ambiguous) * percent, ambiguousOff,
                static_cast<double>(ambiguousOff) * percent);
  return text;
}

Comparison compare(const Picture& picture, const Shot& shot, const CVPixelBuffer& frame, double tolerance) {
  Comparison result;
  for (int row = 0; row < picture.height; ++row) {
    for (int column = 0; column < picture.width; ++column) {
      const std::optional<Sample> sample = sampleAt(shot, column, row);
      const uint8_t* pixel = picture.pixel(column, row);
      const double distance = difference(pixel, sample, frame);
      ++result.pixels;
      if (sample && sample->ambiguous) {
        ++result.ambiguous;
        result.ambiguousOff += distance > tolerance ? 1 : 0;
        continue;
      }
      result.worst = std::max(result.worst, distance);
      if (distance > tolerance && result.off++ == 0) {
        result.firstOff = describe(column, row, pixel, sample, frame);
      }
    }
  }
  return result;
}

CVPixelBufferRef smoothFrame(uint32_t format, size_t width, size_t height) {
  CVPixelBufferRef frame = CVPixelBuffer::create(width, height, format);
  if (frame->planeCount() == 0) {
    for (size_t channel = 0; channel < 3; ++channel) {
      fillWave(frame->plane(0), 4, channel, channel);
    }
  } else {
    // More chroma than luma, and some colours outside what can be shown, so that siting and clamping count.
    fillWave(frame->plane(0), 1, 0, 2, 0.5);
    fillWave(frame->plane(1), 2, 0, 0, 0.8);
    fillWave(frame->plane(1), 2, 1, 1, 0.8);
  }
  return frame;
}

CVPixelBufferRef plainFrame(uint32_t format, size_t width, size_t height, std::array<uint8_t, 3> colour) {
  CVPixelBufferRef frame = CVPixelBuffer::create(width, height, format);
  if (format == kCVPixelFormatType_32BGRA) {
    std::swap(colour[0], colour[2]);
  }
  for (size_t row = 0; row < height; ++row) {
    auto* bytes = static_cast<uint8_t*>(frame->baseAddress()) + row * frame->bytesPerRow();
    for (size_t column = 0; column < width; ++column) {
      std::ranges::copy(colour, bytes + column * 4);
    }
  }
  return frame;
}

}  // namespace ZELTest
