#pragma once

#include <ZELKit/ZELProjectionType.h>
#include <ZELKit/ZELTextureFormat.h>

#include <string>

/// The GLSL ES 1.00 texts: one vertex program, and one fragment program per texture format and projection.

/// The vertex program: places the display rectangle and hands each corner's view ray on.
const char* ZELGLVertexShaderText();

/// The fragment program, or an empty string for a format other than rgb and yuv. An unknown projection type yields a
/// text that does not compile.
std::string ZELGLFragmentShaderText(ZELTextureFormat format, ZELProjectionType projection);
