#include "tests/Allocations.h"

#include <cstdlib>
#include <new>

namespace {
thread_local long allocations = 0;

void* allocate(size_t size) {
  ++allocations;
  return std::malloc(size > 0 ? size : 1);
}
}  // namespace

long allocationCount() { return allocations; }

// In place of the library's own for the whole program.
void* operator new(size_t size) {
  if (void* memory = allocate(size)) return memory;
  throw std::bad_alloc();
}
void* operator new(size_t size, const std::nothrow_t& /*nothrow*/) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t /*size*/) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t& /*nothrow*/) noexcept { std::free(memory); }
