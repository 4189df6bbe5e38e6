#include "neural/ModelFile.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <fstream>
#include <string_view>

namespace ZELNeural {
namespace {

constexpr std::string_view kMagic = "ZELLUMA\x1a";
constexpr uint32_t kVersion = 1;
constexpr size_t kLongestFile = 1U << 20U;

uint32_t crc32(std::span<const uint8_t> bytes) {
  uint32_t crc = ~0U;
  for (const uint8_t byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1U) ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
  }
  return ~crc;
}

/// Takes numbers off the front of bytes. Past the end it gives zeros and is no longer whole.
class Scanner {
 public:
  explicit Scanner(std::span<const uint8_t> bytes) : rest_(bytes) {}

  uint32_t number() {
    const std::span<const uint8_t> bytes = take(4);
    if (bytes.empty()) return 0;
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8U |
           static_cast<uint32_t>(bytes[2]) << 16U | static_cast<uint32_t>(bytes[3]) << 24U;
  }

  /// Finite ones; others are as bad as missing ones.
  std::vector<float> floats(size_t count) {
    if (count > rest_.size() / 4) {
      whole_ = false;
      return {};
    }
    std::vector<float> values(count);
    for (float& value : values) value = std::bit_cast<float>(number());
    whole_ = whole_ && std::all_of(values.begin(), values.end(), [](float value) { return std::isfinite(value); });
    return values;
  }

  std::span<const uint8_t> take(size_t count) {
    if (count > rest_.size()) {
      whole_ = false;
      return {};
    }
    const std::span<const uint8_t> taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
  }

  std::span<const uint8_t> rest() const { return rest_; }
  bool isWhole() const { return whole_; }

 private:
  std::span<const uint8_t> rest_;
  bool whole_ = true;
};

/// What layer `index` of `count` has to be.
bool hasShapeOf(const Layer& layer, bool bent, uint32_t index, uint32_t count) {
  const bool first = index == 0;
  const bool last = index + 1 == count;
  return layer.inputs == (first ? 1 : kChannels) && layer.outputs == (last ? kPhases : kChannels) &&
         layer.kernel == (first ? kFirstKernel : kKernel) && bent == !last;
}

/// Reads the shapes of all layers and then their numbers. None when a shape cannot be run: no size that the file merely
/// claims is ever allocated.
std::optional<ModelData> decodeBody(Scanner scanner) {
  if (scanner.number() != kRescaleFactor || scanner.number() != kBaseKernel) return std::nullopt;
  const uint32_t count = scanner.number();
  if (count < 2 || count > kMostHiddenLayers + 2) return std::nullopt;
  ModelData model;
  for (uint32_t index = 0; index < count; ++index) {
    Layer& layer = model.layers.emplace_back();
    layer.inputs = scanner.number();
    layer.outputs = scanner.number();
    layer.kernel = scanner.number();
    const uint32_t bent = scanner.number();
    if (bent > 1 || !hasShapeOf(layer, bent == 1, index, count)) return std::nullopt;
  }
  model.base = scanner.floats(size_t{kPhases} * kBaseKernel * kBaseKernel);
  for (Layer& layer : model.layers) {
    layer.weights = scanner.floats(size_t{layer.inputs} * layer.outputs * layer.kernel * layer.kernel);
    layer.biases = scanner.floats(layer.outputs);
    if (&layer != &model.layers.back()) layer.slopes = scanner.floats(layer.outputs);
  }
  if (!scanner.isWhole() || !scanner.rest().empty()) return std::nullopt;
  return model;
}

}  // namespace

size_t ModelData::multiplyAdds() const {
  size_t count = base.size();
  for (const Layer& layer : layers) count += layer.weights.size();
  return count;
}

std::optional<ModelData> decodeModel(std::span<const uint8_t> bytes) {
  Scanner scanner(bytes);
  const std::span<const uint8_t> magic = scanner.take(kMagic.size());
  if (!std::equal(magic.begin(), magic.end(), kMagic.begin(), kMagic.end(),
                  [](uint8_t byte, char letter) { return byte == static_cast<uint8_t>(letter); })) {
    return std::nullopt;
  }
  const uint32_t version = scanner.number();
  const uint32_t size = scanner.number();
  const uint32_t checksum = scanner.number();
  if (version != kVersion || size != bytes.size() || checksum != crc32(scanner.rest())) return std::nullopt;
  return decodeBody(scanner);
}

std::optional<std::vector<uint8_t>> readModelFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<uint8_t> bytes(kLongestFile + 1);
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  const auto count = static_cast<size_t>(file.gcount());
  if (count == 0 || count > kLongestFile) return std::nullopt;
  bytes.resize(count);
  return bytes;
}

}  // namespace ZELNeural
