#pragma once

#include <ZELPlatform/Export.h>

#include <atomic>
#include <cstdint>

namespace ZELPlatform {

/// Running totals of the work that moves pixels, for tests and benchmarks. Any thread.
struct PixelCounters {
  /// Planes copied into texture storage, and their bytes without padding.
  std::atomic<uint64_t> uploads{0};
  std::atomic<uint64_t> uploadedBytes{0};
  /// Bytes of decoded frames that the processor wrote before any upload; a frame that is borrowed whole costs none.
  std::atomic<uint64_t> rewrittenFrameBytes{0};
  /// Texture storages and drawable images alive now.
  std::atomic<int64_t> textureStorages{0};
  std::atomic<int64_t> drawableImages{0};
  /// Draws that were recorded for the explicit GPU.
  std::atomic<uint64_t> metalDraws{0};
  /// Objects that the Vulkan driver made so far, and those alive now.
  std::atomic<uint64_t> gpuObjectsMade{0};
  std::atomic<int64_t> gpuObjects{0};
};

ZELPLATFORM_EXPORT PixelCounters& pixelCounters();

}  // namespace ZELPlatform
