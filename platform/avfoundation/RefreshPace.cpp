#include "platform/avfoundation/RefreshPace.h"

namespace ZELPlatform {
namespace {

/// A longer pause is none between two refreshes.
constexpr double kLongest = 0.1;

/// How much of a longer step is believed.
constexpr double kSlowly = 0.1;

}  // namespace

void RefreshPace::note(double hostTime) {
  const double step = hostTime - last_;
  if (step == 0.0) return;
  last_ = hostTime;
  if (!(step > 0.0 && step <= kLongest)) return;
  period_ = period_ == 0.0 || step < period_ ? step : period_ + (step - period_) * kSlowly;
}

}  // namespace ZELPlatform
