#pragma once

#include <ZELPlatform/CoreGraphics.h>

#include <memory>

#include "apps/zelview/Options.h"
#include "apps/zelview/ViewerContent.h"

namespace zelview {

/// The videos that the options name, for a window; `isStepped` if time is not the system's.
std::shared_ptr<ViewerContent> makeVideoContent(const Options& options, bool isStepped);

/// The picture that the first video shows at the options' time, through a view of that many points. Main thread; needs
/// the off-screen display to be started. Blocks; throws `ViewerError`.
std::shared_ptr<CGImage> makeVideoSnapshot(const Options& options, CGSize size);

}  // namespace zelview
