#include "apps/zelview/render/CameraPath.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

#include "apps/zelview/PlainText.h"
#include "apps/zelview/TextFile.h"
#include "apps/zelview/ViewerError.h"

namespace zelview {
namespace {

constexpr size_t kChannels = 4;
constexpr double kLargestAngle = 36000.0;
/// Eleven days: no film is as long.
constexpr double kLargestTime = 1e6;
/// A microsecond. Between keys that are closer the speeds of the camera would not be numbers.
constexpr double kShortestStretch = 1e-6;
constexpr std::string_view kHeader = "seconds,yaw,pitch,roll,zoom";

using Channels = std::array<double, kChannels>;

Channels channelsOf(const Camera& camera) { return {camera.yaw, camera.pitch, camera.roll, std::log(camera.zoom)}; }

/// The speed at a key between two stretches of these lengths and slopes: their weighted harmonic mean, 0 at a turn.
double monotoneSpeed(double before, double after, double slopeBefore, double slopeAfter) {
  if (slopeBefore * slopeAfter <= 0.0) return 0.0;
  const double weightBefore = 2 * after + before;
  const double weightAfter = after + 2 * before;
  return (weightBefore + weightAfter) / (weightBefore / slopeBefore + weightAfter / slopeAfter);
}

/// Cubic Hermite interpolation over a stretch of that length, at the share `t` of it.
double hermite(double from, double to, double speedFrom, double speedTo, double length, double t) {
  const double t2 = t * t;
  const double t3 = t2 * t;
  return from + (to - from) * (3 * t2 - 2 * t3) + length * (speedFrom * (t3 - 2 * t2 + t) + speedTo * (t3 - t2));
}

[[noreturn]] void refuse(const std::string& path, int line, const std::string& reason) {
  throw ViewerError(path + ":" + std::to_string(line) + ": " + reason + ".");
}

std::string_view trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(" \t\r");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

CameraKey parseKey(std::string_view text, const std::string& path, int line) {
  std::array<double, kChannels + 1> values{};
  size_t count = 0;
  for (bool more = true; more; ++count) {
    const size_t comma = text.find(',');
    more = comma != std::string_view::npos;
    const std::string_view cell = trimmed(text.substr(0, comma));
    if (count == values.size()) refuse(path, line, "there are more than five values");
    const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), values[count]);
    if (error != std::errc() || end != cell.data() + cell.size() || !std::isfinite(values[count])) {
      refuse(path, line, quotedText(cell) + " is not a number");
    }
    if (more) text.remove_prefix(comma + 1);
  }
  if (count < values.size()) refuse(path, line, "there are " + std::to_string(count) + " values instead of five");

  CameraKey key;
  key.seconds = values[0];
  key.camera.yaw = values[1];
  key.camera.pitch = values[2];
  key.camera.roll = values[3];
  key.camera.zoom = values[4];
  if (std::abs(key.seconds) > kLargestTime) refuse(path, line, "the time lies between -1e6 and 1e6 seconds");
  if (std::abs(key.camera.yaw) > kLargestAngle || std::abs(key.camera.roll) > kLargestAngle) {
    refuse(path, line, "yaw and roll lie between -36000 and 36000 degrees");
  }
  if (std::abs(key.camera.pitch) > 90.0) refuse(path, line, "the pitch lies between -90 and 90 degrees");
  if (key.camera.zoom < kSmallestZoom || key.camera.zoom > kLargestZoom) {
    refuse(path, line, "the zoom lies between 0.3 and 10");
  }
  return key;
}

}  // namespace

CameraPath::CameraPath(std::vector<CameraKey> keys, bool linear) : keys_(std::move(keys)) {
  if (linear) return;
  // At both ends the camera starts and stops: its speed is 0 there, as it is before and after.
  speeds_.resize(keys_.size());
  for (size_t i = 1; i + 1 < keys_.size(); ++i) {
    const double before = keys_[i].seconds - keys_[i - 1].seconds;
    const double after = keys_[i + 1].seconds - keys_[i].seconds;
    const Channels a = channelsOf(keys_[i - 1].camera);
    const Channels b = channelsOf(keys_[i].camera);
    const Channels c = channelsOf(keys_[i + 1].camera);
    for (size_t k = 0; k < kChannels; ++k) {
      speeds_[i].values[k] = monotoneSpeed(before, after, (b[k] - a[k]) / before, (c[k] - b[k]) / after);
    }
  }
}

Camera CameraPath::cameraAt(double seconds) const {
  if (!(seconds > keys_.front().seconds)) return keys_.front().camera;
  if (seconds >= keys_.back().seconds) return keys_.back().camera;
  const auto later = std::upper_bound(keys_.begin(), keys_.end(), seconds,
                                      [](double time, const CameraKey& key) { return time < key.seconds; });
  const auto to = static_cast<size_t>(later - keys_.begin());
  const size_t from = to - 1;
  const double length = keys_[to].seconds - keys_[from].seconds;
  const double t = (seconds - keys_[from].seconds) / length;
  const Channels a = channelsOf(keys_[from].camera);
  const Channels b = channelsOf(keys_[to].camera);
  Channels now{};
  for (size_t k = 0; k < kChannels; ++k) {
    now[k] = speeds_.empty() ? a[k] + (b[k] - a[k]) * t
                             : hermite(a[k], b[k], speeds_[from].values[k], speeds_[to].values[k], length, t);
  }
  Camera camera = keys_[from].camera;
  camera.yaw = now[0];
  camera.pitch = std::clamp(now[1], -90.0, 90.0);
  camera.roll = now[2];
  camera.zoom = std::clamp(std::exp(now[3]), kSmallestZoom, kLargestZoom);
  return camera;
}

std::vector<CameraKey> parseCameraKeys(std::string_view text, const std::string& name) {
  std::vector<CameraKey> keys;
  bool hasHeader = false;
  for (int line = 1; !text.empty(); ++line) {
    const std::string_view whole = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(whole.size() + 1, text.size()));
    const std::string_view content = trimmed(whole);
    if (content.empty() || content.front() == '#') continue;
    if (!hasHeader) {
      if (content != kHeader) refuse(name, line, "the first line has to be '" + std::string(kHeader) + "'");
      hasHeader = true;
      continue;
    }
    const CameraKey key = parseKey(content, name, line);
    if (!keys.empty() && key.seconds - keys.back().seconds < kShortestStretch) {
      refuse(name, line, "the time does not rise by a microsecond");
    }
    keys.push_back(key);
  }
  if (keys.empty()) throw ViewerError("The camera path \"" + name + "\" has no keys.");
  return keys;
}

CameraPath readCameraPath(const std::string& path, bool linear) {
  return {parseCameraKeys(readTextFile(path, "camera path"), path), linear};
}

}  // namespace zelview
