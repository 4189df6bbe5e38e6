#pragma once

#include "bench/Report.h"
#include "bench/Settings.h"

namespace ZELBench {

/// Measures what one update of each controller costs, with a sample, a fling and a transition under way. Main thread.
void measureControllers(const Settings& settings, Report& report);

}  // namespace ZELBench
