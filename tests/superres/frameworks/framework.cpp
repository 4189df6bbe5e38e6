// A framework of the tests. How it is spoilt is said when it is compiled (tests/superres/CMakeLists.txt).

#include <ZELKit/internal/ZELNetworkFramework.h>
#include <ZELPlatform/Export.h>

#include <cstdlib>

namespace {

class Framework final : public ZELNetworkFramework {
 public:
  bool isInputResolutionSupported(const ZELNetworkRequest& request) override { return request.inputWidth == 11; }
  std::shared_ptr<const NSURL> modelURL(const ZELNetworkRequest&) override { return nullptr; }
  std::shared_ptr<ZELNetworkModelReader> createReader(const std::shared_ptr<const NSURL>&) override { return nullptr; }
  std::shared_ptr<const ZELNetworkModel> createModel(const std::shared_ptr<ZELNetworkModelReader>&) override {
    return nullptr;
  }
  std::shared_ptr<ZELNetwork> createNetwork(const std::shared_ptr<MTLDevice>&, const std::shared_ptr<MTLLibrary>&,
                                            const std::shared_ptr<MTLCommandQueue>&, int64_t, int64_t, int64_t,
                                            const std::shared_ptr<const ZELNetworkModel>&) override {
    return nullptr;
  }
};

}  // namespace

extern "C" {

#if !defined(NO_VERSION)
#if defined(OTHER_VERSION)
ZELPLATFORM_EXPORT extern const uint32_t ZELNetworkInterfaceVersion = kZELNetworkInterfaceVersion + 1;
#else
ZELPLATFORM_EXPORT extern const uint32_t ZELNetworkInterfaceVersion = kZELNetworkInterfaceVersion;
#endif
#endif

#if defined(UNBOUND)
void nobodyHasThisFunction();
#endif

#if !defined(NO_ENTRY)
ZELPLATFORM_EXPORT ZELNetworkFramework* ZELNetworkSharedFramework() {
#if defined(OTHER_VERSION) || defined(NO_VERSION)
  std::abort();
#elif defined(UNBOUND)
  nobodyHasThisFunction();
#elif defined(DECLINING)
  return nullptr;
#endif
  static Framework framework;
  return &framework;
}
#endif
}
