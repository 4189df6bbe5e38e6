#pragma once

#include <ZELKit/internal/ZELNetworkFramework.h>

#include <string>

/// The framework in a shared object of that name beside the kit's library. Null when it is absent, cannot be loaded,
/// lacks a symbol, or is of another interface version; of such an object no code is called.
ZELNetworkFramework* ZELLoadNetworkFramework(const std::string& library);

/// The framework that the kit uses, looked for once per process; null without one.
ZELNetworkFramework* ZELSharedNetworkFramework();
