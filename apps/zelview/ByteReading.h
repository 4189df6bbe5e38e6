#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "apps/zelview/SphericalMetadata.h"

namespace zelview {

/// A part of a source.
struct ByteRange {
  uint64_t begin = 0;
  uint64_t end = 0;
  uint64_t size() const { return end - begin; }
};

/// A number of up to eight bytes, the most significant first; none when it does not lie within the range.
inline std::optional<uint64_t> readBigEndian(ByteSource& bytes, ByteRange range, uint64_t offset, size_t count) {
  std::array<uint8_t, 8> buffer{};
  if (count > buffer.size() || offset > range.size() || range.size() - offset < count) return std::nullopt;
  if (!bytes.read(range.begin + offset, buffer.data(), count)) return std::nullopt;
  uint64_t value = 0;
  for (size_t i = 0; i < count; ++i) value = value << 8 | buffer[i];
  return value;
}

/// The range's bytes as text, at most `limit` of them; empty when they cannot be read.
inline std::string readText(ByteSource& bytes, ByteRange range, size_t limit) {
  std::string text(std::min<uint64_t>(range.size(), limit), '\0');
  if (!bytes.read(range.begin, text.data(), text.size())) text.clear();
  return text;
}

}  // namespace zelview
