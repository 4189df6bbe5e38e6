#include "apps/zelview/PlainText.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace zelview {
namespace {

/// In bytes.
constexpr size_t kLongestQuote = 40;

/// How many bytes the printable character at the text's beginning has; 0 when there is none.
size_t lengthOfPrintable(std::string_view text) {
  const auto first = static_cast<uint8_t>(text[0]);
  if (first < 0x80) return first >= 0x20 && first != 0x7f ? 1 : 0;
  const auto length = static_cast<size_t>(std::countl_one(first));
  if (length < 2 || length > 4 || length > text.size()) return 0;
  uint32_t character = first & (0x7fU >> length);
  for (size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<uint8_t>(text[i]);
    if ((byte & 0xc0U) != 0x80) return 0;
    character = character << 6 | (byte & 0x3fU);
  }
  // Below 0xa0 lie control characters; below the others, characters that were written with too many bytes.
  constexpr uint32_t kSmallest[] = {0xa0, 0x800, 0x10000};
  const bool isSurrogate = character >= 0xd800 && character < 0xe000;
  return character >= kSmallest[length - 2] && character < 0x110000 && !isSurrogate ? length : 0;
}

}  // namespace

std::string plainText(std::string_view text) {
  text = text.substr(0, kLongestQuote);
  std::string plain;
  while (!text.empty()) {
    const size_t length = lengthOfPrintable(text);
    plain += length > 0 ? text.substr(0, length) : std::string_view("?");
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  return plain;
}

std::string quotedText(std::string_view text) {
  return "\"" + plainText(text) + (text.size() > kLongestQuote ? "…\"" : "\"");
}

}  // namespace zelview
