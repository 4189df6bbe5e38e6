#pragma once

#include <gst/gst.h>

namespace ZELPlatform {

/// For the signal "deep-element-added": has video decoders take the range from the coded frames.
///
/// The demuxer of MP4 passes the file's colours on without the flag for full range, as if it were video range, and
/// decoders believe it before what the coded frames say. Matrix and primaries stay the file's.
void leaveRangeToDecoder(GstBin* bin, GstBin* parent, GstElement* element, gpointer data);

}  // namespace ZELPlatform
