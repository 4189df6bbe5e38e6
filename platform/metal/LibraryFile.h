#pragma once

#include <ZELPlatform/Export.h>
#include <ZELPlatform/MTLTypes.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ZELPlatform {

enum class ShaderStage : uint32_t { Vertex = 0, Fragment = 1, Compute = 2 };

/// What a SPIR-V module says about itself.
struct ModuleTraits {
  ShaderStage stage = ShaderStage::Vertex;
  /// The group size of a compute function.
  MTLSize groupSize;
  /// The bindings of set 0 that the module declares, as bits.
  uint32_t bindings = 0;
};

/// One function of a library: a SPIR-V module whose entry point is "main".
struct LibraryFunction {
  std::string name;
  std::vector<uint32_t> code;
  ModuleTraits traits;
};

/// The bytes of a library file, in which functions are found by their names.
///
/// All numbers are 32-bit, lowest byte first: "ZELMTLLB"; the version; the count of functions; per function its name in
/// 64 bytes, of which at least the last is zero, its stage, and the place and length in bytes of its code; the code,
/// one function's after the other's; and the CRC-32 of everything before.
std::vector<uint8_t> encodeLibrary(const std::vector<LibraryFunction>& functions);

/// The functions of a library file. None, with one sentence in `error`, when the bytes are not a whole, undamaged file
/// of this version, each of whose functions is what it says.
std::optional<std::vector<LibraryFunction>> decodeLibrary(std::span<const uint8_t> bytes, std::string* error);

/// Reads and decodes a file; none also when it cannot be read.
std::optional<std::vector<LibraryFunction>> readLibrary(const std::string& path, std::string* error);

/// None when the words are no module with one entry point, "main", of a known stage whose bindings are those of set 0,
/// below 32, and whose group size, for a compute function, is not zero.
std::optional<ModuleTraits> describeModule(std::span<const uint32_t> code);

}  // namespace ZELPlatform
