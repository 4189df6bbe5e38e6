#pragma once

#include "platform/coremotion/Attitude.h"
#include "platform/coremotion/MotionDriver.h"

namespace ZELPlatform {

/// Follows the sensors that come and go, without a jump: when another one takes over, the heading goes on from where it
/// was, and the rest of the difference fades within half a second. While there is none, a device that stands still and
/// upright takes over in the same way.
class AutomaticSource final : public CMMotionSource {
 public:
  explicit AutomaticSource(std::vector<std::unique_ptr<MotionDriver>> drivers);

  std::string description() const override;
  void setActive(bool active) override;
  std::optional<CMDeviceMotion> sampleAtTime(double hostTime) override;

 private:
  void lookForSensors(double hostTime);
  /// The attitude of the picture as the best sensor tells it, which it makes `chosen_`.
  CMQuaternion pictureAtTime(double hostTime);
  void takeOver(CMQuaternion picture, double hostTime);
  CMQuaternion fade(double hostTime) const;

  std::vector<std::unique_ptr<MotionDriver>> drivers_;
  /// One of each driver, where it has one.
  std::vector<std::unique_ptr<MotionSensor>> sensors_;
  /// Null for the device that stands still.
  const MotionSensor* chosen_ = nullptr;
  bool active_ = false;
  bool takesOver_ = true;
  double nextLook_ = 0.0;

  /// What was told last, of the picture.
  std::optional<CMQuaternion> told_;
  double toldTime_ = 0.0;
  /// What makes the chosen one's headings go on from those of the one before.
  CMQuaternion turn_{0, 0, 0, 1};
  /// What is left of the difference when it took over, as the vector of a rotation.
  MotionVector difference_{};
  double takeOverTime_ = 0.0;
};

}  // namespace ZELPlatform
