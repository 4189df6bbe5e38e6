#pragma once

#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/Export.h>

/// How far the sticks of the game controllers are pushed, from -1 to 1: x to the right, y up, a rest in the middle that
/// is zero. Zero without a controller.
struct GCThumbsticks {
  CGPoint left{};
  CGPoint right{};
};

/// The sticks as they stand now, the furthest of every controller that is connected. Main thread; polled, never blocks.
ZELPLATFORM_EXPORT GCThumbsticks GCThumbsticksCurrent();
