#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace ZELPlatform {

/// Reads a file piece by piece until its end, or until `visit` returns false. Returns an empty string, or the reason
/// why it cannot be read. Any thread.
std::string readPieces(const std::string& path, const std::function<bool(const uint8_t* bytes, size_t count)>& visit);

/// The reason that `errno` states: part of a sentence that begins with "it" or "the system".
std::string systemReason();

/// A file descriptor that is closed with its owner.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { close(); }

  int number() const { return number_; }
  bool isOpen() const { return number_ >= 0; }

  /// Returns whether all that was written has arrived.
  bool close();

  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

 private:
  int number_;
};

/// A file that is written beside the one that it takes the place of, so that nobody ever finds half of it. What was not
/// finished is removed. Any thread, one at a time.
class FileReplacement {
 public:
  /// Null, with the reason, when there can be no regular file of this path.
  static std::unique_ptr<FileReplacement> create(const std::string& path, std::string* reason);
  ~FileReplacement();

  /// Returns an empty string, or the reason why not everything was written.
  std::string write(const void* bytes, size_t count);

  /// Puts the file in its place; to be called once. Returns an empty string, or the reason why it cannot be.
  std::string finish();

 private:
  FileReplacement(std::string path, std::string partName, int part)
      : path_(std::move(path)), partName_(std::move(partName)), part_(part) {}

  std::string path_;
  /// Empty when there is nothing to remove.
  std::string partName_;
  Descriptor part_;
};

}  // namespace ZELPlatform
