#pragma once

#include "bench/Report.h"
#include "bench/Settings.h"

#include <string>

namespace ZELBench {

/// Measures frames of every projection and format against bare code, in turns. Returns an empty string, or one sentence
/// that says why nothing can be measured. Main thread.
std::string measureFrames(const Settings& settings, Report& report);

}  // namespace ZELBench
