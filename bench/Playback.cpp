// Plays films in a view and compares with bare code that does the same work; scripts/bench-playback makes the films and
// says what is measured.
//
// Usage: zel_bench_playback EASY HARD [ROUNDS] [--metal] [--refresh=RATE]
//
// A film that is called - is left out. With the camera turning every refresh draws, also one without a new frame.

#include "bench/BareFilm.h"
#include "bench/Statistics.h"
#include "platform/corevideo/Counters.h"

#include <ZELKit/ZELAVPlayerPixelBufferSource.h>
#include <ZELKit/ZELProjection.h>
#include <ZELKit/ZELRenderView.h>
#include <ZELPlatform/AVPlayer.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/QuartzCore.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIWindow.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace {

using ZELBench::Distribution;
using ZELBench::FilmTimes;

constexpr CGSize kEasyView = {960, 540};
constexpr CGSize kHardView = {1920, 1080};
constexpr CGSize kHardContent = {3840, 1920};
/// Of the display.
double refreshRate = 60.0;
constexpr double kFrameRate = 30.0;
constexpr double kLongestFilm = 600.0;

/// Turns the camera with every refresh.
class TurningController final : public ZELInteractionController {
 public:
  void attachToView(const std::shared_ptr<UIView>&) override {}
  void detach() override {}
  void beginTransitionFromMatrix(GLKMatrix4) override {}
  void updateWithDeltaTime(float deltaTime) override { seconds_ += deltaTime; }
  GLKMatrix4 viewMatrix() const override { return ZELBench::turningCamera(seconds_); }
  std::shared_ptr<ZELInteractionControllerDelegate> delegate() const override { return nullptr; }
  void setDelegate(const std::shared_ptr<ZELInteractionControllerDelegate>&) override {}
  bool enabled() const override { return enabled_; }
  void setEnabled(bool enabled) override { enabled_ = enabled; }

 private:
  double seconds_ = 0.0;
  bool enabled_ = false;
};

/// The player's source, with a note of every frame that it hands out: how far the item is at the refresh for which it
/// was chosen, less the frame's own time.
class NotingSource final : public ZELPixelBufferSource {
 public:
  NotingSource(std::shared_ptr<ZELPixelBufferSource> source, std::shared_ptr<AVPlayerItem> item)
      : source_(std::move(source)), item_(std::move(item)) {}

  bool hasNewPixelBufferForTime(double time) override { return source_->hasNewPixelBufferForTime(time); }

  CVPixelBufferRef copyPixelBufferForTime(double time) override {
    CVPixelBufferRef buffer = source_->copyPixelBufferForTime(time);
    const auto outputs = item_->outputs();
    if (!buffer || outputs.empty()) return buffer;
    const CMTime itemTime = outputs.front()->itemTimeForHostTime(time);
    CMTime own{};
    outputs.front()->copyPixelBufferForItemTime(itemTime, &own);
    const std::lock_guard lock(mutex_);
    offsets_.push_back(CMTimeGetSeconds(itemTime) - CMTimeGetSeconds(own));
    hostTimes_.push_back(time);
    return buffer;
  }

  void notifyDisplaySizeChanged(CGSize size) override { source_->notifyDisplaySizeChanged(size); }

  std::vector<double> offsets() const {
    const std::lock_guard lock(mutex_);
    return offsets_;
  }
  /// From the first frame's refresh to the last one's.
  double span() const {
    const std::lock_guard lock(mutex_);
    return hostTimes_.empty() ? 0.0 : hostTimes_.back() - hostTimes_.front();
  }

 private:
  const std::shared_ptr<ZELPixelBufferSource> source_;
  const std::shared_ptr<AVPlayerItem> item_;
  mutable std::mutex mutex_;
  std::vector<double> offsets_;
  std::vector<double> hostTimes_;
};

/// What playing a film to its end came to.
struct Playing {
  std::string problem;
  uint64_t shown = 0;
  uint64_t dropped = 0;
  /// Beyond half a refresh.
  uint64_t late = 0;
  double largestOffset = 0.0;
  double seconds = 0.0;
  double processorSeconds = 0.0;
  /// Per shown frame.
  double uploads = 0.0;
  double uploadedBytes = 0.0;
  double rewrittenBytes = 0.0;
  std::string renderer;
};

