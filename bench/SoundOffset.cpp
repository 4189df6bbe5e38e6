// Plays a film whose sound ticks at every full second, listens to what the system's sound output plays, and says how
// far the ticks are from the pictures of the same seconds. scripts/bench-sound makes the film, and an output to listen
// to.
//
// Usage: zel_bench_sound FILM LISTENER
//
// The LISTENER is a command that writes what is played, as it is played: 16-bit samples of one channel, 48,000 a
// second.

#include "bench/Statistics.h"

#include <ZELKit/ZELAVPlayerPixelBufferSource.h>
#include <ZELKit/ZELProjection.h>
#include <ZELKit/ZELRenderView.h>
#include <ZELPlatform/AVPlayer.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIWindow.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr CGSize kView = {960, 540};
constexpr double kSampleRate = 48000.0;
/// Of a tick's amplitude a third.
constexpr int kLoud = 8000;
/// Ticks are a second apart.
constexpr double kSilence = 0.5;
constexpr double kLongestFilm = 600.0;

/// Hears ticks on a thread of its own.
class Listener {
 public:
  explicit Listener(const std::string& command)
      : stream_(popen(("exec " + command).c_str(), "r")), thread_([this] { listen(); }) {}
  ~Listener() {
    thread_.join();
    if (stream_) pclose(stream_);
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  /// The host times at which ticks began.
  std::vector<double> ticks() const {
    const std::lock_guard lock(mutex_);
    return ticks_;
  }

 private:
  void listen() {
    int16_t samples[256];
    double lastLoud = 0.0;
    while (stream_) {
      const ssize_t bytes = read(fileno(stream_), samples, sizeof samples);
      if (bytes <= 0) return;
      const auto count = static_cast<size_t>(bytes) / sizeof samples[0];
      // The last sample is the newest.
      const double end = CACurrentMediaTime();
      for (size_t i = 0; i < count; ++i) {
        if (std::abs(samples[i]) < kLoud) continue;
        const double time = end - static_cast<double>(count - 1 - i) / kSampleRate;
        if (time - std::exchange(lastLoud, time) < kSilence) continue;
        const std::lock_guard lock(mutex_);
        ticks_.push_back(time);
      }
    }
  }

  std::FILE* stream_;
  mutable std::mutex mutex_;
  std::vector<double> ticks_;
  std::thread thread_;
};

/// The player's source, with a note of when each frame is on the screen.
class NotingSource final : public ZELPixelBufferSource {
 public:
  NotingSource(std::shared_ptr<ZELPixelBufferSource> source, std::shared_ptr<AVPlayerItem> item)
      : source_(std::move(source)), item_(std::move(item)) {}

  bool hasNewPixelBufferForTime(double time) override { return source_->hasNewPixelBufferForTime(time); }

  CVPixelBufferRef copyPixelBufferForTime(double time) override {
    CVPixelBufferRef buffer = source_->copyPixelBufferForTime(time);
    const auto outputs = item_->outputs();
    if (!buffer || outputs.empty()) return buffer;
    CMTime own{};
    outputs.front()->copyPixelBufferForItemTime(outputs.front()->itemTimeForHostTime(time), &own);
    const std::lock_guard lock(mutex_);
    shown_.emplace(CMTimeGetSeconds(own), time);
    return buffer;
  }

  void notifyDisplaySizeChanged(CGSize size) override { source_->notifyDisplaySizeChanged(size); }

  /// When the frame of that second was first on the screen, if it was.
  std::optional<double> shownAt(int second) const {
    constexpr double kRounding = 0.001;
    const std::lock_guard lock(mutex_);
    const auto found = shown_.lower_bound(second - kRounding);
    if (found == shown_.end() || found->first > second + kRounding) return std::nullopt;
    return found->second;
  }

 private:
  const std::shared_ptr<ZELPixelBufferSource> source_;
  const std::shared_ptr<AVPlayerItem> item_;
  mutable std::mutex mutex_;
  std::map<double, double> shown_;
};

/// By how many milliseconds each tick came after its picture. The first second is left out: its tick is the beginning.
std::vector<double> offsetsOf(const std::vector<double>& ticks, const NotingSource& source, int seconds) {
  std::vector<double> offsets;
  for (int second = 1; second < seconds; ++second) {
    const std::optional<double> shown = source.shownAt(second);
    if (!shown) continue;
    const auto nearest = std::min_element(
        ticks.begin(), ticks.end(), [&](double a, double b) { return std::abs(a - *shown) < std::abs(b - *shown); });
    if (nearest != ticks.end() && std::abs(*nearest - *shown) < kSilence) offsets.push_back(1000 * (*nearest - *shown));
  }
  return offsets;
}

int fail(const std::string& reason) {
  std::fprintf(stderr, "%s\n", reason.c_str());
  return 1;
}

/// The output may begin late, so the first seconds are told apart.
int report(const std::vector<double>& offsets) {
  constexpr size_t kFirst = 2;
  if (offsets.size() <= kFirst) return fail("Too few ticks were heard.");
  const std::vector<double> later(offsets.begin() + kFirst, offsets.end());
  const auto [earliest, latest] = std::minmax_element(later.begin(), later.end());
  std::printf("| after 1 s | after 2 s | ticks after that | median | earliest | latest |\n|--:|--:|--:|--:|--:|--:|\n");
  std::printf("| %.1f ms | %.1f ms | %zu | %.1f ms | %.1f ms | %.1f ms (limit 40 ms) |\n", offsets[0], offsets[1],
              later.size(), ZELBench::distributionOf(later).median, *earliest, *latest);
  return 0;
}

int measure(const std::string& film, const std::string& command) {
  const CGRect frame = CGRectMake(0, 0, kView.width, kView.height);
  std::string error;
  const std::shared_ptr<UIWindow> window = UIWindow::create(frame, &error);
  const auto view = window ? ZELRenderView::create(frame) : nullptr;
  if (!view) return fail(error);
  window->addSubview(view);
  window->makeKeyAndVisible();
  const auto item = AVPlayerItem::createWithURL(film);
  const auto player = AVPlayer::createWithPlayerItem(item);
  player->setActionAtItemEnd(AVPlayerActionAtItemEndPause);
  bool ended = false;
  item->setPlayedToEndObserver([&ended] { ended = true; });
  const auto source = std::make_shared<NotingSource>(ZELAVPlayerPixelBufferSource::createWithPlayer(player), item);
  view->setContentProjection(ZELProjection::equirectangular());
  view->setContentSource(source);
  const Listener listener(command);
  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  loop.runUntil([&] { return view->readyForDisplay() || item->status() == AVPlayerItemStatusFailed; }, 30.0);
  if (!view->readyForDisplay()) return fail("The film is not shown. " + item->error());
  const auto seconds = static_cast<int>(CMTimeGetSeconds(item->duration()));
  player->play();
  if (!loop.runUntil([&] { return ended; }, kLongestFilm)) return fail("The film does not end.");
  view->setContentSource(nullptr);

  return report(offsetsOf(listener.ticks(), *source, seconds));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return fail("usage: zel_bench_sound FILM LISTENER"), 2;
  UIApplicationOptions options;
  options.displayDriver = "offscreen";
  options.offscreenSize = kView;
  if (const std::string error = UIApplication::start(options); !error.empty()) return fail(error);
  return measure(argv[1], argv[2]);
}
