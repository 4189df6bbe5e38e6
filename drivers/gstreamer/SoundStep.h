#pragma once

#include <cstdint>

namespace ZELPlatform {

/// Says when, and by how much, sound is to be moved because the output's clock and the film's are apart.
///
/// Outputs begin to play some hundred milliseconds after they were told to, and their clock with them. GStreamer's own
/// remedy averages that away over some seconds, for which sound comes after the picture. Times are nanoseconds. One
/// thread at a time.
class SoundStep {
 public:
  /// Half of what people notice.
  static constexpr int64_t kTolerance = 20'000'000;

  /// To be told of both clocks at least ten times a second. By how much the output is ahead of the film if that is to
  /// be corrected, which this takes for done; else 0.
  int64_t correction(int64_t film, int64_t output) {
    if (!isLooking_) {
      lookFrom(film, output);
      return 0;
    }
    const int64_t filmWent = film - filmThen_;
    if (filmWent < kLook) return 0;
    const int64_t outputWent = output - outputThen_;
    lookFrom(film, output);
    // One that stands still, or catches up after it did, has nothing to say yet.
    if (distance(outputWent, filmWent) > filmWent / 4) return 0;
    if (distance(output, film) <= kTolerance) return 0;
    isLooking_ = false;
    return output - film;
  }

  /// After a jump of either clock.
  void forget() { isLooking_ = false; }

 private:
  /// Over so much of the film's clock it is seen whether the output runs.
  static constexpr int64_t kLook = 50'000'000;

  static int64_t distance(int64_t a, int64_t b) { return a > b ? a - b : b - a; }
  void lookFrom(int64_t film, int64_t output) {
    isLooking_ = true;
    filmThen_ = film;
    outputThen_ = output;
  }

  bool isLooking_ = false;
  int64_t filmThen_ = 0;
  int64_t outputThen_ = 0;
};

}  // namespace ZELPlatform
