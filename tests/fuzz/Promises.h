#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>

/// What the fuzz targets have in common. A target hands one input to a reader and holds it to what it promises.
namespace zelfuzz {

/// Ends the program when a promise is broken; the fuzzer keeps the input.
inline void require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "BROKEN PROMISE: %s\n", promise);
  std::abort();
}

inline std::string_view textOf(const uint8_t* data, size_t size) { return {reinterpret_cast<const char*>(data), size}; }

/// What a terminal may be shown: well-formed UTF-8 on one line, without control characters.
inline bool isPlainLine(std::string_view text) {
  while (!text.empty()) {
    const auto byte = [text](size_t i) { return i < text.size() ? static_cast<uint8_t>(text[i]) : 0U; };
    const auto follows = [&](size_t i) { return (byte(i) & 0xc0U) == 0x80; };
    size_t length = 0;
    if (byte(0) >= 0x20 && byte(0) < 0x7f) {
      length = 1;
    } else if (byte(0) >= 0xc2 && byte(0) < 0xe0 && follows(1)) {
      length = byte(0) == 0xc2 && byte(1) < 0xa0 ? 0 : 2;
    } else if (byte(0) >= 0xe0 && byte(0) < 0xf0 && follows(1) && follows(2)) {
      const bool isBad = (byte(0) == 0xe0 && byte(1) < 0xa0) || (byte(0) == 0xed && byte(1) >= 0xa0);
      length = isBad ? 0 : 3;
    } else if (byte(0) >= 0xf0 && byte(0) < 0xf5 && follows(1) && follows(2) && follows(3)) {
      const bool isBad = (byte(0) == 0xf0 && byte(1) < 0x90) || (byte(0) == 0xf4 && byte(1) >= 0x90);
      length = isBad ? 0 : 4;
    }
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

/// A complaint is one sentence of a bounded length, whatever it is about.
inline void requireSentence(std::string_view message) {
  constexpr size_t kLongestMessage = 240;
  require(!message.empty() && message.back() == '.', "a complaint is a sentence");
  require(message.size() <= kLongestMessage, "a complaint is short");
  require(isPlainLine(message), "a complaint is one line that a terminal may be shown");
}

/// CRC-32 as in IEEE 802.3, with which an input's checksum is made to fit.
inline uint32_t checksumOf(std::span<const uint8_t> bytes) {
  uint32_t sum = ~0U;
  for (const uint8_t byte : bytes) {
    sum ^= byte;
    for (int bit = 0; bit < 8; ++bit) sum = (sum >> 1U) ^ (0xEDB88320U & (0U - (sum & 1U)));
  }
  return ~sum;
}

/// Writes a number, lowest byte first.
inline void putNumber(uint8_t* bytes, uint32_t number) {
  for (unsigned i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(number >> (8 * i));
}

}  // namespace zelfuzz
