#pragma once

/// How often this thread allocated memory by `new` so far, in a program that has `Allocations.cpp` in it.
long allocationCount();
