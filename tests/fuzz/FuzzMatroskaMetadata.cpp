// The elements of Matroska files.

#include "tests/fuzz/VideoMetadata.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Two elements to be passed over: one of six bytes, and one whose length stands in eight bytes.
  static constexpr uint8_t kGapElement[zelfuzz::kGapHeader] = {
      0xEC, 0x85, 0, 0, 0, 0, 0, 0xEC, 0x01, 0, 0, zelfuzz::kGap >> 32 & 0xff, zelfuzz::kGap >> 24 & 0xff, 0, 0, 0};
  zelfuzz::checkMetadataReader(zelview::readMatroskaMetadata, kGapElement, data, size);
  return 0;
}
