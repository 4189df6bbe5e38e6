#pragma once

/// How often memory was allocated by `new` in this program so far. Any thread.
long allocationCount();
