#pragma once

#include <memory>

#include "apps/zelview/Options.h"
#include "apps/zelview/PictureContent.h"

namespace zelview {

/// Renders the content in every projection that it has a layout for, in several directions, as captioned tiles of one
/// picture. Main thread, off-screen display. Throws `ViewerError`.
std::shared_ptr<CGImage> makeContactSheet(const Options& options, PictureContent& content);

}  // namespace zelview
