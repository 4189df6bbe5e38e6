#pragma once

#include "platform/coremotion/Attitude.h"

#include <array>
#include <memory>
#include <optional>
#include <string>

namespace ZELPlatform {

/// Three axes of one of the kernel's industrial I/O devices, read through sysfs. Opening looks at the files that
/// describe the device; only reading talks to it. One thread at a time.
class IIOAxes {
 public:
  /// The axes of this kind, "accel" or "anglvel", in a device's folder; none when it does not have all three.
  static std::optional<IIOAxes> open(const std::string& folder, const std::string& kind);

  /// In SI units, in the axes of the device that shows the picture; none when it cannot be read.
  std::optional<MotionVector> read() const;

 private:
  struct Axis {
    std::string path;
    double scale = 1.0;
    double offset = 0.0;
  };

  std::array<Axis, 3> axes_;
  /// Row by row.
  std::array<double, 9> mounting_{1, 0, 0, 0, 1, 0, 0, 0, 1};
};

/// What one reading of a machine's own sensors brings.
struct IIOReading {
  /// The attitude as the kernel computes it.
  std::optional<CMQuaternion> attitude;
  /// Else what it is to be computed from.
  MotionVector rate;
  MotionVector acceleration;
};

/// The devices that together tell how the machine is turned. One thread at a time.
class IIODevices {
 public:
  /// The first that there are under this folder, of which sysfs's is "/sys/bus/iio/devices": one that tells a rotation,
  /// else a gyroscope and an accelerometer, of one device if possible. Null when there are none.
  static std::unique_ptr<IIODevices> find(const std::string& root);

  /// Asks the devices, which takes as long as they take; none when they do not answer.
  std::optional<IIOReading> read() const;

  const std::string& name() const { return name_; }

 private:
  std::string name_;
  /// The file of the rotation; empty when it is computed from the axes.
  std::string rotation_;
  std::optional<IIOAxes> rate_;
  std::optional<IIOAxes> acceleration_;
};

}  // namespace ZELPlatform
