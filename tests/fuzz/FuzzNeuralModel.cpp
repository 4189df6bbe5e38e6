// Models of networks. Inputs get a right length and checksum, so that what is behind them is met.

#include "neural/ModelFile.h"
#include "tests/fuzz/Promises.h"

#include <bit>
#include <cmath>

namespace {

using zelfuzz::require;
using ZELNeural::Layer;
using ZELNeural::ModelData;
using Bytes = std::vector<uint8_t>;

constexpr std::string_view kMagic = "ZELLUMA\x1a";
constexpr size_t kSizeAt = 12;
constexpr size_t kChecksumAt = 16;
constexpr size_t kBodyAt = 20;

void append(Bytes& bytes, uint32_t number) {
  bytes.resize(bytes.size() + 4);
  zelfuzz::putNumber(&bytes[bytes.size() - 4], number);
}

void append(Bytes& bytes, const std::vector<float>& numbers) {
  for (const float number : numbers) {
    require(std::isfinite(number), "a model is made of numbers");
    append(bytes, std::bit_cast<uint32_t>(number));
  }
}

void seal(uint8_t* bytes, size_t size) {
  zelfuzz::putNumber(bytes + kSizeAt, static_cast<uint32_t>(size));
  zelfuzz::putNumber(bytes + kChecksumAt, zelfuzz::checksumOf({bytes + kBodyAt, size - kBodyAt}));
}

/// The file of which the model was read; there is just one for each model.
Bytes written(const ModelData& model) {
  Bytes bytes(kMagic.begin(), kMagic.end());
  for (const uint32_t number : {1U, 0U, 0U, ZELNeural::kRescaleFactor, ZELNeural::kBaseKernel}) append(bytes, number);
  append(bytes, static_cast<uint32_t>(model.layers.size()));
  for (const Layer& layer : model.layers) {
    for (const uint32_t number : {layer.inputs, layer.outputs, layer.kernel}) append(bytes, number);
    append(bytes, layer.slopes.empty() ? 0U : 1U);
  }
  append(bytes, model.base);
  for (const Layer& layer : model.layers) {
    append(bytes, layer.weights);
    append(bytes, layer.biases);
    append(bytes, layer.slopes);
  }
  seal(bytes.data(), bytes.size());
  return bytes;
}

}  // namespace

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maximum);

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maximum, unsigned seed) {
  // Most of a model is numbers of which each is as good as another: most changes go to what stands before them.
  // Three numbers, and four for each of three layers.
  constexpr size_t kHead = kBodyAt + 60;
  if (seed % 4 != 0 && size > kHead) {
    // Within its length, so that the rest stays where it is.
    LLVMFuzzerMutate(data, kHead, kHead);
  } else {
    size = LLVMFuzzerMutate(data, size, maximum);
  }
  if (seed % 16 != 0 && size >= kBodyAt) seal(data, size);
  return size;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::optional<ModelData> model = ZELNeural::decodeModel({data, size});
  if (!model) return 0;
  require(written(*model) == Bytes(data, data + size), "a model holds all that its file says");
  require(model->multiplyAdds() * sizeof(float) <= size, "a model takes no more memory than its file");
  return 0;
}
