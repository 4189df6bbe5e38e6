#include "platform/metal/LibraryFile.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <string_view>

namespace ZELPlatform {
namespace {

constexpr std::string_view kMagic = "ZELMTLLB";
constexpr uint32_t kVersion = 1;
constexpr size_t kNameBytes = 64;
constexpr size_t kHeaderBytes = 16;
constexpr size_t kEntryBytes = kNameBytes + 12;
constexpr size_t kChecksumBytes = 4;
/// Far above any real library; keeps a wrong path from filling the memory.
constexpr size_t kLargestFile = size_t{64} << 20;

/// CRC-32 as in IEEE 802.3.
uint32_t checksum(std::span<const uint8_t> bytes) {
  static const auto table = [] {
    std::array<uint32_t, 256> made{};
    for (uint32_t i = 0; i < made.size(); ++i) {
      uint32_t value = i;
      for (int bit = 0; bit < 8; ++bit) value = (value & 1U) != 0 ? 0xEDB88320U ^ (value >> 1U) : value >> 1U;
      made[i] = value;
    }
    return made;
  }();
  uint32_t sum = 0xFFFFFFFFU;
  for (const uint8_t byte : bytes) sum = table[(sum ^ byte) & 0xFFU] ^ (sum >> 8U);
  return ~sum;
}

void append(std::vector<uint8_t>* bytes, uint32_t value) {
  for (unsigned shift = 0; shift < 32; shift += 8) bytes->push_back(static_cast<uint8_t>(value >> shift));
}

/// The number at a place that lies inside.
uint32_t numberAt(std::span<const uint8_t> bytes, size_t place) {
  uint32_t value = 0;
  for (unsigned i = 0; i < 4; ++i) value |= static_cast<uint32_t>(bytes[place + i]) << (8 * i);
  return value;
}

std::vector<uint32_t> wordsAt(std::span<const uint8_t> bytes, size_t place, size_t length) {
  std::vector<uint32_t> words(length / 4);
  for (size_t i = 0; i < words.size(); ++i) words[i] = numberAt(bytes, place + i * 4);
  return words;
}

std::string nameAt(std::span<const uint8_t> bytes, size_t place) {
  const auto field = bytes.subspan(place, kNameBytes);
  return {field.begin(), std::find(field.begin(), field.end(), uint8_t{0})};
}

/// Whether an instruction's literal string is "main".
bool namesMain(std::span<const uint32_t> words) { return words.size() >= 2 && words[0] == 0x6E69616D && words[1] == 0; }

std::optional<ShaderStage> stageOfModel(uint32_t executionModel) {
  switch (executionModel) {
    case 0:
      return ShaderStage::Vertex;
    case 4:
      return ShaderStage::Fragment;
    case 5:
      return ShaderStage::Compute;
    default:
      return std::nullopt;
  }
}

/// Takes from an instruction what it says about the module; false when that is not to be had here.
bool noteInstruction(uint32_t opcode, std::span<const uint32_t> operands, ModuleTraits* traits, size_t* entryPoints) {
  constexpr uint32_t kEntryPoint = 15;
  constexpr uint32_t kExecutionMode = 16;
  constexpr uint32_t kLocalSize = 17;
  constexpr uint32_t kDecorate = 71;
  constexpr uint32_t kBinding = 33;
  constexpr uint32_t kDescriptorSet = 34;
  if (opcode == kEntryPoint && operands.size() >= 4) {
    const auto stage = stageOfModel(operands[0]);
    if (!stage || !namesMain(operands.subspan(2))) return false;
    traits->stage = *stage;
    ++*entryPoints;
  } else if (opcode == kExecutionMode && operands.size() == 5 && operands[1] == kLocalSize) {
    traits->groupSize = MTLSizeMake(operands[2], operands[3], operands[4]);
  } else if (opcode == kDecorate && operands.size() == 3 && operands[1] == kBinding) {
    if (operands[2] >= 32) return false;
    traits->bindings |= 1U << operands[2];
  } else if (opcode == kDecorate && operands.size() == 3 && operands[1] == kDescriptorSet) {
    return operands[2] == 0;
  }
  return true;
}

/// The function of an entry, whose code has to begin there.
std::optional<LibraryFunction> functionAt(std::span<const uint8_t> bytes, size_t entry, size_t codeBegin) {
  LibraryFunction function;
  function.name = nameAt(bytes, entry);
  const uint32_t stage = numberAt(bytes, entry + kNameBytes);
  const size_t place = numberAt(bytes, entry + kNameBytes + 4);
  const size_t length = numberAt(bytes, entry + kNameBytes + 8);
  const size_t end = bytes.size() - kChecksumBytes;
  if (function.name.empty() || function.name.size() == kNameBytes || place != codeBegin || length > end - place ||
      length % 4 != 0) {
    return std::nullopt;
  }
  function.code = wordsAt(bytes, place, length);
  const auto traits = describeModule(function.code);
  if (!traits || static_cast<uint32_t>(traits->stage) != stage) return std::nullopt;
  function.traits = *traits;
  return function;
}

}  // namespace

std::optional<ModuleTraits> describeModule(std::span<const uint32_t> code) {
  // The numbers are those of the SPIR-V specification: five header words, then instructions that begin with their
  // length in words and their opcode.
  constexpr uint32_t kSpirvMagic = 0x07230203;
  constexpr size_t kSpirvHeader = 5;
  if (code.size() < kSpirvHeader || code[0] != kSpirvMagic) return std::nullopt;
  ModuleTraits traits;
  size_t entryPoints = 0;
  for (size_t at = kSpirvHeader; at < code.size();) {
    const size_t length = code[at] >> 16U;
    if (length == 0 || length > code.size() - at) return std::nullopt;
    const auto operands = code.subspan(at + 1, length - 1);
    if (!noteInstruction(code[at] & 0xFFFFU, operands, &traits, &entryPoints)) return std::nullopt;
    at += length;
  }
  const auto [width, height, depth] = traits.groupSize;
  const bool hasSize = traits.stage != ShaderStage::Compute || (width > 0 && height > 0 && depth > 0);
  return entryPoints == 1 && hasSize ? std::optional(traits) : std::nullopt;
}

std::vector<uint8_t> encodeLibrary(const std::vector<LibraryFunction>& functions) {
  std::vector<uint8_t> bytes(kMagic.begin(), kMagic.end());
  append(&bytes, kVersion);
  append(&bytes, static_cast<uint32_t>(functions.size()));
  size_t place = kHeaderBytes + functions.size() * kEntryBytes;
  for (const LibraryFunction& function : functions) {
    std::string name = function.name.substr(0, kNameBytes - 1);
    name.resize(kNameBytes, '\0');
    bytes.insert(bytes.end(), name.begin(), name.end());
    append(&bytes, static_cast<uint32_t>(function.traits.stage));
    append(&bytes, static_cast<uint32_t>(place));
    append(&bytes, static_cast<uint32_t>(function.code.size() * 4));
    place += function.code.size() * 4;
  }
  for (const LibraryFunction& function : functions) {
    for (const uint32_t word : function.code) append(&bytes, word);
  }
  append(&bytes, checksum(bytes));
  return bytes;
}

std::optional<std::vector<LibraryFunction>> decodeLibrary(std::span<const uint8_t> bytes, std::string* error) {
  const auto refuse = [error](std::string why) {
    if (error) *error = std::move(why);
    return std::nullopt;
  };
  if (bytes.size() < kHeaderBytes + kChecksumBytes || !std::equal(kMagic.begin(), kMagic.end(), bytes.begin())) {
    return refuse("The library is not one of compiled functions.");
  }
  const uint32_t version = numberAt(bytes, kMagic.size());
  if (version != kVersion) {
    return refuse("The library has version " + std::to_string(version) + ", not " + std::to_string(kVersion) + ".");
  }
  const size_t end = bytes.size() - kChecksumBytes;
  if (checksum(bytes.first(end)) != numberAt(bytes, end)) return refuse("The library is damaged or cut short.");
  const size_t count = numberAt(bytes, kMagic.size() + 4);
  if (count > (end - kHeaderBytes) / kEntryBytes) return refuse("The library has fewer functions than it says.");
  std::vector<LibraryFunction> functions;
  // Code that several functions shared could take far more memory than the file.
  size_t codeBegin = kHeaderBytes + count * kEntryBytes;
  for (size_t i = 0; i < count; ++i) {
    auto function = functionAt(bytes, kHeaderBytes + i * kEntryBytes, codeBegin);
    if (!function) return refuse("The library's function number " + std::to_string(i) + " is not one.");
    codeBegin += function->code.size() * 4;
    functions.push_back(std::move(*function));
  }
  return functions;
}

std::optional<std::vector<LibraryFunction>> readLibrary(const std::string& path, std::string* error) {
  const auto refuse = [error](std::string why) {
    if (error) *error = std::move(why);
    return std::nullopt;
  };
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  const std::streamoff length = file ? static_cast<std::streamoff>(file.tellg()) : -1;
  if (length < 0) return refuse("The library cannot be read: " + path);
  if (static_cast<uint64_t>(length) > kLargestFile) return refuse("The library is too large: " + path);
  std::vector<uint8_t> bytes(static_cast<size_t>(length));
  file.seekg(0);
  file.read(reinterpret_cast<char*>(bytes.data()), length);
  if (!file) return refuse("The library cannot be read: " + path);
  return decodeLibrary(bytes, error);
}

}  // namespace ZELPlatform
