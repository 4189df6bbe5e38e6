#include <ZELKit/ZELTextureFormat.h>

const char* ZELMetalTextureFormatName(ZELTextureFormat format) {
  switch (format) {
    case ZELTextureFormatRGB:
      return "rgb";
    case ZELTextureFormatYUV:
      return "yuv";
    default:
      return "unknown";
  }
}
