#include <ZELPlatform/UIDevice.h>

const UIDevice& UIDevice::currentDevice() {
  static const UIDevice device;
  return device;
}

std::string UIDevice::systemVersion() const { return "10.0"; }
