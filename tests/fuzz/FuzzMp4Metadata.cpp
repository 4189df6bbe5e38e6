// The boxes of MP4 files.

#include "tests/fuzz/VideoMetadata.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // A box of the long form: 1, "mdat", and its whole length in eight bytes.
  static constexpr uint64_t kWhole = zelfuzz::kGapHeader + zelfuzz::kGap;
  static constexpr uint8_t kGapBox[zelfuzz::kGapHeader] = {
      0, 0, 0, 1, 'm', 'd', 'a', 't', 0, 0, 0, kWhole >> 32 & 0xff, kWhole >> 24 & 0xff, 0, 0, kWhole & 0xff};
  zelfuzz::checkMetadataReader(zelview::readMp4Metadata, kGapBox, data, size);
  return 0;
}
