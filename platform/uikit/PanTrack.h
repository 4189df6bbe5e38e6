#pragma once

#include <ZELPlatform/CGGeometry.h>

#include <vector>

namespace ZELPlatform {

/// The way of a pan: how far it went, and how fast it goes. Main thread.
///
/// Times are in seconds and may stand still; one that falls counts as the one before it. Points are the window's.
class PanTrack {
 public:
  /// Starts anew where the first touch went down.
  void begin(CGPoint place, double time);

  /// The touches are now at `place`, the same ones as before.
  void follow(CGPoint place, double time);

  /// Other touches are followed from now on, and those are at `place`: the way stays as it is.
  void continueFrom(CGPoint place) { place_ = place; }

  /// Whether the way is long enough for a pan.
  bool isLongEnough() const;

  /// Counts the translation from here.
  void start();

  /// The translation; zero before the start.
  CGPoint translation() const;

  /// The mean velocity over the last tenth of a second, in points per second, up to the newest time. Zero if all of it
  /// was spent at rest, and as long as no time has passed.
  CGPoint velocity() const;

 private:
  struct Sample {
    double time;
    CGPoint way;
  };
  void addSample(double time);

  CGPoint place_{};
  CGPoint way_{};
  double farthest_ = 0;
  bool isStarted_ = false;
  CGPoint slack_{};
  std::vector<Sample> samples_;
};

}  // namespace ZELPlatform
