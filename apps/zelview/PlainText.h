#pragma once

#include <string>
#include <string_view>

namespace zelview {

/// Text out of a file as a message may repeat it: not too long, and everything in it that is no printable character of
/// UTF-8 has become a question mark, so that there is nothing that a terminal would obey.
std::string plainText(std::string_view text);

/// The same in quotation marks, with an ellipsis where something was left out.
std::string quotedText(std::string_view text);

}  // namespace zelview
