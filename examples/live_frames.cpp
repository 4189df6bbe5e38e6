// Live frames: a capture thread pushes what a camera delivers, and the view shows the newest of it.
//
// Usage: example_live_frames [SECONDS]

#include <ZELKit/ZELKit.h>
#include <ZELPlatform/UIKit.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace {

constexpr size_t kWidth = 1280;
constexpr size_t kHeight = 640;
constexpr size_t kBuffers = 4;

/// The memory that a capture device writes into: a few buffers that go round. One is busy from its capture until the
/// view and the GPU have let go of its frame.
class CaptureMemory : public std::enable_shared_from_this<CaptureMemory> {
 public:
  /// A free buffer, if there is one.
  std::optional<size_t> take() {
    const std::lock_guard lock(mutex_);
    for (size_t i = 0; i < kBuffers; ++i) {
      if (!busy_[i]) {
        busy_[i] = true;
        return i;
      }
    }
    return std::nullopt;
  }

  uint8_t* bytes(size_t buffer) { return buffers_[buffer].data(); }

  /// The buffer as a frame, without a copy: luma, then chroma of half the size, video range. It comes back here when
  /// the last reference to the frame goes, on whichever thread that is.
  CVPixelBufferRef frame(size_t buffer) {
    const auto giveBack = [memory = shared_from_this(), buffer] {
      const std::lock_guard lock(memory->mutex_);
      memory->busy_[buffer] = false;
    };
    return CVPixelBuffer::createWithPlanarBytes(kWidth, kHeight, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange,
                                                {{{bytes(buffer), kWidth, kHeight, kWidth},
                                                  {bytes(buffer) + kWidth * kHeight, kWidth / 2, kHeight / 2, kWidth}}},
                                                giveBack);
  }

 private:
  std::mutex mutex_;
  std::array<bool, kBuffers> busy_{};
  std::array<std::vector<uint8_t>, kBuffers> buffers_ = [] {
    std::array<std::vector<uint8_t>, kBuffers> buffers;
    for (auto& buffer : buffers) buffer.resize(kWidth * kHeight * 3 / 2);
    return buffers;
  }();
};

/// What a camera would see: bright and dark columns that wander around the sphere.
void expose(uint8_t* bytes, size_t count) {
  for (size_t x = 0; x < kWidth; ++x) bytes[x] = (x + count * 4) % 160 < 80 ? 60 : 190;
  for (size_t y = 1; y < kHeight; ++y) std::memcpy(bytes + y * kWidth, bytes, kWidth);
  uint8_t* chroma = bytes + kWidth * kHeight;
  for (size_t y = 0; y < kHeight / 2; ++y) {
    std::memset(chroma + y * kWidth, static_cast<int>(96 + y * 64 / (kHeight / 2)), kWidth);
  }
}

/// Thirty frames a second into the source, until it is stopped.
class Capture {
 public:
  explicit Capture(std::shared_ptr<ZELDirectPixelBufferSource> source)
      : source_(std::move(source)), thread_([this] { run(); }) {}
  ~Capture() {
    stops_ = true;
    thread_.join();
    std::printf("%zu frames pushed, %zu dropped because the view still held the memory\n", pushed_, dropped_);
  }

 private:
  void run() {
    auto next = std::chrono::steady_clock::now();
    for (size_t count = 0; !stops_; ++count) {
      next += std::chrono::microseconds(1'000'000 / 30);
      std::this_thread::sleep_until(next);
      const std::optional<size_t> buffer = memory_->take();
      if (!buffer) {
        ++dropped_;
        continue;
      }
      expose(memory_->bytes(*buffer), count);
      // The source keeps this frame only, and lets go of the one before: nothing piles up.
      source_->updateWithPixelBuffer(memory_->frame(*buffer), CMTime{});
      ++pushed_;
    }
  }

  std::shared_ptr<ZELDirectPixelBufferSource> source_;
  std::shared_ptr<CaptureMemory> memory_ = std::make_shared<CaptureMemory>();
  std::atomic<bool> stops_ = false;
  size_t pushed_ = 0;
  size_t dropped_ = 0;
  std::thread thread_;
};

struct Host : UIWindowDelegate {
  void windowDidRequestClose(UIWindow&) override { NSRunLoop::mainRunLoop().stop(); }
};

}  // namespace

int main(int argc, char** argv) {
  const auto window = UIWindow::create(CGRectMake(0, 0, 960, 540));
  const auto view = window ? ZELRenderView::create(window->bounds()) : nullptr;
  if (!view) {
    std::fprintf(stderr, "there is nothing to draw with\n");
    return 1;
  }
  const auto source = ZELDirectPixelBufferSource::create();
  view->setContentSource(source);
  view->setContentProjection(ZELProjection::equirectangular());
  const auto controller = ZEL360RelativeMotionController::create();
  controller->attachToView(view);
  view->setController(controller);
  window->addSubview(view);
  const auto host = std::make_shared<Host>();
  window->setDelegate(host);
  window->makeKeyAndVisible();

  const Capture capture(source);
  if (argc > 1) {
    NSRunLoop::mainRunLoop().runFor(std::atof(argv[1]));
  } else {
    NSRunLoop::mainRunLoop().run();
  }
  return view->readyForDisplay() ? 0 : 1;
}
