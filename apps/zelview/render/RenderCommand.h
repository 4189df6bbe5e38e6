#pragma once

#include <ZELKit/ZELProjectionType.h>
#include <ZELPlatform/CGGeometry.h>

#include <cstdint>
#include <optional>
#include <string>

#include "apps/zelview/Camera.h"

namespace zelview {

/// What `zelview render` is asked for.
struct RenderOptions {
  std::string input;
  std::string output;
  CGSize size = {1920, 1080};
  std::optional<double> framesPerSecond;
  int quality = 75;
  /// None: by the file's metadata, else by its shape.
  std::optional<ZELProjectionType> projection;
  int64_t gravity = 0;
  int64_t padding = 0;
  Camera camera;
  /// A table of camera keys; empty: the camera stands still.
  std::string path;
  bool pathIsLinear = false;
  bool verbose = false;
};

/// Options, or a text to print and the status to exit with.
struct RenderCommandLine {
  std::optional<RenderOptions> options;
  int status = 0;
  std::string text;
};

/// Reads what comes after `zelview`, the word `render` first.
RenderCommandLine parseRenderCommandLine(int argc, const char* const* argv);

/// Renders the video as the options say, with a line of progress on standard error. Throws `ViewerError`; then, and
/// when it is interrupted, nothing stands under the output's name. Returns the status to exit with: 0, or 130 after an
/// interruption.
int renderVideo(const RenderOptions& options);

}  // namespace zelview
