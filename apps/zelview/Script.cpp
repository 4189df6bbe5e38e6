#include "apps/zelview/Script.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "apps/zelview/PlainText.h"
#include "apps/zelview/TextFile.h"
#include "apps/zelview/ViewerError.h"

namespace zelview {
namespace {

constexpr double kSecondsAfterLastEvent = 1.0;
/// A day. Longer ones are slips of the pen that would fill the disk.
constexpr double kLatestTime = 86400.0;
/// Far outside of any window, and small enough that single precision carries it through every gesture.
constexpr double kFarthestPoint = 1e6;
constexpr double kMostSteps = 1e4;
constexpr double kLargestFactor = 1e3;
constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr std::string_view kShift = "Shift+";

constexpr std::array<std::string_view, 27> kNamedKeys = {
    "Escape", "Return",   "Tab",  "Space", "Backspace", "Insert", "Delete", "Home", "End",
    "PageUp", "PageDown", "Left", "Right", "Up",        "Down",   "F1",     "F2",   "F3",
    "F4",     "F5",       "F6",   "F7",    "F8",        "F9",     "F10",    "F11",  "F12"};

/// Why a line is bad: a clause without file, line and full stop.
class BadLine : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::string plain(double number) {
  std::ostringstream text;
  text << number;
  return text.str();
}

/// The words of one line, taken from the left.
class Words {
 public:
  explicit Words(std::string_view line) : rest_(line.substr(0, line.find('#'))) { skipBlanks(); }

  bool isEmpty() const { return rest_.empty(); }

  std::string_view take(const char* what) {
    if (rest_.empty()) throw BadLine(std::string("the ") + what + " is missing");
    const std::string_view word = rest_.substr(0, rest_.find_first_of(kBlanks));
    rest_.remove_prefix(word.size());
    skipBlanks();
    return word;
  }

  double takeNumber(const char* what, double smallest, double largest) {
    const std::string_view word = take(what);
    double number = 0.0;
    const auto [end, failure] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (failure != std::errc() || end != word.data() + word.size() || !std::isfinite(number)) {
      throw BadLine(std::string("the ") + what + " is a finite number, not " + quotedText(word));
    }
    if (number < smallest || number > largest) {
      throw BadLine(std::string("the ") + what + " lies between " + plain(smallest) + " and " + plain(largest) +
                    ", unlike " + quotedText(word));
    }
    return number;
  }

  CGPoint takePoint() {
    const double x = takeNumber("X", -kFarthestPoint, kFarthestPoint);
    return {x, takeNumber("Y", -kFarthestPoint, kFarthestPoint)};
  }

  void expectEnd() const {
    const std::string_view word = rest_.substr(0, rest_.find_first_of(kBlanks));
    if (!word.empty()) throw BadLine(quotedText(word) + " is one word too many");
  }

 private:
  void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(kBlanks), rest_.size())); }

  std::string_view rest_;
};

ScriptedAction takePointer(Words& words, UITouchPhase phase) { return ScriptedPointer{phase, words.takePoint()}; }

ScriptedAction takeWheel(Words& words) {
  const double steps = words.takeNumber("number of steps", -kMostSteps, kMostSteps);
  return ScriptedWheel{steps, words.takePoint()};
}

ScriptedAction takePinch(Words& words) {
  const double factor = words.takeNumber("factor", 1.0 / kLargestFactor, kLargestFactor);
  return ScriptedPinch{factor, words.takePoint()};
}

ScriptedAction takeKey(Words& words) {
  const std::string_view word = words.take("name of the key");
  UIKey key;
  std::string_view name = word;
  key.shift = name.starts_with(kShift);
  if (key.shift) name.remove_prefix(kShift.size());
  const bool isCharacter = name.size() == 1 && name[0] > ' ' && name[0] <= '~' && (name[0] < 'A' || name[0] > 'Z');
  if (!isCharacter && std::find(kNamedKeys.begin(), kNamedKeys.end(), name) == kNamedKeys.end()) {
    throw BadLine("there is no key " + quotedText(word) + " (but such as a, ?, Left, F11 and Shift+r)");
  }
  key.name = name;
  return key;
}

