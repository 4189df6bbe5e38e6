#include "superres/ZELNetworkLoading.h"

#include <ZELPlatform/Foundation.h>

namespace {

/// Its address tells where the kit's library is.
const char kHere = 0;

}  // namespace

ZELNetworkFramework* ZELLoadNetworkFramework(const std::string& library) {
  const auto* version =
      static_cast<const uint32_t*>(NSBundle::weakSymbol(&kHere, library, "ZELNetworkInterfaceVersion"));
  if (!version || *version != kZELNetworkInterfaceVersion) return nullptr;
  void* entry = NSBundle::weakSymbol(&kHere, library, "ZELNetworkSharedFramework");
  return entry ? reinterpret_cast<ZELNetworkFramework* (*)()>(entry)() : nullptr;
}

ZELNetworkFramework* ZELSharedNetworkFramework() {
  static ZELNetworkFramework* const framework = ZELLoadNetworkFramework("ZELNeural");
  return framework;
}
