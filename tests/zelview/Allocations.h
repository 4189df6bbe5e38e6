#pragma once

namespace zelview {

/// How often this thread allocated memory so far.
long allocationCount();

}  // namespace zelview
