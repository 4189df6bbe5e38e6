#include "platform/coregraphics/FilePieces.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

namespace ZELPlatform {

std::string readPieces(const std::string& path, const std::function<bool(const uint8_t*, size_t)>& visit) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.isOpen()) return systemReason();
  std::vector<uint8_t> piece(size_t{256} * 1024);
  for (;;) {
    const ssize_t count = read(file.number(), piece.data(), piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return systemReason();
    if (count == 0 || !visit(piece.data(), static_cast<size_t>(count))) return {};
  }
}

std::string systemReason() {
  if (errno == ENOENT || errno == ENOTDIR) return "it does not exist";
  return "the system reports \"" + std::generic_category().message(errno) + "\"";
}

bool Descriptor::close() { return number_ < 0 || ::close(std::exchange(number_, -1)) == 0; }

}  // namespace ZELPlatform
