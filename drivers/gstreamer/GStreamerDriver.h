#pragma once

#include "platform/avfoundation/MediaDriver.h"

#include <memory>
#include <string>

namespace ZELPlatform {

/// Plays what GStreamer can. Never null: GStreamer itself is started with the first film, not on the main thread.
std::shared_ptr<MediaDriver> createGStreamerDriver(std::string* error);

}  // namespace ZELPlatform
