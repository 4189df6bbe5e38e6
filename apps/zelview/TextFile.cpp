#include "apps/zelview/TextFile.h"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "apps/zelview/ViewerError.h"

namespace zelview {
namespace {

/// Far above what anybody writes; keeps a device that never ends from filling the memory.
constexpr size_t kLargestFile = size_t{16} << 20;

}  // namespace

std::string readTextFile(const std::string& path, const std::string& what) {
  const auto refusal = [&](const std::string& reason) {
    return ViewerError("The " + what + " \"" + path + "\" cannot be read: " + reason + ".");
  };
  std::error_code failure;
  if (std::filesystem::is_directory(path, failure)) throw refusal("it is a directory");
  std::ifstream file(path, std::ios::binary);
  if (!file) throw refusal(std::filesystem::exists(path, failure) ? "it may not be opened" : "it does not exist");
  std::string text(kLargestFile + 1, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (file.bad()) throw refusal("its end was not reached");
  text.resize(static_cast<size_t>(file.gcount()));
  if (text.size() > kLargestFile) throw refusal("it is larger than 16 MiB");
  return text;
}

}  // namespace zelview
