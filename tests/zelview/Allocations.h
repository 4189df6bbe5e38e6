#pragma once

namespace zelview {

/// How often memory was allocated in the process so far.
long allocationCount();

}  // namespace zelview
