#pragma once

/// The library's version, for programs that load it at run time. Plain C.

#include <ZELKit/ZELExport.h>

ZELKIT_EXTERN_C_BEGIN

/// 1.0.
ZELKIT_EXPORT extern const double ZELKitVersionNumber;

/// A line that tools which search binaries for "@(#)" find, with a newline at its end.
ZELKIT_EXPORT extern const unsigned char ZELKitVersionString[];

ZELKIT_EXTERN_C_END
