#pragma once

#include <functional>

namespace ZELPlatform {

/// Has `task` called on the main thread at the start of every refresh, before the display links fire: pending events
/// and pending layout come first, so that a frame is drawn for what is true now. For the process's life. Main thread.
void addRefreshPreparation(std::function<void()> task);

}  // namespace ZELPlatform
