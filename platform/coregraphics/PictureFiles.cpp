#include "platform/coregraphics/FilePieces.h"
#include "platform/coregraphics/PictureCodec.h"
#include "platform/coregraphics/PictureEnd.h"

#include <sys/stat.h>

#include <memory>
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

std::string writePNG(const CGImage& image, const std::string& path) {
  std::string reason;
  const std::unique_ptr<FileReplacement> file = FileReplacement::create(path, &reason);
  if (!file) return reason;
  std::string writeReason;
  reason = encodePNG(image, [&](const uint8_t* bytes, size_t count) {
    writeReason = file->write(bytes, count);
    return writeReason.empty();
  });
  if (!writeReason.empty()) return writeReason;
  return reason.empty() ? file->finish() : reason;
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
