#include "apps/zelview/OptionChecks.h"

#include <sstream>
#include <string>

namespace zelview {

CLI::Validator numberBetween(double smallest, double largest) {
  return CLI::Validator(
      [=](const std::string& text) {
        double value = 0.0;
        if (CLI::detail::lexical_cast(text, value) && value >= smallest && value <= largest) return std::string();
        std::ostringstream reason;
        reason << "'" << text << "' is not a number from " << smallest << " to " << largest;
        return reason.str();
      },
      "");
}

}  // namespace zelview
