#pragma once

#include <gst/gst.h>

namespace ZELPlatform {

/// Whether a thread moves data anywhere in the bin, or waits to.
bool hasRunningTask(GstBin* bin);

}  // namespace ZELPlatform
