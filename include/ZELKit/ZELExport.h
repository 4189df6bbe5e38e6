#pragma once

/// Marks what the ZELKit shared library exports; everything else is built with hidden visibility.
#if defined(__GNUC__)
#define ZELKIT_EXPORT __attribute__((visibility("default")))
#else
#define ZELKIT_EXPORT
#endif

#ifdef __cplusplus
#define ZELKIT_EXTERN_C_BEGIN extern "C" {
#define ZELKIT_EXTERN_C_END }
#else
#define ZELKIT_EXTERN_C_BEGIN
#define ZELKIT_EXTERN_C_END
#endif
