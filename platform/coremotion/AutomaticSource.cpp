#include "platform/coremotion/AutomaticSource.h"

#include <ZELPlatform/UIApplication.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace ZELPlatform {

namespace {

/// How often sensors are looked for that were not there, in seconds.
constexpr double kLookInterval = 1.0;

/// How long a difference takes to fade, in seconds.
constexpr double kFadeSeconds = 0.5;

}  // namespace

AutomaticSource::AutomaticSource(std::vector<std::unique_ptr<MotionDriver>> drivers)
    : drivers_(std::move(drivers)), sensors_(drivers_.size()) {}

std::string AutomaticSource::description() const {
  return chosen_ ? chosen_->description() : "a device that stands still";
}

void AutomaticSource::setActive(bool active) {
  active_ = active;
  nextLook_ = -std::numeric_limits<double>::infinity();
  if (!active) {
    chosen_ = nullptr;
    takesOver_ = true;
    for (std::unique_ptr<MotionSensor>& sensor : sensors_) sensor.reset();
  }
}

std::optional<CMDeviceMotion> AutomaticSource::sampleAtTime(double hostTime) {
  if (!active_ || !std::isfinite(hostTime)) {
    return std::nullopt;
  }
  // Sensors are asked once for all that ask in the same refresh.
  if (!told_ || takesOver_ || hostTime > toldTime_) {
    const CMQuaternion picture = pictureAtTime(hostTime);
    if (std::exchange(takesOver_, false)) takeOver(picture, hostTime);
    told_ = normalized(fade(hostTime) * turn_ * picture);
    toldTime_ = hostTime;
  }
  const UIInterfaceOrientation orientation = UIApplication::sharedApplication().statusBarOrientation();
  return CMDeviceMotion{deviceFromPicture(*told_, orientation), toldTime_};
}

void AutomaticSource::lookForSensors(double hostTime) {
  if (hostTime < nextLook_) {
    return;
  }
  nextLook_ = hostTime + kLookInterval;
  for (size_t i = 0; i < drivers_.size(); ++i) {
    if (sensors_[i] && sensors_[i].get() == chosen_) return;
    if (!sensors_[i]) sensors_[i] = drivers_[i]->open();
  }
}

CMQuaternion AutomaticSource::pictureAtTime(double hostTime) {
  for (std::unique_ptr<MotionSensor>& sensor : sensors_) {
    if (sensor && !sensor->isConnected()) {
      // Whatever is there instead is looked for at once.
      if (sensor.get() == chosen_) {
        chosen_ = nullptr;
        takesOver_ = true;
        nextLook_ = hostTime;
      }
      sensor.reset();
    }
  }
  lookForSensors(hostTime);

  const MotionSensor* best = nullptr;
  std::optional<CMQuaternion> attitude;
  for (std::unique_ptr<MotionSensor>& sensor : sensors_) {
    if (best) {
      // Nobody needs those after it any more.
      sensor.reset();
    } else if (sensor && (attitude = sensor->attitudeAtTime(hostTime))) {
      attitude = normalized(*attitude);
      if (attitude) best = sensor.get();
    }
  }
  if (std::exchange(chosen_, best) != best) takesOver_ = true;
  if (!best) {
    return kUprightScreen;
  }
  return best->frame() == MotionFrame::Picture
             ? *attitude
             : pictureFromDevice(*attitude, UIApplication::sharedApplication().displayOrientation());
}

void AutomaticSource::takeOver(CMQuaternion picture, double hostTime) {
  const double before = told_ ? heading(*told_) : 0.0;
  turn_ = rotationAboutZ(before - heading(picture));
  difference_ = told_ ? vectorOfRotation(*told_ * conjugate(turn_ * picture)) : MotionVector{};
  takeOverTime_ = hostTime;
}

CMQuaternion AutomaticSource::fade(double hostTime) const {
  const double t = std::clamp((hostTime - takeOverTime_) / kFadeSeconds, 0.0, 1.0);
  // Begins and ends without a kink.
  return rotationByVector(difference_ * (1 - t * t * (3 - 2 * t)));
}

}  // namespace ZELPlatform

std::shared_ptr<CMMotionSource> CMMotionSource::automatic() {
  std::vector<std::unique_ptr<ZELPlatform::MotionDriver>> drivers;
  for (const ZELPlatform::MotionDriverDescriptor& descriptor : ZELPlatform::motionDrivers()) {
    drivers.push_back(descriptor.create());
  }
  return std::make_shared<ZELPlatform::AutomaticSource>(std::move(drivers));
}
