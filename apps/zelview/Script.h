#pragma once

#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/CoreMotion.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UITouch.h>
#include <ZELPlatform/UIWindow.h>

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zelview {

/// The pointer goes down, moves or goes up. In the window's points.
struct ScriptedPointer {
  UITouchPhase phase = UITouchPhase::Began;
  CGPoint location{};
};

/// The wheel turns, positive away from the person.
struct ScriptedWheel {
  double steps = 0.0;
  CGPoint location{};
};

/// Two fingers move apart (a factor above 1) or together about a point.
struct ScriptedPinch {
  double factor = 1.0;
  CGPoint location{};
};

/// What a line of a script does: the pointer, the wheel, a pinch, a key, the device's attitude or its orientation.
using ScriptedAction =
    std::variant<ScriptedPointer, ScriptedWheel, ScriptedPinch, UIKey, CMQuaternion, UIInterfaceOrientation>;

struct ScriptedEvent {
  /// Seconds after the start of the script.
  double time = 0.0;
  ScriptedAction action;
};

/// Timed input, in order.
struct Script {
  std::vector<ScriptedEvent> events;
  /// Seconds, to the `end` or to a second after the last event.
  double duration = 0.0;

  /// Whether the script moves the device, and so is the source of its attitudes.
  bool hasMotion() const;
};

/// How scripts are written, for `--help`.
std::string_view scriptHelp();

/// Reads a script from its text. `name` stands for the file in messages. Throws `ViewerError` with one sentence that
/// begins with file and line.
Script parseScript(std::string_view text, const std::string& name);

/// Reads a script file; blocks. Throws `ViewerError` as `parseScript` does, and when the file cannot be read.
Script readScript(const std::string& path);

}  // namespace zelview
