#pragma once

#include "bench/Report.h"
#include "bench/Settings.h"

#include <string>

namespace ZELBench {

/// Measures the Metal back end against a minimal Vulkan program and against the OpenGL ES back end. Returns why it
/// could not, or an empty string.
std::string measureMetal(const Settings& settings, Report& report);

}  // namespace ZELBench
