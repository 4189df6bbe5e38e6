#include <ZELPlatform/CMMotionManager.h>

std::shared_ptr<CMMotionSource> CMMotionSource::automatic() { return still(); }
