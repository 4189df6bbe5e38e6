#include "drivers/gstreamer/GStreamerDriver.h"
#include "platform/avfoundation/MediaDriver.h"

namespace ZELPlatform {

const std::vector<MediaDriverDescriptor>& mediaDrivers() {
  static const std::vector<MediaDriverDescriptor> drivers{{"gstreamer", createGStreamerDriver}};
  return drivers;
}

}  // namespace ZELPlatform
