#include "tests/fuzz/VideoMetadata.h"

#include <cmath>
#include <cstring>

#include "apps/zelview/VideoProjection.h"
#include "tests/fuzz/Promises.h"

namespace zelfuzz {
namespace {

using zelview::SphericalMetadata;

/// A file with the gap before the data, or without it; counts what is read.
class CountingBytes final : public zelview::ByteSource {
 public:
  CountingBytes(const uint8_t* gapHeader, const uint8_t* data, size_t size)
      : gapHeader_(gapHeader), data_(data), size_(size) {}

  uint64_t size() const override { return begin() + size_; }

  bool read(uint64_t offset, void* bytes, size_t count) override {
    ++reads_;
    bytesRead_ += count;
    if (offset > size() || size() - offset < count) return false;
    if (offset >= begin()) {
      std::memcpy(bytes, data_ + (offset - begin()), count);
      return true;
    }
    require(offset + count <= kGapHeader, "content that is passed over is not read");
    std::memcpy(bytes, gapHeader_ + offset, count);
    return true;
  }

  size_t reads() const { return reads_; }
  size_t bytesRead() const { return bytesRead_; }

 private:
  uint64_t begin() const { return gapHeader_ != nullptr ? kGapHeader + kGap : 0; }

  const uint8_t* gapHeader_;
  const uint8_t* data_;
  size_t size_;
  size_t reads_ = 0;
  size_t bytesRead_ = 0;
};

void checkMetadata(const SphericalMetadata& metadata) {
  require(!metadata.origin.empty(), "metadata say where they were found");
  require(isPlainLine(metadata.name) && metadata.name.size() <= 40, "a projection's name is short and plain");
  for (const double angle : {metadata.yaw, metadata.pitch, metadata.roll}) {
    require(std::isfinite(angle), "an angle is a number");
  }
}

void checkChoice(const std::optional<SphericalMetadata>& metadata) {
  const zelview::VideoProjectionChoice choice = zelview::chooseVideoProjection(metadata, 3840, 1920);
  require(isPlainLine(choice.reason), "a reason is one line that a terminal may be shown");
  for (const std::string& warning : choice.warnings) requireSentence(warning);
}

}  // namespace

void checkMetadataReader(MetadataReader read, const uint8_t* gapHeader, const uint8_t* data, size_t size) {
  CountingBytes alone(nullptr, data, size);
  const std::optional<SphericalMetadata> found = read(alone);
  // A few thousand boxes at the most, of each of which a few numbers are read.
  constexpr size_t kMostReads = 40'000;
  require(alone.reads() <= kMostReads, "the number of reads is bounded");
  require(alone.bytesRead() <= 8 * kMostReads + 2 * size, "no more is read than headers");
  if (found) checkMetadata(*found);
  checkChoice(found);

  // The gap counts as a box more, of which there may be a few thousand.
  constexpr size_t kFarFromTheBound = 4000;
  if (alone.reads() > kFarFromTheBound) return;
  CountingBytes behind(gapHeader, data, size);
  require(read(behind) == found, "the same headers say the same behind a long gap");
}

}  // namespace zelfuzz
