#pragma once

#include <ZELPlatform/Export.h>

#include <memory>
#include <string>
#include <utility>

/// Where a file is. Immutable; any thread. An object of its own each time it is made: who tells files apart by the
/// object sees two where one path was named twice.
class ZELPLATFORM_EXPORT NSURL {
 public:
  /// Never null; whether there is such a file is seen when it is read.
  static std::shared_ptr<const NSURL> fileURLWithPath(std::string path);

  const std::string& path() const { return path_; }

 private:
  explicit NSURL(std::string path) : path_(std::move(path)) {}
  std::string path_;
};
