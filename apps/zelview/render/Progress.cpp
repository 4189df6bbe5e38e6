#include "apps/zelview/render/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>

namespace zelview {
namespace {

constexpr double kTerminalInterval = 0.2;
constexpr double kLogInterval = 10.0;
constexpr int kBarLength = 30;

/// Of real time, as host time stands still between the frames.
double now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

template <class... Values>
std::string format(const char* pattern, Values... values) {
  std::array<char, 160> buffer{};
  std::snprintf(buffer.data(), buffer.size(), pattern, values...);
  return buffer.data();
}

}  // namespace

Progress::Progress(double duration) : duration_(duration), start_(now()), isTerminal_(isatty(STDERR_FILENO) == 1) {}

std::string Progress::text(double duration, double time, uint64_t frames, double elapsed) {
  const double rate = elapsed > 0.0 ? static_cast<double>(frames) / elapsed : 0.0;
  if (duration <= 0.0) return format("%llu frames, %.1f a second", static_cast<unsigned long long>(frames), rate);
  const double share = std::clamp(time / duration, 0.0, 1.0);
  const auto done = static_cast<int>(share * kBarLength);
  const std::string bar =
      std::string(static_cast<size_t>(done), '#') + std::string(static_cast<size_t>(kBarLength - done), '.');
  std::string line = format("[%s] %3.0f %%, %.1f frames a second", bar.c_str(), share * 100.0, rate);
  if (share > 0.0 && share < 1.0) {
    const double left = std::ceil(elapsed * (1.0 - share) / share);
    line += format(", %d:%02d left", static_cast<int>(left / 60.0), static_cast<int>(std::fmod(left, 60.0)));
  }
  return line;
}

void Progress::update(double time, uint64_t frames) {
  const double present = now();
  if (present - last_ < (isTerminal_ ? kTerminalInterval : kLogInterval)) return;
  last_ = present;
  const std::string line = text(duration_, time, frames, present - start_);
  std::fprintf(stderr, isTerminal_ ? "\r%s\033[K" : "%s\n", line.c_str());
}

void Progress::finish(uint64_t frames) {
  const double elapsed = now() - start_;
  std::fprintf(stderr, "%s%llu frames in %.1f s (%.1f a second)\n", isTerminal_ ? "\r\033[K" : "",
               static_cast<unsigned long long>(frames), elapsed, static_cast<double>(frames) / std::max(elapsed, 1e-3));
}

}  // namespace zelview
