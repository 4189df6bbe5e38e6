#pragma once

/// How many planes a frame's texture has and what they hold. Plain C.

#include <ZELKit/ZELExport.h>

#include <stdint.h>

ZELKIT_EXTERN_C_BEGIN

typedef int64_t ZELTextureFormat;

enum {
  /// One colour texture.
  ZELTextureFormatRGB = 0,
  /// A luma texture and an interleaved chroma texture of half its size.
  ZELTextureFormatYUV = 1,
};

/// "rgb", "yuv", or "unknown" for any other value; a string that lives for the process. Any thread.
ZELKIT_EXPORT const char* ZELMetalTextureFormatName(ZELTextureFormat format);

ZELKIT_EXTERN_C_END
