#include "platform/coregraphics/FilePieces.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>
#include <vector>

namespace ZELPlatform {

namespace {

/// Makes a new file in the folder of the path, with a name that no other has; its name comes back in `name`.
int createBeside(const std::string& path, std::string* name) {
  static std::atomic<unsigned> counter{0};
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  for (;;) {
    *name = folder + ".zelkit-" + std::to_string(getpid()) + "-" + std::to_string(++counter) + ".part";
    const int file = open(name->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file >= 0 || errno != EEXIST) return file;
  }
}

}  // namespace

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

std::unique_ptr<FileReplacement> FileReplacement::create(const std::string& path, std::string* reason) {
  struct stat status {};
  // Renaming would put a file in the place of a device or a pipe.
  if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    *reason = S_ISDIR(status.st_mode) ? "it is a directory" : "it is not a regular file";
    return nullptr;
  }
  std::string partName;
  const int part = createBeside(path, &partName);
  if (part < 0) {
    *reason = errno == ENOENT ? "its folder does not exist" : systemReason();
    return nullptr;
  }
  return std::unique_ptr<FileReplacement>(new FileReplacement(path, std::move(partName), part));
}

FileReplacement::~FileReplacement() {
  if (!partName_.empty()) unlink(partName_.c_str());
}

std::string FileReplacement::write(const void* bytes, size_t count) {
  const auto* rest = static_cast<const uint8_t*>(bytes);
  while (count > 0) {
    const ssize_t written = ::write(part_.number(), rest, count);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return systemReason();
    rest += written;
    count -= static_cast<size_t>(written);
  }
  return {};
}

std::string FileReplacement::finish() {
  if (!part_.close() || rename(partName_.c_str(), path_.c_str()) != 0) return systemReason();
  partName_.clear();
  return {};
}

}  // namespace ZELPlatform
