#include "platform/corevideo/Counters.h"

namespace ZELPlatform {

PixelCounters& pixelCounters() {
  static PixelCounters counters;
  return counters;
}

}  // namespace ZELPlatform
