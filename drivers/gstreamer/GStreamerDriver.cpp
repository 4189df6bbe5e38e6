#include "drivers/gstreamer/GStreamerDriver.h"

#include "drivers/gstreamer/Film.h"
#include "drivers/gstreamer/Startup.h"

#include <utility>

namespace ZELPlatform {
namespace {

/// A film as its player holds it: letting go of it closes the film without waiting for that.
class Pipeline final : public MediaPipeline {
 public:
  explicit Pipeline(std::shared_ptr<Film> film) : film_(std::move(film)) { film_->open(); }
  ~Pipeline() override { film_->close(); }

  void setPlaying(bool playing) override { film_->setPlaying(playing); }
  void seek(const MediaSeek& seek) override { film_->seek(seek); }
  void setVolume(double volume) override { film_->setVolume(volume); }
  void setMuted(bool muted) override { film_->setMuted(muted); }

  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

 private:
  const std::shared_ptr<Film> film_;
};

class GStreamerDriver final : public MediaDriver {
 public:
  void prepare() override { startGStreamer(); }

  std::unique_ptr<MediaPipeline> createPipeline(const std::string& url, const std::shared_ptr<MediaSession>& session,
                                                const std::shared_ptr<MediaListener>& listener) override {
    return std::make_unique<Pipeline>(std::make_shared<Film>(url, session, listener));
  }
};

}  // namespace

std::shared_ptr<MediaDriver> createGStreamerDriver(std::string* /*error*/) {
  return std::make_shared<GStreamerDriver>();
}

}  // namespace ZELPlatform
