#pragma once

/// Marks what the ZELPlatform shared library exports; everything else is built with hidden visibility.
#if defined(__GNUC__)
#define ZELPLATFORM_EXPORT __attribute__((visibility("default")))
#else
#define ZELPLATFORM_EXPORT
#endif
