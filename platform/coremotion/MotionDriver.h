#pragma once

#include <ZELPlatform/CMMotionManager.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ZELPlatform {

/// What the attitudes of a sensor are those of.
enum class MotionFrame {
  /// Of what is held like the picture, whatever the interface orientation: x right, y up, z to the person.
  Picture,
  /// Of the device whose display shows the picture, held as it was built.
  Device,
};

/// A sensor that is open, and awake until it is destroyed. Main thread.
class MotionSensor {
 public:
  virtual ~MotionSensor() = default;

  /// A phrase that says what it is, for people.
  virtual std::string description() const = 0;
  virtual MotionFrame frame() const = 0;
  /// False for good once the sensor went away or broke.
  virtual bool isConnected() const = 0;
  /// The newest attitude, whose heading begins anywhere; none before the first. Asked once a refresh; never waits
  /// noticeably.
  virtual std::optional<CMQuaternion> attitudeAtTime(double hostTime) = 0;
};

/// A way to sensors of one kind. Main thread; lives for the process.
class MotionDriver {
 public:
  virtual ~MotionDriver() = default;
  /// Opens the best sensor that is there now; null when there is none. Asked again and again, so it looks quickly.
  virtual std::unique_ptr<MotionSensor> open() = 0;
};

/// One entry of the list of motion drivers.
struct MotionDriverDescriptor {
  const char* name;
  std::unique_ptr<MotionDriver> (*create)();
};

/// The drivers that were built in; the sensors of an earlier one are preferred.
const std::vector<MotionDriverDescriptor>& motionDrivers();

}  // namespace ZELPlatform
