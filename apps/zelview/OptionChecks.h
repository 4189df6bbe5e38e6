#pragma once

#include <CLI/CLI.hpp>

namespace zelview {

/// A finite number within the limits: the parser's own range lets a NaN pass.
CLI::Validator numberBetween(double smallest, double largest);

}  // namespace zelview
