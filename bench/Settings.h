#pragma once

#include <ZELPlatform/CGGeometry.h>

#include <cstddef>
#include <string>

namespace ZELBench {

/// What is drawn, and where to.
inline constexpr CGSize kContentSize = {3840, 1920};
inline constexpr CGSize kTargetSize = {1920, 1080};

/// What the command line asked for.
struct Settings {
  size_t samples = 25;
  size_t warmUps = 4;
  /// Only measurements whose name contains this; empty: all.
  std::string filter;
  /// Where the viewer is; empty: not measured.
  std::string viewer;

  bool wants(const std::string& name) const { return name.find(filter) != std::string::npos; }
};

}  // namespace ZELBench
