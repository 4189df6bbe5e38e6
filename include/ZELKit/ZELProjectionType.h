#pragma once

/// How a frame is laid out around the viewer. Plain C.

#include <ZELKit/ZELExport.h>

#include <stdint.h>

ZELKIT_EXTERN_C_BEGIN

typedef int64_t ZELProjectionType;

enum {
  ZELProjectionTypeFlat = 0,
  ZELProjectionTypeEquirectangular = 1,
  /// Six faces in three columns and two rows: -X +Z +X above, -Z -Y +Y below.
  ZELProjectionTypeCubemap = 2,
  ZELProjectionTypeSegmentedSphere = 3,
};

/// "flat", "equirectangular", "cubemap", "segmentedsphere", or "unknown" for any other value; a string that lives for
/// the process. Any thread.
ZELKIT_EXPORT const char* ZELProjectionTypeName(ZELProjectionType type);

ZELKIT_EXTERN_C_END
