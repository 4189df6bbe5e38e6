#include "apps/zelview/CameraLog.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <system_error>
#include <utility>

#include "apps/zelview/ViewerError.h"

namespace zelview {
namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& reason) {
  throw ViewerError("The camera log \"" + path + "\" cannot be written: " + reason + ".");
}

std::string systemReason(int error) { return std::generic_category().message(error); }

/// Opens a new file in the folder of the path, whose name comes back in `name`; null, with `errno`, when there can be
/// none.
std::FILE* openBeside(const std::string& path, std::string* name) {
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  for (int attempt = 1;; ++attempt) {
    *name = folder + ".zelview-" + std::to_string(getpid()) + "-" + std::to_string(attempt) + ".part";
    const int descriptor = open(name->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor >= 0) return fdopen(descriptor, "w");
    if (errno != EEXIST) return nullptr;
  }
}

/// The numbers of one line, in a buffer that holds the longest of them.
class Line {
 public:
  template <class Number>
  void add(Number number) {
    if (length_ > 0) text_[length_++] = ' ';
    length_ = static_cast<size_t>(std::to_chars(text_.data() + length_, text_.data() + text_.size(), number).ptr -
                                  text_.data());
  }

  bool writeTo(std::FILE* file) {
    text_[length_++] = '\n';
    return std::fwrite(text_.data(), 1, length_, file) == length_;
  }

 private:
  static constexpr size_t kNumbers = 18;
  static constexpr size_t kLongestNumber = 32;
  std::array<char, kNumbers * kLongestNumber> text_{};
  size_t length_ = 0;
};

}  // namespace

CameraLog::CameraLog(std::string path) : path_(std::move(path)) {
  std::error_code failure;
  const std::filesystem::file_status status = std::filesystem::status(path_, failure);
  if (std::filesystem::is_directory(status)) refuse(path_, "it is a directory");
  // Renaming would put a file in the place of a device or a pipe.
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    refuse(path_, "it is not a regular file");
  }
  file_ = openBeside(path_, &partPath_);
  if (!file_) refuse(path_, errno == ENOENT ? "its folder does not exist" : systemReason(errno));
}

CameraLog::~CameraLog() {
  if (!file_) return;
  std::fclose(file_);
  unlink(partPath_.c_str());
}

void CameraLog::write(double time, const GLKMatrix4& viewMatrix, double zoom) {
  Line line;
  line.add(time);
  for (const float element : viewMatrix.m) line.add(element);
  line.add(zoom);
  if (!line.writeTo(file_)) refuse(path_, systemReason(errno));
}

void CameraLog::finish() {
  const bool closed = std::fclose(std::exchange(file_, nullptr)) == 0;
  if (closed && std::rename(partPath_.c_str(), path_.c_str()) == 0) return;
  const std::string reason = systemReason(errno);
  unlink(partPath_.c_str());
  refuse(path_, reason);
}

}  // namespace zelview
