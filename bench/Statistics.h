#pragma once

#include <chrono>
#include <cstddef>
#include <vector>

namespace ZELBench {

/// Spread above which a comparison is not judged. The median of n samples is uncertain by about 0.93 x spread /
/// sqrt(n): with 15 % and 12 samples that is 4 %, well inside the 10 % that the tightest target leaves.
inline constexpr double kWidestSpread = 0.15;

/// Fewer samples are shown and never judged.
inline constexpr size_t kFewestSamples = 12;

/// What is kept of a series of samples.
struct Distribution {
  double median = 0.0;
  double lowerQuartile = 0.0;
  double upperQuartile = 0.0;
  /// Between these the median lies with 95 % confidence.
  double lowestMedian = 0.0;
  double highestMedian = 0.0;
  size_t count = 0;

  /// Distance of the quartiles, relative to the median.
  double spread() const { return median > 0.0 ? (upperQuartile - lowerQuartile) / median : 0.0; }
};

/// All zero without samples; quantiles between two samples are interpolated.
Distribution distributionOf(std::vector<double> samples);

/// Counts up in milliseconds from its creation.
class Stopwatch {
 public:
  double milliseconds() const {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace ZELBench
