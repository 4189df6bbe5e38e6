#pragma once

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zelview {

/// What the command line says of videos.
struct VideoOptions {
  /// All that was named, to be shown one after the other: files or URLs.
  std::vector<std::string> inputs;
  bool loop = false;
  bool muted = false;
  /// Seconds at which the first one starts.
  double start = 0.0;
  /// Seconds of a snapshot; none: the beginning.
  std::optional<double> at;
};

/// Adds `--loop`, `--mute`, `--start` and `--at`, after `--snapshot`, `--contact-sheet` and `--save-panorama`.
void describeVideo(CLI::App& app, VideoOptions& options);

}  // namespace zelview
