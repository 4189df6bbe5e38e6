#pragma once

#include "platform/coremotion/MotionDriver.h"

#include <memory>
#include <string>

namespace ZELPlatform {

/// The machine's own sensors, through the kernel's industrial I/O devices in sysfs.
///
/// They are read off the main thread, at most once a refresh, which waits for a millisecond: a quick sensor's reading
/// is there by then, a slow one's comes with the next refresh. A test gives it a folder of its own.
std::unique_ptr<MotionDriver> createIIODriver(std::string root = "/sys/bus/iio/devices");

}  // namespace ZELPlatform
