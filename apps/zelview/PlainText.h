#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zelview {

/// How much of a word out of a file is repeated in a message, in bytes.
inline constexpr size_t kLongestQuote = 40;

/// Text out of a file as a message may repeat it: its first `longest` bytes, in which everything that is no printable
/// character of UTF-8 has become a question mark, so that there is nothing that a terminal would obey.
std::string plainText(std::string_view text, size_t longest = kLongestQuote);

/// The same in quotation marks, with an ellipsis where something was left out.
std::string quotedText(std::string_view text);

}  // namespace zelview
