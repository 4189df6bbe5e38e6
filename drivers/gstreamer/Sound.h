#pragma once

#include <gst/gst.h>

namespace ZELPlatform {

/// Where sound goes: the system's output, or nowhere (at the same pace) when the system has none. A floating reference.
GstElement* makeSoundSink();

/// What keeps the pitch of sound that is played faster or slower; null when it is not installed. A floating reference.
GstElement* makePitchKeeper();

/// For the signal "deep-element-added": sinks for sound are made some levels down.
void keepSoundInStep(GstBin* bin, GstBin* parent, GstElement* element, gpointer data);

}  // namespace ZELPlatform
