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
  return {quantile(samples, 0.5), quantile(samples, 0.25), quantile(samples, 0.75), samples.size()};
}

}  // namespace ZELBench
