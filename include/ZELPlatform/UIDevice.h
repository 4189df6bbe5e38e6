#pragma once

#include <ZELPlatform/Export.h>

#include <string>

/// The device as the services present it. Any thread.
class ZELPLATFORM_EXPORT UIDevice {
 public:
  static const UIDevice& currentDevice();

  /// The level of the services, "10.0": numbers with points between them, by which the kit decides what it may use. It
  /// is not the operating system's version.
  std::string systemVersion() const;

  UIDevice(const UIDevice&) = delete;
  UIDevice& operator=(const UIDevice&) = delete;

 private:
  UIDevice() = default;
};
