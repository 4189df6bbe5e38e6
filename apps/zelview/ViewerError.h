#pragma once

#include <stdexcept>
#include <string>

namespace zelview {

/// Why the program cannot do what it was asked: one sentence for the person at the terminal.
class ViewerError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace zelview
