#pragma once

/// A media driver in the hands of the test: it records what it is told, and reports what the test says.

#include <ZELPlatform/Foundation.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/avfoundation/MediaDriver.h"

namespace ZELTest {

/// One film that was opened; lives on after the player has dropped it.
struct FakeFilm {
  std::string url;
  std::shared_ptr<ZELPlatform::MediaSession> session;
  std::shared_ptr<ZELPlatform::MediaListener> listener;
  std::vector<std::string> orders;
  std::vector<ZELPlatform::MediaSeek> seeks;
  bool closed = false;
  uint64_t sequence = 0;

  /// Ten seconds at ten frames per second.
  static ZELPlatform::MediaDescription description() {
    ZELPlatform::MediaDescription description;
    description.duration = 10.0;
    description.seekable = true;
    description.presentationSize = {4, 2};
    description.tracks = {{AVMediaTypeVideo, "made up", 10.0}};
    return description;
  }

  void push(double time) {
    session->frames.push(sequence,
                         {CVPixelBuffer::create(4, 2, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange), time, 0.1});
  }

  /// Opened: a frame is there, and the main thread has heard of it.
  void becomeReady(const ZELPlatform::MediaDescription& what = description()) {
    sequence = session->frames.begin();
    push(0.0);
    listener->ready(what);
    settle();
  }

  /// The seek under way arrives where it was told to go.
  void arrive() {
    sequence = session->frames.begin();
    push(seeks.back().time);
    session->timeline.hold(seeks.back().time);
    listener->seekFinished(true);
    settle();
  }

  std::vector<std::string> takeOrders() { return std::exchange(orders, {}); }

  /// Runs what was left for the main thread, also by itself.
  static void settle() {
    for (int round = 0; round < 4; ++round) NSRunLoop::mainRunLoop().runPending();
  }
};

class FakeMediaDriver final : public ZELPlatform::MediaDriver {
 public:
  std::unique_ptr<ZELPlatform::MediaPipeline> createPipeline(
      const std::string& url, const std::shared_ptr<ZELPlatform::MediaSession>& session,
      const std::shared_ptr<ZELPlatform::MediaListener>& listener) override {
    auto film = std::make_shared<FakeFilm>();
    film->url = url;
    film->session = session;
    film->listener = listener;
    films.push_back(film);
    return std::make_unique<Pipeline>(film);
  }

  std::vector<std::shared_ptr<FakeFilm>> films;
  const std::shared_ptr<FakeFilm>& film() const { return films.back(); }

 private:
  class Pipeline final : public ZELPlatform::MediaPipeline {
   public:
    explicit Pipeline(std::shared_ptr<FakeFilm> film) : film_(std::move(film)) {}
    ~Pipeline() override { film_->closed = true; }
    void setPlaying(bool playing) override { film_->orders.emplace_back(playing ? "play" : "stand"); }
    void seek(const ZELPlatform::MediaSeek& seek) override {
      film_->orders.emplace_back("seek");
      film_->seeks.push_back(seek);
    }
    void setVolume(double volume) override { film_->orders.push_back("volume " + std::to_string(volume)); }
    void setMuted(bool muted) override { film_->orders.emplace_back(muted ? "mute" : "unmute"); }

   private:
    std::shared_ptr<FakeFilm> film_;
  };
};

}  // namespace ZELTest