/// Takes the counts of one playing into its figures.
void judge(const NotingSource& source, Playing* playing) {
  const std::vector<double> offsets = source.offsets();
  // Times are whole nanoseconds; a refresh may come a little early or late by the timer.
  constexpr double kRounding = 1e-4;
  // The first frame is shown as soon as it is there, before the film runs.
  for (size_t i = 1; i < offsets.size(); ++i) {
    playing->largestOffset = std::max(playing->largestOffset, std::abs(offsets[i]));
    if (std::abs(offsets[i]) > 0.5 / refreshRate + kRounding) ++playing->late;
  }
  playing->seconds = source.span();
}

Playing play(const std::string& path, CGSize size, bool turning) {
  Playing playing;
  std::string& problem = playing.problem;
  const CGRect frame = CGRectMake(0, 0, size.width, size.height);
  // Kept until the next one is there: an application without a window does not draw.
  static std::shared_ptr<UIWindow> window;
  const std::shared_ptr<UIWindow> before = std::exchange(window, UIWindow::create(frame, &problem));
  const auto view = window ? ZELRenderView::create(frame) : nullptr;
  if (!view) return playing;
  window->addSubview(view);
  window->makeKeyAndVisible();
  window->layoutIfNeeded();
  const auto item = AVPlayerItem::createWithURL(path);
  const auto player = AVPlayer::createWithPlayerItem(item);
  player->setActionAtItemEnd(AVPlayerActionAtItemEndPause);
  bool ended = false;
  item->setPlayedToEndObserver([&ended] { ended = true; });
  const auto source = std::make_shared<NotingSource>(ZELAVPlayerPixelBufferSource::createWithPlayer(player), item);
  view->setContentProjection(ZELProjection::equirectangular());
  if (turning) view->setController(std::make_shared<TurningController>());
  view->setContentSource(source);
  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  loop.runUntil([&] { return view->readyForDisplay() || item->status() == AVPlayerItemStatusFailed; }, 30.0);
  if (!view->readyForDisplay()) problem = "The film is not shown. " + item->error();

  ZELPlatform::PixelCounters& counters = ZELPlatform::pixelCounters();
  const uint64_t uploads = counters.uploads;
  const uint64_t bytes = counters.uploadedBytes;
  const uint64_t rewritten = counters.rewrittenFrameBytes;
  const uint64_t shownBefore = item->shownFrameCount();
  const double processor = ZELBench::processorSeconds();
  player->play();
  if (problem.empty() && !loop.runUntil([&] { return ended; }, kLongestFilm)) problem = "The film does not end.";
  playing.processorSeconds = ZELBench::processorSeconds() - processor;
  playing.shown = item->shownFrameCount();
  playing.dropped = item->droppedFrameCount();
  const auto since = static_cast<double>(std::max<uint64_t>(playing.shown - shownBefore, 1));
  playing.uploads = static_cast<double>(counters.uploads - uploads) / since;
  playing.uploadedBytes = static_cast<double>(counters.uploadedBytes - bytes) / since;
  playing.rewrittenBytes = static_cast<double>(counters.rewrittenFrameBytes - rewritten) / since;
  playing.renderer = view->rendererDescription();
  judge(*source, &playing);
  view->setContentSource(nullptr);
  view->removeFromSuperview();
  loop.runFor(0.1);
  return playing;
}

std::string cell(const std::vector<double>& samples, const char* unit) {
  const Distribution d = ZELBench::distributionOf(samples);
  char text[64];
  std::snprintf(text, sizeof text, "%.3g%s (%.0f %%)", d.median, unit, 100.0 * d.spread());
  return text;
}

int fail(const std::string& reason) {
  std::fprintf(stderr, "%s\n", reason.c_str());
  return 1;
}

