#pragma once

#include <ZELKit/ZELProjection.h>
#include <ZELPlatform/CGGeometry.h>

#include <cstdint>
#include <optional>
#include <string>

#include "apps/zelview/BackEnd.h"
#include "apps/zelview/Camera.h"
#include "apps/zelview/CameraRig.h"
#include "apps/zelview/ScriptOptions.h"
#include "apps/zelview/video/VideoOptions.h"

namespace zelview {

enum class Mode { Window, Snapshot, ContactSheet, SavePanorama, Script };

/// Split: the left half of the picture stays as it came.
enum class SuperResolution { Off, On, Split };

/// What the command line asks for.
struct Options {
  Mode mode = Mode::Window;
  /// What is shown first, a picture or a video; empty: the built-in panorama.
  std::string picture;
  VideoOptions video;
  /// Where the picture goes in the modes that write one.
  std::string output;
  /// None: decided by the picture.
  std::optional<ZELProjectionType> projection;
  int64_t gravity = ZELContentGravityFit;
  /// Pixels at each border of each cube face that are not to be sampled.
  int64_t padding = 0;
  Camera camera;
  /// What turns the window's camera.
  ControllerChoice controller = ControllerChoice::Relative;
  /// A recorded file to play device motion from; empty: the sensors.
  std::string motion;
  /// Where device motion is recorded; empty: nowhere.
  std::string recordMotion;
  ScriptOptions script;
  /// In points; none: the mode's own.
  std::optional<CGSize> size;
  /// Pixels per point; none: 1 off screen, the display's in a window.
  std::optional<double> scale;
  /// Whether flat frames are enlarged by a network.
  SuperResolution superResolution = SuperResolution::Off;
  /// What kind of pictures they are, by which the network's model is chosen: 0 anything, 1 text and drawings.
  int64_t contentType = 0;
  BackEnd backEnd = BackEnd::Automatic;
  bool verbose = false;
};

/// Options, or a text to print and the status to exit with.
struct CommandLine {
  std::optional<Options> options;
  int status = 0;
  std::string text;
};

/// Reads the command line. A usage error has status 2 and one line of text; `--help` and `--version` have status 0.
CommandLine parseCommandLine(int argc, const char* const* argv);

}  // namespace zelview
