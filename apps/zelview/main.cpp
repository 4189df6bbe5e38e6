#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>

#include <clocale>
#include <cstdio>
#include <exception>
#include <new>
#include <optional>
#include <string_view>

#include "apps/zelview/BackEnd.h"
#include "apps/zelview/ContactSheet.h"
#include "apps/zelview/MotionInput.h"
#include "apps/zelview/OffscreenRenderer.h"
#include "apps/zelview/Options.h"
#include "apps/zelview/Panorama.h"
#include "apps/zelview/PictureContent.h"
#include "apps/zelview/Script.h"
#include "apps/zelview/ScriptedRun.h"
#include "apps/zelview/ViewerError.h"
#include "apps/zelview/ViewerWindow.h"

#ifdef ZELVIEW_WITH_VIDEO
#include "apps/zelview/render/RenderCommand.h"
#include "apps/zelview/video/VideoCommands.h"
#endif

namespace zelview {
namespace {

constexpr CGSize kDefaultSize = {1280, 720};

void startDisplay(const Options& options) {
  UIApplicationOptions display;
  display.applicationName = "zelview";
  display.displayDriver = options.mode == Mode::Window ? "sdl" : "offscreen";
  display.offscreenSize = options.size.value_or(kDefaultSize);
  display.offscreenScale = options.scale.value_or(1.0);
  display.offscreenRefreshRate = options.script.rate;
  if (const std::string reason = UIApplication::start(display); !reason.empty()) throw ViewerError(reason);
  chooseBackEnd(options.backEnd);
}

void write(const CGImage& image, const Options& options) {
  if (const std::string error = CGImageWritePNG(image, options.output); !error.empty()) throw ViewerError(error);
  if (options.verbose) {
    std::fprintf(stderr, "written: %s (%zux%zu pixels)\n", options.output.c_str(), image.width(), image.height());
  }
}

void describe(const Options& options, PictureContent& content) {
  const CGImage& image = *content.imageFor(content.projection());
  std::fprintf(stderr, "picture: %s, %zux%zu pixels\n",
               content.isBuiltIn() ? "built-in panorama" : options.picture.c_str(), image.width(), image.height());
  std::fprintf(stderr, "projection: %s\n", ZELProjectionTypeName(content.projection()));
  if (content.projection() == ZELProjectionTypeSegmentedSphere) {
    std::fprintf(stderr, "projection: segmented spheres are drawn flat, stretched over the view\n");
  }
}

void saveSnapshot(const Options& options, PictureContent& content) {
  const ZELProjectionType type = content.projection();
  OffscreenRenderer renderer(options.size.value_or(kDefaultSize), options.backEnd);
  renderer.setSuperResolution(options.superResolution, options.contentType);
  write(*renderer.render(
            content.sourceFor(type), [&] { return makeProjection(type, options.gravity, options.padding); },
            options.camera),
        options);
  if (options.verbose) std::fprintf(stderr, "drawn by: %s\n", renderer.rendererDescription().c_str());
  reportSuperResolution(options, renderer);
}

void showWindow(const Options& options, const std::shared_ptr<ViewerContent>& content, double startTime) {
  ViewerWindow::create(options, content, startTime)->run();
}

bool isURL(const std::string& input) { return input.find("://") != std::string::npos; }

void runPicture(const Options& options, const Script& script, double startTime) {
  const size_t limit = maximumTextureSize();
  const std::shared_ptr<PictureContent> content = PictureContent::load(options, limit);
  if (options.video.inputs.size() > 1) {
    throw ViewerError("Several files are videos to be shown one after the other, and \"" + options.picture +
                      "\" is a picture.");
  }
  if (options.video.at) throw ViewerError("The file \"" + options.picture + "\" is a picture: it has no moments.");
  if (options.verbose) describe(options, *content);
  switch (options.mode) {
    case Mode::Snapshot:
      return saveSnapshot(options, *content);
    case Mode::ContactSheet:
      return write(*makeContactSheet(options, *content), options);
    case Mode::Script:
      return runScript(options, script, content);
    default:
      showWindow(options, content, startTime);
  }
}

#ifdef ZELVIEW_WITH_VIDEO
void runVideo(const Options& options, const Script& script, double startTime) {
  switch (options.mode) {
    case Mode::Snapshot:
      return write(*makeVideoSnapshot(options, options.size.value_or(kDefaultSize)), options);
    case Mode::ContactSheet:
      throw ViewerError("A contact sheet is made of a picture, and \"" + options.picture + "\" is none.");
    case Mode::Script:
      return runScript(options, script, makeVideoContent(options, true));
    default:
      showWindow(options, makeVideoContent(options, false), startTime);
  }
}
#else
void runVideo(const Options& options, const Script&, double) {
  throw ViewerError("The file \"" + options.picture + "\" is no picture, and this zelview was built without videos.");
}
#endif

void run(const Options& options, double startTime) {
  if (options.mode == Mode::SavePanorama) {
    const ZELProjectionType type = options.projection.value_or(ZELProjectionTypeEquirectangular);
    const std::shared_ptr<CGImage> image = makePanorama(type, options.padding);
    checkPadding(type, options.padding, *image);
    return write(*image, options);
  }
  Script script;
  if (options.mode == Mode::Script) script = readScript(options.script.file);
  if (!options.picture.empty() && !isURL(options.picture)) checkReadable(options.picture);
  startDisplay(options);
  std::optional<MotionInput> motion;
  if (options.mode == Mode::Window) motion.emplace(options);
  if (options.mode == Mode::Script) checkPictureSize(options.size.value_or(kDefaultSize));
  bool isPicture = !isURL(options.picture);
  try {
    if (isPicture) runPicture(options, script, startTime);
  } catch (const NotAPicture&) {
    isPicture = false;
  }
  if (!isPicture) runVideo(options, script, startTime);
  if (options.verbose) std::fprintf(stderr, "total: %.0f ms\n", (CACurrentMediaTime() - startTime) * 1000.0);
}

int answer(const std::string& text, int status) {
  std::fputs(text.c_str(), status == 0 ? stdout : stderr);
  return status;
}

int showCommand(int argc, const char* const* argv, double startTime) {
  const CommandLine line = parseCommandLine(argc, argv);
  if (!line.options) return answer(line.text, line.status);
  run(*line.options, startTime);
  return 0;
}

#ifdef ZELVIEW_WITH_VIDEO
int renderCommand(int argc, const char* const* argv) {
  const RenderCommandLine line = parseRenderCommandLine(argc, argv);
  return line.options ? renderVideo(*line.options) : answer(line.text, line.status);
}
#else
int renderCommand(int, const char* const*) { throw ViewerError("This zelview was built without videos."); }
#endif

}  // namespace
}  // namespace zelview

int main(int argc, char** argv) {
  const double startTime = CACurrentMediaTime();
  // For window titles with a file name in it.
  std::setlocale(LC_CTYPE, "");
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  try {
    return argc > 1 && std::string_view(argv[1]) == "render" ? zelview::renderCommand(argc - 1, argv + 1)
                                                             : zelview::showCommand(argc, argv, startTime);
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "zelview: Memory is short.\n");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zelview: %s\n", error.what());
  }
  return 1;
}
