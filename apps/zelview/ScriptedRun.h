#pragma once

#include <memory>

#include "apps/zelview/Options.h"
#include "apps/zelview/Script.h"
#include "apps/zelview/ViewerContent.h"

namespace zelview {

/// Plays a script into the viewer's window, and writes the pictures and the camera log that the options ask for.
///
/// Refresh k comes k / rate seconds after the start, the last one not after the script's end. The events up to its time
/// are delivered before it, each at its own time of the host clock. That clock and the refreshes are stepped, so what
/// comes out does not depend on how fast the machine is. Real sensors are left out: the script's attitudes win over a
/// recording, which wins over a device that stands still.
///
/// Main thread; needs the off-screen display to be started, and nothing else that reads the host clock. Blocks. Throws
/// `ViewerError`; then no camera log is left, while the pictures written so far stay.
void runScript(const Options& options, const Script& script, const std::shared_ptr<ViewerContent>& content);

}  // namespace zelview
