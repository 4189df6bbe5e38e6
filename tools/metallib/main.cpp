// Usage: metallib OUTPUT MODULE...
//
// Puts SPIR-V modules into one library file. A function's name is its module's file name up to the first dot.

#include "platform/metal/LibraryFile.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using ZELPlatform::LibraryFunction;

LibraryFunction readModule(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  LibraryFunction function;
  const std::string fileName = path.filename().string();
  function.name = fileName.substr(0, fileName.find('.'));
  for (size_t i = 0; i + 3 < bytes.size(); i += 4) {
    uint32_t word = 0;
    for (unsigned byte = 0; byte < 4; ++byte) word |= uint32_t{static_cast<uint8_t>(bytes[i + byte])} << (8 * byte);
    function.code.push_back(word);
  }
  const auto traits = ZELPlatform::describeModule(function.code);
  if (!traits) throw std::runtime_error("this is no SPIR-V module with a function \"main\": " + path.string());
  function.traits = *traits;
  return function;
}

void writeLibrary(const char* output, const std::vector<std::string>& modules) {
  std::vector<LibraryFunction> functions;
  functions.reserve(modules.size());
  for (const std::string& module : modules) functions.push_back(readModule(module));
  const std::vector<uint8_t> bytes = ZELPlatform::encodeLibrary(functions);
  std::string why;
  if (!ZELPlatform::decodeLibrary(bytes, &why)) throw std::runtime_error(why);
  std::ofstream file(output, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) throw std::runtime_error(std::string("cannot write ") + output);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fputs("metallib: usage: metallib OUTPUT MODULE...\n", stderr);
    return 2;
  }
  try {
    writeLibrary(argv[1], std::vector<std::string>(argv + 2, argv + argc));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "metallib: %s\n", failure.what());
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
