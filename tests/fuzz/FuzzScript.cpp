// Scripts of timed input: what was read, written down and read again, is the same.

#include <array>
#include <charconv>
#include <cmath>
#include <optional>

#include "apps/zelview/Script.h"
#include "apps/zelview/ViewerError.h"
#include "tests/fuzz/Promises.h"

namespace {

using zelfuzz::require;
using zelview::Script;
using zelview::ScriptedAction;
using zelview::ScriptedPinch;
using zelview::ScriptedPointer;
using zelview::ScriptedWheel;

/// A number in the form that reads back as the same one, with a blank before it.
std::string written(double number) {
  std::array<char, 32> digits{};
  const auto [end, failure] = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  return " " + std::string(digits.data(), end);
}

std::string written(CGPoint point) { return written(point.x) + written(point.y); }

struct Writer {
  std::string operator()(const ScriptedPointer& pointer) const {
    const char* name = pointer.phase == UITouchPhase::Began ? "press" : "move";
    return (pointer.phase == UITouchPhase::Ended ? "release" : name) + written(pointer.location);
  }
  std::string operator()(const ScriptedWheel& wheel) const {
    return "wheel" + written(wheel.steps) + written(wheel.location);
  }
  std::string operator()(const ScriptedPinch& pinch) const {
    return "pinch" + written(pinch.factor) + written(pinch.location);
  }
  std::string operator()(const UIKey& key) const { return "key " + std::string(key.shift ? "Shift+" : "") + key.name; }
  std::string operator()(const CMQuaternion& q) const {
    return "motion" + written(q.x) + written(q.y) + written(q.z) + written(q.w);
  }
  std::string operator()(UIInterfaceOrientation orientation) const {
    return "orientation " + std::to_string(static_cast<int>(orientation));
  }
};

std::string written(const Script& script) {
  std::string text;
  for (const zelview::ScriptedEvent& event : script.events) {
    text += written(event.time) + " " + std::visit(Writer{}, event.action) + "\n";
  }
  return text + written(script.duration) + " end\n";
}

std::optional<Script> parsed(std::string_view text) {
  try {
    return zelview::parseScript(text, "in.script");
  } catch (const zelview::ViewerError& error) {
    zelfuzz::requireSentence(error.what());
    require(std::string_view(error.what()).starts_with("in.script:"), "a complaint names the file");
    return std::nullopt;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::optional<Script> script = parsed(zelfuzz::textOf(data, size));
  if (!script) return 0;
  double latest = 0.0;
  for (const zelview::ScriptedEvent& event : script->events) {
    require(event.time >= latest, "times do not fall");
    latest = event.time;
  }
  // A day, and the second after the last command.
  require(script->duration >= latest && script->duration <= 86401.0, "a script ends after its last command, in a day");
  if (script->duration > 86400.0) return 0;
  const std::string text = written(*script);
  const std::optional<Script> again = parsed(text);
  require(again && written(*again) == text, "what was read reads back as the same");
  return 0;
}
