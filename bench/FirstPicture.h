#pragma once

#include "bench/Report.h"
#include "bench/Settings.h"

namespace ZELBench {

/// Measures how long fresh processes take to their first picture, and the viewer's snapshot.
///
/// Call it before anything large is allocated: a child's peak memory starts at its parent's.
void measureFirstPictures(const Settings& settings, Report& report);

/// What the fresh process does: shows one frame in a view, off screen, with one of the
/// back ends, prints how long that took, and ends. `startedAt`
/// is the moment of its start, in nanoseconds of the monotonic clock. Returns the exit status.
int runFirstPicture(long long startedAt, bool metal);

}  // namespace ZELBench
