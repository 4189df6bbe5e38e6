#include "apps/zelview/ScriptOptions.h"

#include <CLI/CLI.hpp>

#include "apps/zelview/CommandLineChecks.h"

namespace zelview {
namespace {

constexpr double kSlowestRate = 1.0;
constexpr double kFastestRate = 1000.0;

}  // namespace

void describeScript(CLI::App& app, ScriptOptions& options) {
  const char* group = "Instead of a person";
  CLI::Option* script = app.add_option("--script", options.file, "Play timed input off screen, in its own time")
                            ->type_name("FILE")
                            ->group(group);
  app.add_option("--rate", options.rate, "Refreshes per second of the script's time, 1 to 1000 (default 60)")
      ->type_name("HZ")
      ->check(numberBetween(kSlowestRate, kFastestRate))
      ->needs(script)
      ->group(group);
  app.add_option("--frames", options.frames, "Write a picture of every refresh into this folder: frame-00000.png …")
      ->type_name("DIR")
      ->needs(script)
      ->group(group);
  app.add_option("--camera-log", options.cameraLog, "Write a line per refresh: seconds, view matrix, zoom")
      ->type_name("FILE")
      ->needs(script)
      ->group(group);
  for (const char* other : {"--snapshot", "--contact-sheet", "--save-panorama"})
    script->excludes(app.get_option(other));
}

void checkScript(const CLI::App& app) {
  const auto given = [&app](const char* name) { return app.get_option(name)->count() > 0; };
  if (given("--script") && !given("--frames") && !given("--camera-log")) {
    throw CLI::ValidationError("--script", "needs --frames or --camera-log: there is nothing to write");
  }
  for (const char* name : {"--script", "--frames", "--camera-log"}) {
    if (given(name) && app.get_option(name)->as<std::string>().empty()) {
      throw CLI::ValidationError(name, "needs a name");
    }
  }
}

}  // namespace zelview
