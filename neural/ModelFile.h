#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ZELNeural {

/// The shape of every network that the shader functions run.
inline constexpr uint32_t kRescaleFactor = 2;
/// The pixels that an input pixel becomes.
inline constexpr uint32_t kPhases = kRescaleFactor * kRescaleFactor;
inline constexpr uint32_t kChannels = 16;
inline constexpr uint32_t kBaseKernel = 5;
inline constexpr uint32_t kFirstKernel = 5;
inline constexpr uint32_t kKernel = 3;
inline constexpr uint32_t kMostHiddenLayers = 6;

/// A convolution, and what becomes of results below zero.
struct Layer {
  uint32_t inputs = 0;
  uint32_t outputs = 0;
  uint32_t kernel = 0;
  /// By output, input, row and column.
  std::vector<float> weights;
  /// By output.
  std::vector<float> biases;
  /// By output: what results below zero are multiplied with. Empty in the last layer, which keeps them.
  std::vector<float> slopes;

  float weight(size_t output, size_t input, size_t row, size_t column) const {
    return weights[((output * inputs + input) * kernel + row) * kernel + column];
  }
};

/// A network that doubles a picture: a linear filter, and layers whose result is added to it. Luma is 0 to 1, and every
/// fetch stops at the picture's edge.
struct ModelData {
  /// By phase (upper left, upper right, lower left, lower right), row and column.
  std::vector<float> base;
  /// The first one reads luma, the last one gives the phases.
  std::vector<Layer> layers;

  /// For one input pixel.
  size_t multiplyAdds() const;
};

/// The model in the bytes of a file of version 1 (docs/super-resolution.md). None when they are anything else: not
/// whole, damaged, of another version, of a shape that cannot be run, or with a number that is not finite.
std::optional<ModelData> decodeModel(std::span<const uint8_t> bytes);

/// The bytes of a file; none when it cannot be read, is empty, or is longer than any model.
std::optional<std::vector<uint8_t>> readModelFile(const std::string& path);

}  // namespace ZELNeural
