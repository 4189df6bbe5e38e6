#include <ZELKit/ZELProjection.h>
#include <ZELPlatform/AVPlayer.h>
#include <ZELPlatform/UIApplication.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <system_error>

#include "apps/zelview/BackEnd.h"
#include "apps/zelview/PictureContent.h"
#include "apps/zelview/QuitSignals.h"
#include "apps/zelview/VideoProjection.h"
#include "apps/zelview/ViewerError.h"
#include "apps/zelview/render/CameraPath.h"
#include "apps/zelview/render/Progress.h"
#include "apps/zelview/render/RenderCommand.h"
#include "apps/zelview/render/Transcoder.h"
#include "apps/zelview/render/VideoRenderer.h"

namespace zelview {
namespace {

constexpr int kInterrupted = 130;

/// A file that stands beside the one that is wanted until it is complete; gone if it never is.
class UnfinishedFile {
 public:
  explicit UnfinishedFile(std::string finalPath)
      : finalPath_(std::move(finalPath)), path_(finalPath_ + "." + std::to_string(getpid()) + ".part") {
    std::FILE* file = std::fopen(path_.c_str(), "wb");
    if (!file) throw ViewerError("The file \"" + finalPath_ + "\" cannot be written.");
    std::fclose(file);
  }
  ~UnfinishedFile() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove(path_, ignored);
  }
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;

  const std::string& path() const { return path_; }

  void complete() {
    std::error_code error;
    std::filesystem::rename(path_, finalPath_, error);
    if (error) throw ViewerError("The file \"" + finalPath_ + "\" cannot be written: " + error.message() + ".");
    path_.clear();
  }

 private:
  std::string finalPath_;
  std::string path_;
};

void startDisplay(CGSize size) {
  UIApplicationOptions display;
  display.applicationName = "zelview";
  display.displayDriver = "offscreen";
  display.offscreenSize = size;
  if (const std::string reason = UIApplication::start(display); !reason.empty()) throw ViewerError(reason);
  chooseBackEnd(BackEnd::Automatic);
}

/// Throws `ViewerError` or `Interruption`.
void renderFrames(const RenderOptions& options, const CameraPath& path, const std::function<bool()>& interrupted,
                  uint64_t* frames) {
  UnfinishedFile file(options.output);
  TranscoderSettings settings;
  settings.input = options.input;
  settings.output = file.path();
  settings.container = std::filesystem::path(options.output).extension();
  settings.width = static_cast<size_t>(options.size.width);
  settings.height = static_cast<size_t>(options.size.height);
  settings.framesPerSecond = options.framesPerSecond;
  settings.quality = options.quality;
  settings.interrupted = interrupted;
  Transcoder transcoder(settings);
  const ZELProjectionType type =
      decideVideoProjection(options.projection, options.input, transcoder.inputWidth(), transcoder.inputHeight());
  const std::unique_ptr<VideoRenderer> renderer =
      VideoRenderer::create(options.size, makeProjection(type, options.gravity, options.padding));
  if (options.verbose) {
    std::fprintf(stderr, "drawn by: %s\nvideo: %zux%zu pixels, sound %s\n", renderer->rendererDescription().c_str(),
                 transcoder.inputWidth(), transcoder.inputHeight(), transcoder.soundDescription().c_str());
  }
  Progress progress(transcoder.duration());
  while (const std::optional<DecodedFrame> frame = transcoder.nextFrame()) {
    Camera camera = path.cameraAt(frame->time);
    camera.mirror = options.camera.mirror;
    renderer->render(frame->pixels, camera, transcoder.takePicture());
    transcoder.pushPicture();
    progress.update(frame->time, ++*frames);
  }
  transcoder.finish();
  file.complete();
  progress.finish(*frames);
}

}  // namespace

int renderVideo(const RenderOptions& options) {
  checkReadable(options.input);
  const CameraPath path =
      options.path.empty() ? CameraPath(options.camera) : readCameraPath(options.path, options.pathIsLinear);
  startDisplay(options.size);
  // Frames are decoded as the player's are, into memory that a GPU can take.
  AVPlayer::prepare();
  bool interrupted = false;
  const QuitSignals signals([&interrupted] { interrupted = true; });
  const auto checkSignals = [&interrupted] {
    NSRunLoop::mainRunLoop().runPending();
    return interrupted;
  };
  uint64_t frames = 0;
  try {
    renderFrames(options, path, checkSignals, &frames);
  } catch (const Interruption&) {
    std::fprintf(stderr, "\nzelview: Interrupted after %llu frames; nothing is kept.\n",
                 static_cast<unsigned long long>(frames));
    return kInterrupted;
  }
  return 0;
}

}  // namespace zelview
