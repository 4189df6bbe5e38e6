#pragma once

#include <string>

namespace zelview {

/// The text of a file of at most 16 MiB; blocks. Throws `ViewerError` with one sentence, in which `what` names the kind
/// of file ("script"), when it cannot be read.
std::string readTextFile(const std::string& path, const std::string& what);

}  // namespace zelview
