#pragma once

#include "platform/quartzcore/Compositor.h"

#include <ZELPlatform/CoreVideo.h>
#include <ZELPlatform/EAGL.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ZELPlatform {

/// What stands behind the EAGL, texture cache and window composition services. Any thread.
class GLDriver {
 public:
  virtual ~GLDriver() = default;
  virtual std::shared_ptr<EAGLContext> createContext(const std::shared_ptr<EAGLSharegroup>& sharegroup) = 0;
  virtual bool setCurrentContext(const std::shared_ptr<EAGLContext>& context) = 0;
  virtual std::shared_ptr<CVOpenGLESTextureCache> createTextureCache(const std::shared_ptr<EAGLContext>& context) = 0;
  virtual std::string rendererDescription() = 0;
  virtual int32_t maximumTextureSize() = 0;

  /// Null, with one sentence in `error`, when the window cannot be drawn on. `refreshRate` in hertz.
  virtual std::shared_ptr<Compositor> createCompositor(const NativeSurface& surface, double refreshRate,
                                                       std::string* error) = 0;
};

/// One entry of the list of GL drivers.
struct GLDriverDescriptor {
  const char* name;
  /// Null, with one sentence in `error`, when it cannot work here.
  std::unique_ptr<GLDriver> (*create)(const NativeDisplay& display, std::string* error);
};

/// The driver in use, opened on first use on the active display driver's connection and kept for the process. Null,
/// with one sentence in `error` if given, when there is none; then the next call tries again.
GLDriver* activeGLDriver(std::string* error = nullptr);

/// The GL drivers that were built in, in the order in which they are tried.
const std::vector<GLDriverDescriptor>& glDrivers();

}  // namespace ZELPlatform
