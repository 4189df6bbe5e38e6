#include <ZELPlatform/Foundation.h>

#include <dlfcn.h>
#include <link.h>

#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace {

/// The file that was loaded at the address; empty when there is none.
fs::path binaryAt(const void* address) {
  Dl_info info{};
  link_map* map = nullptr;
  if (dladdr1(address, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0) return {};
  // The program itself has no name there, and its other name is whatever it was called by.
  const bool isProgram = !map || !map->l_name || *map->l_name == '\0';
  std::error_code ignored;
  return fs::canonical(isProgram ? "/proc/self/exe" : map->l_name, ignored);
}

}  // namespace

std::string NSBundle::pathForResource(const void* address, const std::string& name, const std::string& type) {
  const fs::path binary = binaryAt(address);
  if (binary.empty()) return {};
  const fs::path folder = binary.parent_path();
  const std::string file = type.empty() ? name : name + "." + type;
  for (const fs::path& place : {folder, folder / "zelkit", folder.parent_path() / "share" / "zelkit"}) {
    std::error_code ignored;
    if (fs::is_regular_file(place / file, ignored)) return (place / file).string();
  }
  return {};
}

void* NSBundle::weakSymbol(const void* address, const std::string& library, const std::string& symbol) {
  const std::string path = pathForResource(address, library, "so");
  if (path.empty()) return nullptr;
  // Bound at once, so that an object that lacks something is refused here and does not end the process later. A further
  // call opens the same object again.
  void* object = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (!object) return nullptr;
  void* found = dlsym(object, symbol.c_str());
  dlclose(object);
  return found;
}
