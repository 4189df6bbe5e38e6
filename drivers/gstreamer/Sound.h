#pragma once

#include "drivers/gstreamer/GstPointer.h"

#include <gst/gst.h>

namespace ZELPlatform {

/// Where sound goes: the system's output, or nowhere (at the same pace) when the system has none. A floating reference.
GstElement* makeSoundSink();

/// What sound passes on its way there.
struct SoundFilter {
  /// Converts to what the output takes, keeps the pitch of sound that is played faster or slower (where the element for
  /// it is installed), and holds the volume. A floating reference; null when a part of it is not installed.
  GstElement* bin = nullptr;
  /// The part of it with the properties "volume" and "mute".
  GstPointer<GstElement> volume;
};

SoundFilter makeSoundFilter();

/// For the signal "deep-element-added": sinks for sound are made some levels down.
void keepSoundInStep(GstBin* bin, GstBin* parent, GstElement* element, gpointer data);

}  // namespace ZELPlatform
