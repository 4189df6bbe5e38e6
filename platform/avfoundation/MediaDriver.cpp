#include "platform/avfoundation/MediaDriver.h"

#include <utility>

namespace ZELPlatform {
namespace {

std::shared_ptr<MediaDriver> openMediaDriver(std::string* error) {
  std::string reasons;
  for (const MediaDriverDescriptor& descriptor : mediaDrivers()) {
    std::string reason;
    if (auto driver = descriptor.create(&reason)) return driver;
    reasons += (reasons.empty() ? "" : " ") + reason;
  }
  *error = reasons.empty() ? "No media driver is built in." : reasons;
  return nullptr;
}

std::shared_ptr<MediaDriver>& replacement() {
  static auto& driver = *new std::shared_ptr<MediaDriver>;
  return driver;
}

}  // namespace

std::shared_ptr<MediaDriver> activeMediaDriver(std::string* error) {
  if (replacement()) return replacement();
  // Never destroyed: films may be closing while the process ends.
  static auto& active = *new std::shared_ptr<MediaDriver>;
  if (!active) active = openMediaDriver(error);
  return active;
}

void setMediaDriver(std::shared_ptr<MediaDriver> driver) { replacement() = std::move(driver); }

}  // namespace ZELPlatform
