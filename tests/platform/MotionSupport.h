#pragma once

#include "platform/coremotion/Attitude.h"

#include <ZELPlatform/CMMotionManager.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

/// What the tests of device motion share.

/// A stepped clock, the display's own orientation, and no source left behind.
class MotionTest : public testing::Test {
 protected:
  MotionTest() { HostClock::setCurrent(clock); }
  ~MotionTest() override {
    CMMotionManager::setSource(CMMotionSource::none());
    UIApplication::sharedApplication().overrideStatusBarOrientation(UIInterfaceOrientationUnknown);
    HostClock::setCurrent(nullptr);
  }

  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
};

/// A folder that goes with the test.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "zelkit-motion-XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  void write(const std::string& name, const std::string& contents) const {
    std::filesystem::create_directories(std::filesystem::path(*this / name).parent_path());
    std::ofstream(*this / name, std::ios::binary) << contents;
  }

 private:
  std::string path_;
};

/// In degrees.
inline double angleBetween(CMQuaternion a, CMQuaternion b) {
  using ZELPlatform::operator*;
  return ZELPlatform::length(ZELPlatform::vectorOfRotation(a * ZELPlatform::conjugate(b))) * 180 / M_PI;
}

/// The picture's attitude with this heading (to the left), pitch (up) and roll, in degrees.
inline CMQuaternion pictureTurned(double heading, double pitch = 0, double roll = 0) {
  using ZELPlatform::operator*;
  constexpr double kRadians = M_PI / 180;
  return ZELPlatform::rotationAboutZ(heading * kRadians) * ZELPlatform::rotationByVector({pitch * kRadians, 0, 0}) *
         ZELPlatform::kUprightScreen * ZELPlatform::rotationByVector({0, 0, roll * kRadians});
}
