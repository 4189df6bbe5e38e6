#pragma once

#include <cstdint>
#include <string>

namespace zelview {

/// One line about a long work, on standard error: over and over in place on a terminal, every ten seconds elsewhere.
class Progress {
 public:
  /// `duration` of the whole in seconds, 0 if not known.
  explicit Progress(double duration);

  /// The work has come to that place of the whole, with that many frames done.
  void update(double time, uint64_t frames);

  /// Ends the line and says how long it took.
  void finish(uint64_t frames);

  /// The line for a state of the work, `elapsed` seconds after its beginning.
  static std::string text(double duration, double time, uint64_t frames, double elapsed);

 private:
  double duration_;
  double start_;
  double last_ = 0.0;
  bool isTerminal_;
};

}  // namespace zelview
