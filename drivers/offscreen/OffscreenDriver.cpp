#include "drivers/offscreen/OffscreenDriver.h"

#include <cmath>
#include <cstdio>

namespace ZELPlatform {

namespace {

class OffscreenWindow final : public NativeWindow {
 public:
  OffscreenWindow(NativeWindowEvents* events, CGSize points, const ScreenDescription& screen)
      : events_(events), size_(points), screen_(screen) {}

  void show() override {}
  void setTitle(const std::string& /*title*/) override {}

  void setFullScreen(bool fullScreen) override {
    if (fullScreen) {
      sizeBefore_ = size_;
    }
    setSize(fullScreen ? screen_.size : sizeBefore_);
  }

  void setSize(CGSize points) override {
    size_ = points;
    events_->resized(points, pixelWidth(), pixelHeight());
  }

  CGSize size() const override { return size_; }
  int pixelWidth() const override { return static_cast<int>(std::ceil(size_.width * screen_.nativeScale)); }
  int pixelHeight() const override { return static_cast<int>(std::ceil(size_.height * screen_.nativeScale)); }
  double scale() const override { return screen_.nativeScale; }
  NativeSurface surface() const override { return {}; }

 private:
  NativeWindowEvents* events_;
  CGSize size_;
  CGSize sizeBefore_{};
  ScreenDescription screen_;
};

class OffscreenDriver final : public DisplayDriver {
 public:
  explicit OffscreenDriver(const ScreenDescription& screen) : screen_(screen) {}

  ScreenDescription screen() const override { return screen_; }
  NativeDisplay nativeDisplay() const override { return {}; }

  std::unique_ptr<NativeWindow> createWindow(NativeWindowEvents* events, CGSize points,
                                             std::string* /*error*/) override {
    return std::make_unique<OffscreenWindow>(events, points, screen_);
  }

 private:
  ScreenDescription screen_;
};

bool isPositive(double value) { return std::isfinite(value) && value > 0.0; }

}  // namespace

std::unique_ptr<DisplayDriver> createOffscreenDriver(const UIApplicationOptions& options, std::string* error) {
  const CGSize size = options.offscreenSize;
  if (isPositive(size.width) && isPositive(size.height) && isPositive(options.offscreenScale) &&
      isPositive(options.offscreenRefreshRate)) {
    return std::make_unique<OffscreenDriver>(
        ScreenDescription{size, options.offscreenScale, options.offscreenRefreshRate});
  }
  char sentence[160];
  std::snprintf(sentence, sizeof sentence,
                "The off-screen display needs a size, scale and rate above 0 (%g x %g points, scale %g, %g Hz).",
                size.width, size.height, options.offscreenScale, options.offscreenRefreshRate);
  *error = sentence;
  return nullptr;
}

}  // namespace ZELPlatform
