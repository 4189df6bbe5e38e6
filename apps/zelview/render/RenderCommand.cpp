#include "apps/zelview/render/RenderCommand.h"

#include <ZELKit/ZELProjection.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>
#include <string>

#include "apps/zelview/CommandLineChecks.h"

namespace zelview {
namespace {

constexpr int kUsageError = 2;

struct RawOptions {
  RenderOptions options;
  std::string projection = "auto";
  std::string gravity = "fit";
  std::string size = "1920x1080";
  double framesPerSecond = 0.0;
};

std::string checkOutput(const std::string& path) {
  const std::string ending = std::filesystem::path(path).extension();
  const bool known = ending == ".mp4" || ending == ".mkv" || ending == ".webm" || ending == ".y4m";
  return known ? "" : "'" + path + "' does not end in .mp4, .mkv, .webm or .y4m";
}

std::string checkEvenSize(const std::string& text) {
  const std::optional<CGSize> size = parseSize(text);
  if (!size) return sizeComplaint(text);
  const bool even = static_cast<long>(size->width) % 2 == 0 && static_cast<long>(size->height) % 2 == 0;
  return even ? "" : "'" + text + "' has an odd side, which videos cannot have";
}

void describe(CLI::App& app, RawOptions& raw) {
  RenderOptions& o = raw.options;
  app.add_option("input", o.input, "Video to look into")->required()->type_name("FILE");
  app.add_option("output", o.output, "Video to write: .mp4, .mkv, .webm, or .y4m (not compressed, no sound)")
      ->required()
      ->check(CLI::Validator(checkOutput, ""))
      ->type_name("FILE");
  app.add_option("--size", raw.size, "Size of the pictures in pixels")
      ->check(CLI::Validator(checkEvenSize, ""))
      ->type_name("WxH")
      ->capture_default_str();
  app.add_option("--fps", raw.framesPerSecond, "Frames per second (default: as the input)")
      ->check(numberBetween(1, 240))
      ->type_name("N");
  app.add_option("--quality", o.quality, "1 (smallest) to 100 (best)")
      ->check(numberBetween(1, 100))
      ->type_name("N")
      ->capture_default_str();
  app.add_option("--projection", raw.projection,
                 "How the video is laid out; auto decides by its metadata, then by a 2:1 shape")
      ->type_name("NAME")
      ->check(CLI::IsMember({"auto", "flat", "equirectangular", "cubemap", "segmentedsphere"}))
      ->capture_default_str();
  app.add_option("--gravity", raw.gravity, "How flat video meets the picture")
      ->type_name("NAME")
      ->check(CLI::IsMember({"fit", "fill"}))
      ->capture_default_str();
  app.add_option("--padding", o.padding, "Pixels at each border of each cube face that are not shown")
      ->check(numberBetween(0, 65536))
      ->type_name("N");
  addCameraOptions(app, o.camera);
  CLI::Option* path =
      app.add_option("--path", o.path, "Camera keys: a table with the header seconds,yaw,pitch,roll,zoom")
          ->type_name("FILE");
  for (const char* name : {"--yaw", "--pitch", "--roll", "--zoom"}) path->excludes(app.get_option(name));
  app.add_flag("--path-linear", o.pathIsLinear, "Go straight from key to key instead of smoothly")->needs(path);
  app.add_flag("--verbose", o.verbose, "Say on standard error what is used");
  app.set_help_flag("--help", "Print this help");
}

}  // namespace

RenderCommandLine parseRenderCommandLine(int argc, const char* const* argv) {
  CLI::App app("Looks into a 360-degree video with a camera and writes what it sees as a flat video.",
               "zelview render");
  RawOptions raw;
  describe(app, raw);
  try {
    app.parse(argc, argv);
    std::error_code ignored;
    if (std::filesystem::equivalent(raw.options.input, raw.options.output, ignored)) {
      throw CLI::ValidationError("output", "is the input");
    }
  } catch (const CLI::CallForHelp&) {
    return {std::nullopt, 0, app.help()};
  } catch (const CLI::ParseError& error) {
    return {std::nullopt, kUsageError, "zelview: " + oneLine(error.what()) + " (see zelview render --help)\n"};
  }
  RenderOptions options = std::move(raw.options);
  options.size = *parseSize(raw.size);
  if (raw.framesPerSecond > 0.0) options.framesPerSecond = raw.framesPerSecond;
  if (raw.projection != "auto") options.projection = projectionNamed(raw.projection);
  options.gravity = raw.gravity == "fill" ? ZELContentGravityFill : ZELContentGravityFit;
  return {std::move(options), 0, {}};
}

}  // namespace zelview
