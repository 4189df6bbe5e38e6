#pragma once

#include <string>

/// What became of super-resolution in the frame that a view drew last. A value; it does not follow the view.
struct ZELSuperResolutionStatus {
  /// The frame's luma was enlarged.
  bool isActive = false;
  /// The network is being made ready, and a frame that comes later will be enlarged.
  bool isPreparing = false;
  /// "on" with the sizes, or "off" and why. For people.
  std::string description;
};
