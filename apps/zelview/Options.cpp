#include "apps/zelview/Options.h"

#include <ZELKit/ZELVersion.h>

#include <CLI/CLI.hpp>

#include <iomanip>
#include <sstream>

#include "apps/zelview/CommandLineChecks.h"
#include "apps/zelview/KeyHelp.h"
#include "apps/zelview/Script.h"

namespace zelview {
namespace {

constexpr int kUsageError = 2;
constexpr int kLargestSide = 65536;
constexpr double kSmallestScale = 0.1;
constexpr double kLargestScale = 16.0;

/// What CLI11 fills in, before it becomes `Options`.
struct RawOptions {
  Options options;
  std::string snapshot;
  std::string contactSheet;
  std::string savePanorama;
  std::string projection = "auto";
  std::string gravity = "fit";
  std::string backend = "auto";
  std::string controller = "relative";
  std::string size;
  double scale = 0.0;
  bool superResolution = false;
  bool superResolutionSplit = false;
  std::string content = "general";
};

std::string checkSize(const std::string& text) { return parseSize(text) ? std::string() : sizeComplaint(text); }

std::string versionText() {
  // The library's line is "@(#)PROGRAM:ZELKit  PROJECT:ZELKit-1" and a newline: what follows the marker is for people.
  std::string library(reinterpret_cast<const char*>(ZELKitVersionString));
  while (!library.empty() && library.back() == '\n') library.pop_back();
  if (library.starts_with("@(#)")) library.erase(0, 4);
  std::ostringstream text;
  text << "zelview " << ZELVIEW_VERSION << "\nZELKit " << std::fixed << std::setprecision(1) << ZELKitVersionNumber
       << " (" << library << ")";
  return text.str();
}

std::string keysText() {
  std::ostringstream text;
  text << "Mouse and keys in the window:\n";
  for (const KeyHelp& help : kKeyHelp) text << "  " << std::left << std::setw(26) << help.keys << help.what << "\n";
  return text.str();
}

/// What goes with the window alone; after the other outputs have been described.
void describeInteraction(CLI::App& app, RawOptions& raw) {
  const char* window = "In the window";
  app.add_option("--controller", raw.controller,
                 "What turns the camera: relative keeps the horizon level and adds the device's turns to yours, free "
                 "follows the device whole, fixed only looks along --yaw")
      ->type_name("NAME")
      ->check(CLI::IsMember({"relative", "free", "fixed"}))
      ->capture_default_str()
      ->group(window);
  CLI::Option* motion = app.add_option("--motion", raw.options.motion, "Play device motion from this recorded file");
  CLI::Option* record =
      app.add_option("--record-motion", raw.options.recordMotion, "Record device motion into this file");
  for (CLI::Option* option : {motion, record}) {
    option->type_name("FILE")->group(window);
    for (const char* other : {"--snapshot", "--contact-sheet", "--save-panorama"}) option->excludes(other);
  }
}

void describe(CLI::App& app, RawOptions& raw) {
  Options& o = raw.options;
  app.add_option("file", o.video.inputs,
                 "Picture to show, or videos one after the other: files, or URLs such as http://, rtsp:// and v4l2://; "
                 "without one, a built-in panorama")
      ->type_name("FILE");
  const char* outputs = "Instead of opening a window";
  CLI::Option* snapshot = app.add_option("--snapshot", raw.snapshot, "Render off screen into this PNG file");
  CLI::Option* sheet =
      app.add_option("--contact-sheet", raw.contactSheet, "Render projections and directions into one PNG file");
  CLI::Option* panorama =
      app.add_option("--save-panorama", raw.savePanorama, "Write the built-in panorama in the projection's layout");
  for (CLI::Option* option : {snapshot, sheet, panorama}) option->type_name("FILE")->group(outputs);
  snapshot->excludes(sheet)->excludes(panorama);
  sheet->excludes(panorama);
  describeScript(app, o.script);

  app.add_option("--projection", raw.projection,
                 "How it is laid out; auto decides by GPano or spherical metadata, then by a 2:1 shape")
      ->type_name("NAME")
      ->check(CLI::IsMember({"auto", "flat", "equirectangular", "cubemap", "segmentedsphere"}))
      ->capture_default_str();
  app.add_option("--gravity", raw.gravity, "How a flat picture meets the view")
      ->type_name("NAME")
      ->check(CLI::IsMember({"fit", "fill"}))
      ->capture_default_str();
  app.add_option("--padding", o.padding, "Pixels at each border of each cube face that are not shown")
      ->check(numberBetween(0, kLargestSide))
      ->type_name("N");
  addCameraOptions(app, o.camera);
  app.add_option("--size", raw.size, "Size of the view in points (default 1280x720)")
      ->check(CLI::Validator(checkSize, ""))
      ->type_name("WxH");
  app.add_option("--scale", raw.scale, "Pixels per point (default 1 off screen, the display's own in a window)")
      ->check(numberBetween(kSmallestScale, kLargestScale))
      ->type_name("S");
  app.add_option("--backend", raw.backend, "What draws; auto is Metal where there is a GPU for it, else OpenGL ES")
      ->type_name("NAME")
      ->check(CLI::IsMember({"auto", "metal", "gl"}))
      ->capture_default_str();
  CLI::Option* enlarge =
      app.add_flag("--super-resolution", raw.superResolution,
                   "Enlarge flat pictures and videos by a network where the view has the pixels for it (Metal only)");
  CLI::Option* split = app.add_flag("--super-resolution-split", raw.superResolutionSplit,
                                    "The same for the right half, beside the left half as it came");
  app.add_option("--super-resolution-content", raw.content,
                 "What the network is for: general, or screen for text, drawings and programs' windows")
      ->type_name("NAME")
      ->check(CLI::IsMember({"general", "screen"}))
      ->capture_default_str();
  for (CLI::Option* option : {enlarge, split}) option->excludes(sheet)->excludes(panorama);
  app.add_flag("--verbose", o.verbose, "Say on standard error what is used and how long it takes");
  describeInteraction(app, raw);
  describeVideo(app, o.video);
  app.set_version_flag("--version", versionText(), "Print the versions of the program and of the library");
  app.set_help_flag("--help", "Print this help");
  app.footer(keysText() + "\n" + std::string(scriptHelp()));
}

ControllerChoice controllerNamed(const std::string& name) {
  if (name == "free") return ControllerChoice::Free;
  return name == "fixed" ? ControllerChoice::Fixed : ControllerChoice::Relative;
}

Options finish(RawOptions raw) {
  Options options = std::move(raw.options);
  if (!options.video.inputs.empty()) options.picture = options.video.inputs.front();
  if (!raw.snapshot.empty()) {
    options.mode = Mode::Snapshot;
    options.output = raw.snapshot;
  } else if (!raw.contactSheet.empty()) {
    options.mode = Mode::ContactSheet;
    options.output = raw.contactSheet;
  } else if (!raw.savePanorama.empty()) {
    options.mode = Mode::SavePanorama;
    options.output = raw.savePanorama;
  } else if (!options.script.file.empty()) {
    options.mode = Mode::Script;
  }
  if (raw.projection != "auto") options.projection = projectionNamed(raw.projection);
  if (raw.superResolution) options.superResolution = SuperResolution::On;
  options.contentType = raw.content == "screen" ? 1 : 0;
  if (raw.superResolutionSplit) options.superResolution = SuperResolution::Split;
  if (raw.backend == "metal") options.backEnd = BackEnd::Metal;
  if (raw.backend == "gl") options.backEnd = BackEnd::OpenGLES;
  options.gravity = raw.gravity == "fill" ? ZELContentGravityFill : ZELContentGravityFit;
  options.controller = controllerNamed(raw.controller);
  if (!raw.size.empty()) options.size = parseSize(raw.size);
  if (raw.scale > 0.0) options.scale = raw.scale;
  return options;
}

}  // namespace

CommandLine parseCommandLine(int argc, const char* const* argv) {
  CLI::App app(
      "Shows 360-degree and flat pictures and videos. (\"zelview render\" writes videos: see zelview render --help.)",
      "zelview");
  RawOptions raw;
  describe(app, raw);
  try {
    app.parse(argc, argv);
    for (const char* name : {"--snapshot", "--contact-sheet", "--save-panorama", "--motion", "--record-motion"}) {
      const CLI::Option* option = app.get_option(name);
      if (option->count() > 0 && option->as<std::string>().empty()) {
        throw CLI::ValidationError(name, "needs the name of a file");
      }
    }
    checkScript(app);
    if (!raw.savePanorama.empty() && !raw.options.video.inputs.empty()) {
      throw CLI::ValidationError("--save-panorama", "writes the built-in panorama and takes no file");
    }
  } catch (const CLI::CallForHelp&) {
    return {std::nullopt, 0, app.help()};
  } catch (const CLI::CallForVersion& version) {
    return {std::nullopt, 0, std::string(version.what()) + "\n"};
  } catch (const CLI::ParseError& error) {
    return {std::nullopt, kUsageError, "zelview: " + oneLine(error.what()) + " (see zelview --help)\n"};
  }
  return {finish(std::move(raw)), 0, {}};
}

}  // namespace zelview
