// For programs with the address sanitizer. GLib makes its table of names (quarks) as it is loaded, and leaves it behind
// when it needs a larger one, since its readers take no lock: here the leak checker is told of that one table.

#include <glib.h>
#include <link.h>
#include <sanitizer/lsan_interface.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

// The compiler's own folder lacks the header that declares these.
extern "C" int __sanitizer_get_ownership(const volatile void* memory);
extern "C" size_t __sanitizer_get_allocated_size(const volatile void* memory);

namespace {

bool isTableOfNames(const void* memory) {
  constexpr size_t kFirst = 1;
  if (!__sanitizer_get_ownership(memory)) return false;
  const auto* names = static_cast<const gchar* const*>(memory);
  return __sanitizer_get_allocated_size(memory) > (kFirst + 1) * sizeof *names &&
         names[kFirst] == g_quark_to_string(kFirst) && names[kFirst + 1] == g_quark_to_string(kFirst + 1);
}

/// For each library that is loaded.
int ignoreItsTable(dl_phdr_info* library, size_t /*size*/, void* /*data*/) {
  if (!std::strstr(library->dlpi_name, "libglib-2.0")) return 0;
  for (int i = 0; i < library->dlpi_phnum; ++i) {
    const ElfW(Phdr)& segment = library->dlpi_phdr[i];
    if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) == 0) continue;
    // Static variables of the library.
    const uintptr_t begin = (library->dlpi_addr + segment.p_vaddr + sizeof(void*) - 1) & ~(sizeof(void*) - 1);
    const uintptr_t end = library->dlpi_addr + segment.p_vaddr + segment.p_memsz;
    for (uintptr_t at = begin; at + sizeof(void*) <= end; at += sizeof(void*)) {
      const void* memory = *reinterpret_cast<void* const*>(at);
      if (isTableOfNames(memory)) __lsan_ignore_object(memory);
    }
  }
  return 1;
}

[[gnu::constructor]] void ignoreTableOfNames() { dl_iterate_phdr(ignoreItsTable, nullptr); }

}  // namespace
