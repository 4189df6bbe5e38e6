#include "apps/zelview/video/VideoOptions.h"

#include <CLI/CLI.hpp>

#include "apps/zelview/CommandLineChecks.h"

namespace zelview {
namespace {

/// A year.
constexpr double kLongest = 31'536'000.0;

}  // namespace

void describeVideo(CLI::App& app, VideoOptions& options) {
  const char* group = "Videos";
  CLI::Option* loop = app.add_flag("--loop", options.loop, "Begin again at the end")->group(group);
  CLI::Option* mute = app.add_flag("--mute", options.muted, "Play without sound")->group(group);
  CLI::Option* start = app.add_option("--start", options.start, "Where the first video starts")
                           ->type_name("SECONDS")
                           ->check(numberBetween(0, kLongest))
                           ->group(group);
  for (CLI::Option* option : {loop, mute, start}) {
    for (const char* other : {"--snapshot", "--contact-sheet", "--save-panorama"}) {
      option->excludes(app.get_option(other));
    }
  }
  app.add_option("--at", options.at, "Which moment a snapshot shows")
      ->type_name("SECONDS")
      ->check(numberBetween(0, kLongest))
      ->needs(app.get_option("--snapshot"))
      ->group(group);
}

}  // namespace zelview
