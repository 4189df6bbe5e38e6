#pragma once

#include <gst/gst.h>

namespace ZELPlatform {

/// What the threads in a bin are at.
enum class Work {
  /// Somebody reads, or takes apart what was read.
  Moving,
  /// All that could be read was read; what lies in queues may still be on its way.
  Draining,
  /// There is no thread that moves data, or waits to.
  None
};

Work workIn(GstBin* bin);

}  // namespace ZELPlatform
