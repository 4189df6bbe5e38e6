#include "bench/Statistics.h"

#include <algorithm>
#include <cmath>

namespace ZELBench {

namespace {

double quantile(const std::vector<double>& sorted, double fraction) {
  const double position = fraction * static_cast<double>(sorted.size() - 1);
  const auto below = static_cast<size_t>(position);
  const size_t above = std::min(below + 1, sorted.size() - 1);
  return std::lerp(sorted[below], sorted[above], position - static_cast<double>(below));
}

}  // namespace

Distribution distributionOf(std::vector<double> samples) {
  if (samples.empty()) return {};
  std::sort(samples.begin(), samples.end());
  // How many samples lie below the median is binomially distributed: n / 2 with a standard deviation of sqrt(n) / 2.
  const double doubt = 1.96 * 0.5 / std::sqrt(static_cast<double>(samples.size()));
  return {.median = quantile(samples, 0.5),
          .lowerQuartile = quantile(samples, 0.25),
          .upperQuartile = quantile(samples, 0.75),
          .lowestMedian = quantile(samples, std::max(0.0, 0.5 - doubt)),
          .highestMedian = quantile(samples, std::min(1.0, 0.5 + doubt)),
          .count = samples.size()};
}

}  // namespace ZELBench
