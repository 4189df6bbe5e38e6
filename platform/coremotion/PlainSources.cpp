#include "platform/coremotion/Attitude.h"

#include <ZELPlatform/CMMotionManager.h>

namespace {

class StillSource final : public CMMotionSource {
 public:
  std::string description() const override { return "a device that stands still"; }
  void setActive(bool /*active*/) override {}

  std::optional<CMDeviceMotion> sampleAtTime(double hostTime) override {
    const UIInterfaceOrientation orientation = UIApplication::sharedApplication().statusBarOrientation();
    return CMDeviceMotion{ZELPlatform::deviceFromPicture(ZELPlatform::kUprightScreen, orientation), hostTime};
  }
};

class NoSource final : public CMMotionSource {
 public:
  std::string description() const override { return "no motion sensor"; }
  void setActive(bool /*active*/) override {}
  std::optional<CMDeviceMotion> sampleAtTime(double /*hostTime*/) override { return std::nullopt; }
};

}  // namespace

std::shared_ptr<CMMotionSource> CMMotionSource::still() { return std::make_shared<StillSource>(); }

std::shared_ptr<CMMotionSource> CMMotionSource::none() { return std::make_shared<NoSource>(); }
