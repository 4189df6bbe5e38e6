#include "apps/zelview/video/VideoCommands.h"

#include <ZELKit/ZELAVPlayerPixelBufferSource.h>
#include <ZELPlatform/Foundation.h>

#include <cstdio>
#include <optional>

#include "apps/zelview/OffscreenRenderer.h"
#include "apps/zelview/PictureContent.h"
#include "apps/zelview/ViewerError.h"
#include "apps/zelview/video/VideoContent.h"
#include "apps/zelview/video/VideoPlayback.h"

namespace zelview {
namespace {

/// Seconds until a stream must have answered.
constexpr double kPatience = 30.0;
constexpr int32_t kTimescale = 1'000'000;

VideoSettings settingsOf(const Options& options, bool isStepped) {
  VideoSettings settings;
  settings.films = options.video.inputs;
  settings.projection = options.projection;
  settings.start = options.video.start;
  settings.loop = options.video.loop;
  settings.muted = options.video.muted;
  settings.verbose = options.verbose;
  settings.isStepped = isStepped;
  return settings;
}

void waitFor(const std::function<bool()>& condition, const std::string& film) {
  if (NSRunLoop::mainRunLoop().runUntil(condition, kPatience)) return;
  throw ViewerError("The video \"" + film + "\" gives no picture within 30 seconds.");
}

void goTo(VideoPlayback& playback, double time, const std::string& film) {
  const std::optional<double> duration = playback.duration();
  if (duration && time > *duration) {
    std::fprintf(stderr, "zelview: The video ends after %.3f seconds: its last picture is shown.\n", *duration);
  }
  // Shared: the answer may come after the waiting has ended.
  const auto answer = std::make_shared<std::optional<bool>>();
  playback.player()->seekToTime(CMTimeMakeWithSeconds(time, kTimescale),
                                [answer](bool finished) { *answer = finished; });
  waitFor([&] { return answer->has_value(); }, film);
  if (!**answer) throw ViewerError("The video \"" + film + "\" shows only its beginning: nothing can be sought in it.");
}

}  // namespace

std::shared_ptr<ViewerContent> makeVideoContent(const Options& options, bool isStepped) {
  return std::make_shared<VideoContent>(settingsOf(options, isStepped));
}

std::shared_ptr<CGImage> makeVideoSnapshot(const Options& options, CGSize size) {
  OffscreenRenderer renderer(size, options.backEnd);
  const auto playback = std::make_shared<VideoPlayback>(settingsOf(options, true));
  const std::string& film = options.video.inputs.front();
  playback->open({});
  waitFor([&] { return playback->isReady() || !playback->failure().empty(); }, film);
  if (!playback->failure().empty()) throw ViewerError(playback->failure());
  if (options.video.at.value_or(0.0) > 0.0) goTo(*playback, *options.video.at, film);
  renderer.setSuperResolution(options.superResolution, options.contentType);
  std::shared_ptr<CGImage> picture = renderer.render(
      ZELAVPlayerPixelBufferSource::createWithPlayer(playback->player()),
      [&] { return makeProjection(playback->projection(), options.gravity, options.padding); }, options.camera);
  reportSuperResolution(options, renderer);
  return picture;
}

}  // namespace zelview
