#pragma once

#include <ZELPlatform/CoreMedia.h>

namespace ZELPlatform {

/// Seconds as a media time in nanoseconds, the scale of all times that players give.
inline CMTime mediaTime(double seconds) { return CMTimeMakeWithSeconds(seconds, 1'000'000'000); }

}  // namespace ZELPlatform
