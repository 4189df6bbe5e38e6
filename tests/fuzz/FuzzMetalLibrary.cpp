// Libraries of compiled functions. Inputs get a right checksum, so that what is behind it is met.

#include "platform/metal/LibraryFile.h"
#include "tests/fuzz/Promises.h"

namespace {

using zelfuzz::require;
using ZELPlatform::LibraryFunction;
using Functions = std::vector<LibraryFunction>;

constexpr size_t kChecksumBytes = 4;

void checkFunction(const LibraryFunction& function) {
  require(!function.name.empty(), "a function has a name");
  const MTLSize group = function.traits.groupSize;
  require(function.traits.stage != ZELPlatform::ShaderStage::Compute ||
              (group.width > 0 && group.height > 0 && group.depth > 0),
          "a compute function has a group size");
}

bool areSame(const Functions& a, const Functions& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const LibraryFunction& x, const LibraryFunction& y) {
    return x.name == y.name && x.code == y.code && x.traits.stage == y.traits.stage &&
           x.traits.groupSize == y.traits.groupSize && x.traits.bindings == y.traits.bindings;
  });
}

}  // namespace

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maximum);

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maximum, unsigned seed) {
  size = LLVMFuzzerMutate(data, size, maximum);
  if (seed % 16 != 0 && size > kChecksumBytes) {
    const size_t end = size - kChecksumBytes;
    zelfuzz::putNumber(data + end, zelfuzz::checksumOf({data, end}));
  }
  return size;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string error;
  const auto functions = ZELPlatform::decodeLibrary({data, size}, &error);
  if (!functions) {
    zelfuzz::requireSentence(error);
    return 0;
  }
  size_t codeBytes = 0;
  for (const LibraryFunction& function : *functions) {
    checkFunction(function);
    codeBytes += function.code.size() * 4;
  }
  require(codeBytes <= size, "a library takes no more memory than its file");
  const auto again = ZELPlatform::decodeLibrary(ZELPlatform::encodeLibrary(*functions), &error);
  require(again && areSame(*again, *functions), "what was read and written reads back as the same");
  return 0;
}