int measureEasy(const std::string& path) {
  const FilmTimes bare = ZELBench::decodeBare(path);
  const Playing kit = play(path, kEasyView, false);
  if (!kit.problem.empty()) return fail(kit.problem);
  const double missing = static_cast<double>(bare.frames) - static_cast<double>(kit.shown);
  const double deliverable = std::min(1.0, 1.0 / (bare.secondsPerFrame() * kFrameRate));
  const double expected = static_cast<double>(bare.frames) * deliverable;
  const double share =
      (std::max(0.0, expected - static_cast<double>(kit.shown)) + static_cast<double>(kit.late)) / expected;
  std::printf(
      "| 1280×640 in 960×540 | frames | shown | dropped | late | not shown or late | farthest from its time |\n");
  std::printf(
      "|---|--:|--:|--:|--:|--:|--:|\n| %.1f s, bare decoder %.0f a second | %llu | %llu | %llu | %llu | %.2f %% "
      "(limit 1 %%) | "
      "%.1f ms (limit %.1f ms) |\n\n",
      kit.seconds, 1.0 / bare.secondsPerFrame(), static_cast<unsigned long long>(bare.frames),
      static_cast<unsigned long long>(kit.shown), static_cast<unsigned long long>(kit.dropped),
      static_cast<unsigned long long>(kit.late), 100.0 * share, 1000.0 * kit.largestOffset, 500.0 / refreshRate);
  std::fprintf(stderr, "not shown at all: %.0f\n", missing);
  return 0;
}

int measureHard(const std::string& path, int rounds) {
  std::vector<double> decode;
  std::vector<double> bare;
  std::vector<double> kit;
  std::vector<double> ratio;
  std::vector<double> processorRatio;
  Playing last;
  for (int round = 0; round < rounds; ++round) {
    decode.push_back(1000.0 * ZELBench::decodeBare(path).secondsPerFrame());
    const FilmTimes floor = ZELBench::playBare(path, kHardContent, kHardView);
    last = play(path, kHardView, true);
    if (!last.problem.empty()) return fail(last.problem);
    if (floor.frames == 0) return fail("The bare side draws nothing.");
    const double perFrame = last.seconds / static_cast<double>(std::max<uint64_t>(last.shown, 2) - 1);
    // A film cannot be shown faster than it runs.
    const double fastest = std::max(floor.secondsPerFrame(), 1.0 / kFrameRate);
    bare.push_back(1000.0 * floor.secondsPerFrame());
    kit.push_back(1000.0 * perFrame);
    ratio.push_back(perFrame / fastest);
    processorRatio.push_back(last.processorSeconds / static_cast<double>(last.shown) /
                             (floor.processorSeconds / static_cast<double>(floor.frames)));
  }
  std::printf("| 3840×1920 in 1920×1080, camera turning, %.0f refreshes a second | per frame |\n|---|--:|\n",
              refreshRate);
  std::printf("| bare decoder | %s |\n| bare decoder, upload and draw, overlapped | %s |\n",
              cell(decode, " ms").c_str(), cell(bare, " ms").c_str());
  std::printf("| played, per shown frame | %s, %.1f a second |\n", cell(kit, " ms").c_str(),
              1000.0 / ZELBench::distributionOf(kit).median);
  std::printf("| played / the slower of bare and the film's pace | %s (limit 1.3) |\n", cell(ratio, "").c_str());
  std::printf("| the same in processor time per frame | %s |\n", cell(processorRatio, "").c_str());
  std::printf("| bytes written by the processor, without the upload | %.0f |\n", last.rewrittenBytes);
  std::printf("| planes uploaded, bytes | %.2f, %.0f |\n\nRenderer: %s\n", last.uploads, last.uploadedBytes,
              last.renderer.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  bool metal = false;
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--metal") == 0) {
      metal = true;
    } else if (std::strncmp(argv[i], "--refresh=", 10) == 0) {
      refreshRate = std::clamp(std::atof(argv[i] + 10), 1.0, 1000.0);
    } else {
      arguments.emplace_back(argv[i]);
    }
  }
  const int rounds = arguments.size() > 2 ? std::atoi(arguments[2].c_str()) : 3;
  if (arguments.size() < 2 || rounds < 1)
    return fail("usage: zel_bench_playback EASY HARD [ROUNDS] [--metal] [--refresh=RATE]"), 2;
  UIApplicationOptions options;
  options.displayDriver = "offscreen";
  options.offscreenSize = kHardView;
  options.offscreenRefreshRate = refreshRate;
  if (const std::string error = UIApplication::start(options); !error.empty()) return fail(error);
  ZELRenderView::setMetalAllowed(metal);
  // Before the bare side starts GStreamer: both decode into the same kind of memory.
  AVPlayer::prepare();
  if (arguments[0] != "-" && measureEasy(arguments[0]) != 0) return 1;
  return arguments[1] == "-" ? 0 : measureHard(arguments[1], rounds);
}
