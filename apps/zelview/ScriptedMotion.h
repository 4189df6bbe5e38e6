#pragma once

#include <ZELPlatform/CMMotionManager.h>

#include <memory>
#include <optional>
#include <string>

namespace zelview {

/// A device that is turned by a script: still and upright until it is told an attitude, which then holds. Main thread.
class ScriptedMotion final : public CMMotionSource {
 public:
  /// Turns the device at this host time, in seconds.
  void turnTo(CMQuaternion attitude, double hostTime) { newest_ = CMDeviceMotion{attitude, hostTime}; }

  std::string description() const override { return "the script"; }
  void setActive(bool) override {}
  std::optional<CMDeviceMotion> sampleAtTime(double hostTime) override {
    return newest_ ? newest_ : still_->sampleAtTime(hostTime);
  }

 private:
  std::shared_ptr<CMMotionSource> still_ = CMMotionSource::still();
  std::optional<CMDeviceMotion> newest_;
};

}  // namespace zelview
