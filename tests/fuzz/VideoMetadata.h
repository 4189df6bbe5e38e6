#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "apps/zelview/SphericalMetadata.h"

namespace zelfuzz {

using MetadataReader = std::optional<zelview::SphericalMetadata> (*)(zelview::ByteSource&);

/// Reads the bytes and checks what is promised of every reader of a video file's headers: how much it reads, what it
/// may say, and that it says the same wherever the headers lie in the file. `gapHeader` is the beginning, of 16 bytes,
/// of a box or element to be passed over with a content of `kGap` bytes.
void checkMetadataReader(MetadataReader read, const uint8_t* gapHeader, const uint8_t* data, size_t size);

/// Longer than what 32 bits count, as the pictures of a long recording are.
inline constexpr uint64_t kGap = uint64_t{5} << 30;
inline constexpr uint64_t kGapHeader = 16;

}  // namespace zelfuzz