ScriptedAction takeMotion(Words& words) {
  const auto next = [&words](const char* what) {
    return words.takeNumber(what, std::numeric_limits<double>::lowest(), std::numeric_limits<double>::max());
  };
  CMQuaternion attitude{};
  attitude.x = next("X");
  attitude.y = next("Y");
  attitude.z = next("Z");
  attitude.w = next("W");
  if (attitude.x == 0.0 && attitude.y == 0.0 && attitude.z == 0.0 && attitude.w == 0.0) {
    throw BadLine("the rotation is zero");
  }
  return attitude;
}

ScriptedAction takeOrientation(Words& words) {
  const std::string_view word = words.take("orientation");
  if (word.size() != 1 || word[0] < '1' || word[0] > '4') {
    throw BadLine("the orientation is 1, 2, 3 or 4, not " + quotedText(word));
  }
  return static_cast<UIInterfaceOrientation>(word[0] - '0');
}

struct CommandDescription {
  std::string_view name;
  ScriptedAction (*takeAction)(Words&);
};

constexpr std::array<CommandDescription, 8> kCommands = {{
    {"press", [](Words& words) { return takePointer(words, UITouchPhase::Began); }},
    {"move", [](Words& words) { return takePointer(words, UITouchPhase::Moved); }},
    {"release", [](Words& words) { return takePointer(words, UITouchPhase::Ended); }},
    {"wheel", takeWheel},
    {"pinch", takePinch},
    {"key", takeKey},
    {"motion", takeMotion},
    {"orientation", takeOrientation},
}};

constexpr std::string_view kEnd = "end";

/// Reads a script line by line.
class ScriptReader {
 public:
  void readLine(std::string_view line) {
    Words words(line);
    if (words.isEmpty()) return;
    if (end_) throw BadLine("nothing may follow the end");
    const double time = words.takeNumber("time", 0.0, kLatestTime);
    if (time < latest_) throw BadLine("the time " + plain(time) + " is before that of the command above");
    latest_ = time;
    readCommand(words, time);
    words.expectEnd();
  }

  /// None for a script without a command.
  std::optional<Script> finish() {
    if (script_.events.empty() && !end_) return std::nullopt;
    script_.duration = end_.value_or(latest_ + kSecondsAfterLastEvent);
    return std::move(script_);
  }

 private:
  void readCommand(Words& words, double time) {
    const std::string_view name = words.take("command");
    if (name == kEnd) {
      end_ = time;
      return;
    }
    const auto isNamed = [name](const CommandDescription& command) { return command.name == name; };
    const auto found = std::find_if(kCommands.begin(), kCommands.end(), isNamed);
    if (found == kCommands.end()) throw BadLine("there is no command " + quotedText(name));
    script_.events.push_back({time, found->takeAction(words)});
  }

  Script script_;
  double latest_ = 0.0;
  std::optional<double> end_;
};

}  // namespace

bool Script::hasMotion() const {
  return std::any_of(events.begin(), events.end(),
                     [](const ScriptedEvent& event) { return std::holds_alternative<CMQuaternion>(event.action); });
}

std::string_view scriptHelp() {
  return "Scripts have one command a line, SECONDS COMMAND ARGUMENTS; times do not fall and # begins a comment:\n"
         "  press X Y, move X Y, release X Y   the pointer, in points from the top left\n"
         "  wheel STEPS X Y                    positive zooms in\n"
         "  pinch FACTOR X Y                   above 1 zooms in\n"
         "  key NAME                           as above: a, ?, Left, F11, Shift+r\n"
         "  motion X Y Z W                     the device's attitude, a quaternion; wins over --motion\n"
         "  orientation 1..4                   portrait, upside down, and the two landscapes\n"
         "  end                                else a second after the last command\n";
}

Script parseScript(std::string_view text, const std::string& name) {
  ScriptReader reader;
  size_t number = 0;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    ++number;
    try {
      reader.readLine(line);
    } catch (const BadLine& bad) {
      throw ViewerError(name + ":" + std::to_string(number) + ": " + bad.what() + ".");
    }
  }
  std::optional<Script> script = reader.finish();
  if (!script) throw ViewerError(name + ":" + std::to_string(std::max(number, size_t{1})) + ": there is no command.");
  return std::move(*script);
}

Script readScript(const std::string& path) { return parseScript(readTextFile(path, "script"), path); }

}  // namespace zelview
