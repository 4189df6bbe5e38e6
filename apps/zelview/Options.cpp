#include "apps/zelview/Options.h"

#include <ZELKit/ZELVersion.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <iomanip>
#include <sstream>
#include <string_view>

#include "apps/zelview/KeyHelp.h"

namespace zelview {
namespace {

constexpr int kUsageError = 2;
constexpr int kLargestSide = 65536;
constexpr double kLargestAngle = 36000.0;
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
  std::string size;
  double scale = 0.0;
};

std::optional<CGSize> parseSize(std::string_view text) {
  const size_t cross = text.find('x');
  if (cross == std::string_view::npos) return std::nullopt;
  const auto number = [](std::string_view digits) {
    int value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return error == std::errc() && end == digits.data() + digits.size() ? value : 0;
  };
  const int width = number(text.substr(0, cross));
  const int height = number(text.substr(cross + 1));
  if (width < 1 || height < 1 || width > kLargestSide || height > kLargestSide) return std::nullopt;
  return CGSizeMake(width, height);
}

std::string checkSize(const std::string& text) {
  return parseSize(text) ? std::string() : "'" + text + "' is not a size such as 1280x720 (sides of 1 to 65536 points)";
}

/// A finite number within the limits: the parser's own range lets a NaN pass.
CLI::Validator numberBetween(double smallest, double largest) {
  return CLI::Validator(
      [=](const std::string& text) {
        double value = 0.0;
        if (CLI::detail::lexical_cast(text, value) && value >= smallest && value <= largest) return std::string();
        std::ostringstream reason;
        reason << "'" << text << "' is not a number from " << smallest << " to " << largest;
        return reason.str();
      },
      "");
}

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
  text << "In the window:\n";
  for (const KeyHelp& help : kKeyHelp) text << "  " << std::left << std::setw(12) << help.keys << help.what << "\n";
  return text.str();
}

void describe(CLI::App& app, RawOptions& raw) {
  Options& o = raw.options;
  app.add_option("picture", o.picture, "Picture to show; without one, a built-in panorama")->type_name("FILE");
  const char* outputs = "Instead of opening a window";
  CLI::Option* snapshot = app.add_option("--snapshot", raw.snapshot, "Render off screen into this PNG file");
  CLI::Option* sheet =
      app.add_option("--contact-sheet", raw.contactSheet, "Render projections and directions into one PNG file");
  CLI::Option* panorama =
      app.add_option("--save-panorama", raw.savePanorama, "Write the built-in panorama in the projection's layout");
  for (CLI::Option* option : {snapshot, sheet, panorama}) option->type_name("FILE")->group(outputs);
  snapshot->excludes(sheet)->excludes(panorama);
  sheet->excludes(panorama);

  app.add_option("--projection", raw.projection,
                 "How the picture is laid out; auto decides by GPano metadata, then by a 2:1 shape")
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
  app.add_option("--yaw", o.camera.yaw, "Degrees to the right")
      ->check(numberBetween(-kLargestAngle, kLargestAngle))
      ->type_name("A");
  app.add_option("--pitch", o.camera.pitch, "Degrees up, -90 to 90")->check(numberBetween(-90, 90))->type_name("A");
  app.add_option("--roll", o.camera.roll, "Degrees that the camera is turned clockwise")
      ->check(numberBetween(-kLargestAngle, kLargestAngle))
      ->type_name("A");
  app.add_option("--zoom", o.camera.zoom, "Magnification, 0.3 to 10; at 1 the longer side spans about 96 degrees")
      ->check(numberBetween(kSmallestZoom, kLargestZoom))
      ->type_name("Z");
  app.add_flag("--mirror", o.camera.mirror, "Exchange left and right of the sphere");
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
  app.add_flag("--verbose", o.verbose, "Say on standard error what is used and how long it takes");
  app.set_version_flag("--version", versionText(), "Print the versions of the program and of the library");
  app.set_help_flag("--help", "Print this help");
  app.footer(keysText());
}

ZELProjectionType projectionNamed(const std::string& name) {
  ZELProjectionType type = ZELProjectionTypeFlat;
  while (name != ZELProjectionTypeName(type)) ++type;
  return type;
}

Options finish(RawOptions raw) {
  Options options = std::move(raw.options);
  if (!raw.snapshot.empty()) {
    options.mode = Mode::Snapshot;
    options.output = raw.snapshot;
  } else if (!raw.contactSheet.empty()) {
    options.mode = Mode::ContactSheet;
    options.output = raw.contactSheet;
  } else if (!raw.savePanorama.empty()) {
    options.mode = Mode::SavePanorama;
    options.output = raw.savePanorama;
  }
  if (raw.projection != "auto") options.projection = projectionNamed(raw.projection);
  if (raw.backend == "metal") options.backEnd = BackEnd::Metal;
  if (raw.backend == "gl") options.backEnd = BackEnd::OpenGLES;
  options.gravity = raw.gravity == "fill" ? ZELContentGravityFill : ZELContentGravityFit;
  if (!raw.size.empty()) options.size = parseSize(raw.size);
  if (raw.scale > 0.0) options.scale = raw.scale;
  return options;
}

/// One line: some of the parser's messages have more.
std::string oneLine(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  while (!text.empty() && (text.back() == ' ' || text.back() == '.')) text.pop_back();
  return text;
}

}  // namespace

CommandLine parseCommandLine(int argc, const char* const* argv) {
  CLI::App app("Shows 360-degree and flat pictures.", "zelview");
  RawOptions raw;
  describe(app, raw);
  try {
    app.parse(argc, argv);
    for (const char* name : {"--snapshot", "--contact-sheet", "--save-panorama"}) {
      const CLI::Option* option = app.get_option(name);
      if (option->count() > 0 && option->as<std::string>().empty()) {
        throw CLI::ValidationError(name, "needs the name of a file");
      }
    }
    if (!raw.savePanorama.empty() && !raw.options.picture.empty()) {
      throw CLI::ValidationError("--save-panorama", "writes the built-in panorama and takes no picture");
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
