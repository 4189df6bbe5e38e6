// What the shared object exports: see ZELNetworkFramework.

#include <ZELPlatform/Export.h>

#include "neural/Framework.h"

extern "C" {

ZELPLATFORM_EXPORT extern const uint32_t ZELNetworkInterfaceVersion = kZELNetworkInterfaceVersion;

ZELPLATFORM_EXPORT ZELNetworkFramework* ZELNetworkSharedFramework() {
  static ZELNeural::Framework framework;
  return &framework;
}
}
