#pragma once

#include <ZELPlatform/GLKMath.h>

#include <cstdio>
#include <string>

namespace zelview {

/// A file with one line per refresh: seconds, the 16 numbers of the view matrix in column-major order, zoom; separated
/// by blanks, each in the shortest form that reads back as the same number.
///
/// It is written beside its name and renamed by `finish`; without that nothing is left of it.
class CameraLog {
 public:
  /// Throws `ViewerError` when no file can be written there.
  explicit CameraLog(std::string path);
  ~CameraLog();

  /// Throws `ViewerError` when the disk does not take it.
  void write(double time, const GLKMatrix4& viewMatrix, double zoom);

  /// Gives the file its name. Throws `ViewerError` when not all of it could be written.
  void finish();

  CameraLog(const CameraLog&) = delete;
  CameraLog& operator=(const CameraLog&) = delete;

 private:
  std::string path_;
  std::string partPath_;
  std::FILE* file_ = nullptr;
};

}  // namespace zelview
