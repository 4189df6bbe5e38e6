#pragma once

#include <string>

namespace CLI {
class App;
}

namespace zelview {

/// What the command line asks of a scripted run; no script, no such run.
struct ScriptOptions {
  std::string file;
  /// Refreshes per second.
  double rate = 60.0;
  /// A folder for pictures and a file for the camera; at least one of them is given.
  std::string frames;
  std::string cameraLog;
};

/// Adds the options to the command line.
void describeScript(CLI::App& app, ScriptOptions& options);

/// Throws the parser's error when the options do not go together.
void checkScript(const CLI::App& app);

}  // namespace zelview
