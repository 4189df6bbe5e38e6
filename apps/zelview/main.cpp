#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>

#include <clocale>
#include <cstdio>
#include <exception>
#include <new>

#include "apps/zelview/BackEnd.h"
#include "apps/zelview/ContactSheet.h"
#include "apps/zelview/OffscreenRenderer.h"
#include "apps/zelview/Options.h"
#include "apps/zelview/Panorama.h"
#include "apps/zelview/PictureContent.h"
#include "apps/zelview/ViewerError.h"
#include "apps/zelview/ViewerWindow.h"

namespace zelview {
namespace {

constexpr CGSize kDefaultSize = {1280, 720};

void startDisplay(const Options& options) {
  UIApplicationOptions display;
  display.applicationName = "zelview";
  display.displayDriver = options.mode == Mode::Window ? "sdl" : "offscreen";
  display.offscreenSize = options.size.value_or(kDefaultSize);
  display.offscreenScale = options.scale.value_or(1.0);
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
  write(*renderer.render(
            content.imageFor(type), [&] { return makeProjection(type, options.gravity, options.padding); },
            options.camera),
        options);
  if (options.verbose) std::fprintf(stderr, "drawn by: %s\n", renderer.rendererDescription().c_str());
}

void run(const Options& options, double startTime) {
  if (options.mode == Mode::SavePanorama) {
    const ZELProjectionType type = options.projection.value_or(ZELProjectionTypeEquirectangular);
    const std::shared_ptr<CGImage> image = makePanorama(type, options.padding);
    checkPadding(type, options.padding, *image);
    return write(*image, options);
  }
  if (!options.picture.empty()) checkReadable(options.picture);
  startDisplay(options);
  const auto limit = maximumTextureSize();
  const std::shared_ptr<PictureContent> content = PictureContent::load(options, limit);
  if (options.verbose) describe(options, *content);
  switch (options.mode) {
    case Mode::Snapshot:
      saveSnapshot(options, *content);
      break;
    case Mode::ContactSheet:
      write(*makeContactSheet(options, *content), options);
      break;
    default:
      ViewerWindow::create(options, content, startTime)->run();
  }
  if (options.verbose) std::fprintf(stderr, "total: %.0f ms\n", (CACurrentMediaTime() - startTime) * 1000.0);
}

}  // namespace
}  // namespace zelview

int main(int argc, char** argv) {
  const double startTime = CACurrentMediaTime();
  // For window titles with a file name in it.
  std::setlocale(LC_CTYPE, "");
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  const zelview::CommandLine line = zelview::parseCommandLine(argc, argv);
  if (!line.options) {
    std::fputs(line.text.c_str(), line.status == 0 ? stdout : stderr);
    return line.status;
  }
  try {
    zelview::run(*line.options, startTime);
    return 0;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "zelview: Memory is short.\n");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zelview: %s\n", error.what());
  }
  return 1;
}
