// Measures flat video of 960 x 540 in a view of 1920 x 1080, plain and enlarged by the network, and prints one table.
//
// Usage: zel_bench_super_resolution [SAMPLES]
//
// It stands on the shared libraries, as the network is looked for beside them. A sample pushes a new frame, refreshes
// the view, and ends when the GPU has finished.

#include <ZELKit/ZELKit.h>
#include <ZELPlatform/MTLDevice.h>
#include <ZELPlatform/UIKit.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr CGSize kView = {1920, 1080};
constexpr size_t kWidth = 960;
constexpr size_t kHeight = 540;

int fail(const std::string& reason) {
  std::fprintf(stderr, "%s\n", reason.c_str());
  return 1;
}

/// A frame of ripples, another one for each number.
CVPixelBufferRef makeFrame(unsigned number) {
  CVPixelBufferRef frame = CVPixelBuffer::create(kWidth, kHeight, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
  for (size_t index = 0; index < 2; ++index) {
    const CVPixelBuffer::Plane plane = frame->plane(index);
    for (size_t y = 0; y < plane.height; ++y) {
      auto* row = static_cast<uint8_t*>(plane.baseAddress) + y * plane.bytesPerRow;
      for (size_t x = 0; x < kWidth; ++x)
        row[x] = static_cast<uint8_t>(index == 1 ? 128 : (x * x + y * y) / 64 + number);
    }
  }
  return frame;
}

class Stage {
 public:
  /// Empty, or why there is nothing to measure.
  std::string open() {
    UIApplicationOptions options;
    options.displayDriver = "offscreen";
    options.offscreenSize = kView;
    if (std::string error = UIApplication::start(options); !error.empty()) return error;
    DisplayRefresh::shared().setStepped(true);
    std::string error;
    window_ = UIWindow::create(UIScreen::mainScreen().bounds(), &error);
    view_ = window_ ? ZELRenderView::create(window_->bounds()) : nullptr;
    if (!view_) return "The view cannot be made. " + error;
    if (!view_->usesMetal()) return "Views are not drawn by Metal here. " + MTLUnavailableReason();
    view_->setContentProjection(ZELProjection::flatWithContentGravity(ZELContentGravityFit));
    view_->setContentSource(source_);
    window_->addSubview(view_);
    window_->makeKeyAndVisible();
    for (unsigned number = 0; number < 4; ++number) frames_.push_back(makeFrame(number));
    return {};
  }

  /// Milliseconds until a new frame has been drawn.
  double showFrame() {
    const auto before = std::chrono::steady_clock::now();
    source_->updateWithPixelBuffer(frames_[next_++ % frames_.size()], CMTime{});
    DisplayRefresh::shared().refresh(CACurrentMediaTime(), 1.0 / 60.0);
    ZELRenderView::flushGPU();
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - before;
    NSRunLoop::mainRunLoop().runPending();
    return taken.count();
  }

  /// Switches, and returns whether the same frame looks as it is to look.
  bool setEnlarged(bool enlarged) {
    view_->setSuperResolutionEnabled(enlarged);
    for (int round = 0; round < 3000; ++round) {
      NSRunLoop::mainRunLoop().runFor(0.01);
      next_ = 0;
      showFrame();
      const bool isPlain = matchesPlainPicture();
      if (isPlain != enlarged) return true;
    }
    return false;
  }

 private:
  /// Compares with the first picture that was ever shown.
  bool matchesPlainPicture() {
    const auto image = view_->takeSnapshot();
    const auto picture = image ? image->cgImage() : nullptr;
    if (!picture) return false;
    std::vector<uint8_t> bytes(picture->bytes(), picture->bytes() + picture->bytesPerRow() * picture->height());
    if (plain_.empty()) plain_ = bytes;
    return bytes == plain_;
  }

  const std::shared_ptr<ZELDirectPixelBufferSource> source_ = ZELDirectPixelBufferSource::create();
  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<ZELRenderView> view_;
  std::vector<CVPixelBufferRef> frames_;
  size_t next_ = 0;
  std::vector<uint8_t> plain_;
};

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  const int samples = argc > 1 ? std::atoi(argv[1]) : 15;
  if (samples < 1) return fail("usage: zel_bench_super_resolution [SAMPLES]"), 2;
  Stage stage;
  if (const std::string error = stage.open(); !error.empty()) return fail(error);
  std::printf("| 960 x 540 in 1920 x 1080 on %s | median ms | fastest ms |\n|---|---|---|\n",
              MTLCreateSystemDefaultDevice()->name().c_str());
  double medians[2] = {};
  for (const bool enlarged : {false, true}) {
    if (!stage.setEnlarged(enlarged)) return fail("The frame is not enlarged: is the network installed?");
    std::vector<double> taken;
    taken.reserve(static_cast<size_t>(samples));
    for (int i = 0; i < samples; ++i) taken.push_back(stage.showFrame());
    medians[enlarged ? 1 : 0] = median(taken);
    std::printf("| %s | %.1f | %.1f |\n", enlarged ? "enlarged" : "plain", median(taken),
                *std::min_element(taken.begin(), taken.end()));
  }
  std::printf("\nAn enlarged frame takes %.1f times as long as a plain one.\n", medians[1] / medians[0]);
  return 0;
}
