#include "neural/ReferenceNetwork.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>

namespace ZELTest {
namespace {

/// Channels of a picture, one after the other.
struct Features {
  size_t width;
  size_t height;
  size_t channels;
  std::vector<double> values;

  double at(size_t channel, ptrdiff_t x, ptrdiff_t y) const {
    const auto column = static_cast<size_t>(std::clamp<ptrdiff_t>(x, 0, static_cast<ptrdiff_t>(width) - 1));
    const auto row = static_cast<size_t>(std::clamp<ptrdiff_t>(y, 0, static_cast<ptrdiff_t>(height) - 1));
    return values[(channel * height + row) * width + column];
  }
};

Features convolved(const Features& in, const ZELNeural::Layer& layer) {
  Features out{in.width, in.height, layer.outputs, {}};
  const auto reach = static_cast<ptrdiff_t>(layer.kernel / 2);
  for (size_t o = 0; o < layer.outputs; ++o) {
    for (size_t y = 0; y < in.height; ++y) {
      for (size_t x = 0; x < in.width; ++x) {
        double sum = layer.biases[o];
        for (size_t i = 0; i < layer.inputs; ++i) {
          for (size_t r = 0; r < layer.kernel; ++r) {
            for (size_t c = 0; c < layer.kernel; ++c) {
              sum += layer.weight(o, i, r, c) *
                     in.at(i, static_cast<ptrdiff_t>(x + c) - reach, static_cast<ptrdiff_t>(y + r) - reach);
            }
          }
        }
        out.values.push_back(sum < 0 && !layer.slopes.empty() ? sum * layer.slopes[o] : sum);
      }
    }
  }
  return out;
}

}  // namespace

Plane readPlane(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string kind;
  int most = 0;
  Plane plane;
  file >> kind >> plane.width >> plane.height >> most;
  file.get();
  if (!file || kind != "P5" || most != 255) return {};
  plane.bytes.resize(plane.width * plane.height);
  file.read(reinterpret_cast<char*>(plane.bytes.data()), static_cast<std::streamsize>(plane.bytes.size()));
  return file ? plane : Plane{};
}

Plane doubled(const ZELNeural::ModelData& model, const Plane& luma) {
  Features input{luma.width, luma.height, 1, {}};
  for (const uint8_t byte : luma.bytes) input.values.push_back(byte / 255.0);
  const ZELNeural::Layer base{
      1, ZELNeural::kPhases, ZELNeural::kBaseKernel, model.base, std::vector<float>(ZELNeural::kPhases), {}};
  const Features linear = convolved(input, base);
  Features features = input;
  for (const ZELNeural::Layer& layer : model.layers) features = convolved(features, layer);

  Plane result{luma.width * 2, luma.height * 2, {}};
  for (size_t y = 0; y < result.height; ++y) {
    for (size_t x = 0; x < result.width; ++x) {
      const size_t phase = y % 2 * 2 + x % 2;
      const auto column = static_cast<ptrdiff_t>(x / 2);
      const auto row = static_cast<ptrdiff_t>(y / 2);
      const double value = std::clamp(linear.at(phase, column, row) + features.at(phase, column, row), 0.0, 1.0);
      result.bytes.push_back(static_cast<uint8_t>(std::floor(value * 255.0 + 0.5)));
    }
  }
  return result;
}

int largestDifference(const Plane& a, const Plane& b) {
  if (a.width != b.width || a.height != b.height || a.bytes.size() != b.bytes.size()) return 256;
  int largest = 0;
  for (size_t i = 0; i < a.bytes.size(); ++i) largest = std::max(largest, std::abs(a.bytes[i] - b.bytes[i]));
  return largest;
}

}  // namespace ZELTest
