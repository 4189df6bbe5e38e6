#pragma once

#include <ZELPlatform/UIView.h>

#include <memory>

namespace zelview {

/// A panel that lists the window's keys. Main thread.
std::shared_ptr<UIView> makeHelpOverlay(double scale);

/// Moves the panel to the middle of a view of that size.
void centreHelpOverlay(UIView& overlay, CGSize viewSize);

}  // namespace zelview
