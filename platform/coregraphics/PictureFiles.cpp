#include "platform/coregraphics/FilePieces.h"
#include "platform/coregraphics/PictureCodec.h"
#include "platform/coregraphics/PictureEnd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <new>
#include <utility>

namespace ZELPlatform {
namespace {

CGImageDecodeResult refused(std::string reason) {
  CGImageDecodeResult result;
  result.error = std::move(reason);
  return result;
}

CGImageDecodeResult decode(const std::string& path, const CGImageDecodeOptions& options) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return refused(systemReason());
  if (S_ISDIR(status.st_mode)) return refused("it is a directory");
  if (!S_ISREG(status.st_mode)) return refused("it is not a regular file");
  if (status.st_size == 0) return refused("it is empty");

  PictureEnd end;
  const std::string reason = readPieces(path, [&](const uint8_t* bytes, size_t count) {
    end.feed(bytes, count);
    return !end.isReachedOrUnknown();
  });
  if (!reason.empty()) return refused(reason);
  if (!end.isReachedOrUnknown()) return refused("it ends before the picture is complete");
  return decodePicture(path, options);
}

bool writeAll(const Descriptor& file, const uint8_t* bytes, size_t count) {
  while (count > 0) {
    const ssize_t written = write(file.number(), bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes += written;
    count -= static_cast<size_t>(written);
  }
  return true;
}

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

std::string writePNG(const CGImage& image, const std::string& path) {
  struct stat status {};
  // Renaming would put a picture in the place of a device or a pipe.
  if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    return S_ISDIR(status.st_mode) ? "it is a directory" : "it is not a regular file";
  }
  std::string partName;
  Descriptor part(createBeside(path, &partName));
  if (!part.isOpen()) return errno == ENOENT ? "its folder does not exist" : systemReason();

  std::string writeReason;
  std::string reason = encodePNG(image, [&](const uint8_t* bytes, size_t count) {
    if (writeAll(part, bytes, count)) return true;
    writeReason = systemReason();
    return false;
  });
  if (!writeReason.empty()) reason = writeReason;
  if (reason.empty() && (!part.close() || rename(partName.c_str(), path.c_str()) != 0)) reason = systemReason();
  if (!reason.empty()) unlink(partName.c_str());
  return reason;
}

std::string sentence(const std::string& path, const char* what, const std::string& reason) {
  return "The picture \"" + path + "\" cannot be " + what + ": " + reason + ".";
}

}  // namespace
}  // namespace ZELPlatform

CGImageDecodeResult CGImageCreateWithContentsOfFile(const std::string& path, const CGImageDecodeOptions& options) {
  CGImageDecodeResult result;
  try {
    result = ZELPlatform::decode(path, options);
  } catch (const std::bad_alloc&) {
    result = ZELPlatform::refused("there is not enough memory for it");
  }
  if (!result.error.empty()) result.error = ZELPlatform::sentence(path, "read", result.error);
  return result;
}

std::string CGImageWritePNG(const CGImage& image, const std::string& path) {
  const std::string reason = ZELPlatform::writePNG(image, path);
  return reason.empty() ? reason : ZELPlatform::sentence(path, "written", reason);
}
