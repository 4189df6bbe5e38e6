#include "platform/coremotion/RecordingText.h"

#include "platform/coremotion/Attitude.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <system_error>

namespace ZELPlatform {
namespace {

constexpr size_t kNumbersPerLine = 5;
constexpr size_t kLongestLine = 4096;
constexpr std::string_view kBlanks = " \t\r\v\f";

/// Takes the next word off the line; empty at its end.
std::string_view takeWord(std::string_view* line) {
  line->remove_prefix(std::min(line->find_first_not_of(kBlanks), line->size()));
  const std::string_view word = line->substr(0, line->find_first_of(kBlanks));
  line->remove_prefix(word.size());
  return word;
}

/// A word for a message: not too long, and nothing in it that a terminal would obey. A number has only characters of
/// ASCII, so that others are of no use to whoever looks for it.
std::string quoted(std::string_view word) {
  std::string text(word.substr(0, 40));
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return "\"" + text + "\"";
}

}  // namespace

bool isUsable(const CMDeviceMotion& motion) {
  return std::isfinite(motion.timestamp) && normalized(motion.attitude).has_value();
}

void appendSample(std::string* text, const CMDeviceMotion& sample) {
  const CMQuaternion& q = sample.attitude;
  for (const double number : {sample.timestamp, q.x, q.y, q.z, q.w}) {
    std::array<char, 32> digits{};
    const auto [end, failure] = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    text->append(digits.data(), end);
    *text += ' ';
  }
  text->back() = '\n';
}

bool RecordingReader::feed(std::string_view piece) {
  if (!complaint_.empty()) return false;
  rest_ += piece;
  size_t start = 0;
  for (size_t end = rest_.find('\n'); end != std::string::npos; end = rest_.find('\n', start)) {
    if (!takeLine(std::string_view(rest_).substr(start, end - start))) return false;
    start = end + 1;
  }
  rest_.erase(0, start);
  return rest_.size() <= kLongestLine || takeLine(rest_);
}

void RecordingReader::finish() {
  if (complaint_.empty() && !rest_.empty()) takeLine(rest_);
}

bool RecordingReader::takeLine(std::string_view line) {
  ++lineNumber_;
  const std::string why = line.size() > kLongestLine ? "the line is too long" : readLine(line);
  if (!why.empty()) complaint_ = ":" + std::to_string(lineNumber_) + ": " + why + ".";
  return why.empty();
}

/// Returns an empty string, or why the line is bad.
std::string RecordingReader::readLine(std::string_view line) {
  line = line.substr(0, line.find('#'));
  std::array<double, kNumbersPerLine> numbers{};
  size_t count = 0;
  for (std::string_view word = takeWord(&line); !word.empty(); word = takeWord(&line)) {
    if (count == numbers.size()) return "there is more than SECONDS X Y Z W";
    double& number = numbers[count++];
    const auto [end, failure] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (failure != std::errc() || end != word.data() + word.size() || !std::isfinite(number)) {
      return quoted(word) + " is not a finite number";
    }
  }
  if (count == 0) return {};
  if (count < numbers.size()) return "there is less than SECONDS X Y Z W";
  return add({{numbers[1], numbers[2], numbers[3], numbers[4]}, numbers[0]});
}

std::string RecordingReader::add(const CMDeviceMotion& sample) {
  if (!isUsable(sample)) return "the rotation is zero";
  if (!samples_.empty() && sample.timestamp < samples_.back().timestamp) {
    return "the time is before that of the sample above";
  }
  samples_.push_back(sample);
  return {};
}

}  // namespace ZELPlatform
