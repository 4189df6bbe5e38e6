#include "apps/zelview/MotionInput.h"

#include <ZELPlatform/CMMotionManager.h>

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "apps/zelview/ViewerError.h"

namespace zelview {
namespace {

std::shared_ptr<CMMotionSource> orError(std::shared_ptr<CMMotionSource> source, const std::string& error) {
  if (!source) throw ViewerError(error);
  return source;
}

}  // namespace

MotionInput::MotionInput(const Options& options) {
  std::string error;
  std::shared_ptr<CMMotionSource> source = options.motion.empty()
                                               ? CMMotionManager::source()
                                               : orError(CMMotionSource::replay(options.motion, &error), error);
  if (!options.recordMotion.empty()) {
    source = orError(CMMotionSource::recording(std::move(source), options.recordMotion, &error), error);
  }
  if (options.verbose) std::fprintf(stderr, "device motion: %s\n", source->description().c_str());
  CMMotionManager::setSource(std::move(source));
}

MotionInput::~MotionInput() { CMMotionManager::setSource(nullptr); }

}  // namespace zelview
