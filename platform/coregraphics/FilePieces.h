#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
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

}  // namespace ZELPlatform
