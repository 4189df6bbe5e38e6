#pragma once

#include <ZELKit/ZELProjectionType.h>
#include <ZELPlatform/CGGeometry.h>

#include <CLI/CLI.hpp>

#include <optional>
#include <string>
#include <string_view>

#include "apps/zelview/Camera.h"

/// What the viewer's command lines have in common.
namespace zelview {

/// "1280x720", sides of 1 to 65536; none for anything else.
std::optional<CGSize> parseSize(std::string_view text);

/// Why the text is not a size.
std::string sizeComplaint(const std::string& text);

/// A finite number within the limits: the parser's own range lets a NaN pass.
CLI::Validator numberBetween(double smallest, double largest);

/// One of the names of the projections.
ZELProjectionType projectionNamed(const std::string& name);

/// One line: some of the parser's messages have more.
std::string oneLine(std::string text);

/// `--yaw`, `--pitch`, `--roll`, `--zoom` and `--mirror`.
void addCameraOptions(CLI::App& app, Camera& camera);

}  // namespace zelview
