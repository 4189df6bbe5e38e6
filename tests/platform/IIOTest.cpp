#include "drivers/iio/IIODriver.h"
#include "platform/coremotion/AutomaticSource.h"
#include "tests/platform/MotionSupport.h"

#include <gmock/gmock.h>

#include <vector>

namespace {

using namespace ZELPlatform;

/// A made-up tree as sysfs shows it.
class IIO : public MotionTest {
 protected:
  std::unique_ptr<MotionSensor> open() const { return createIIODriver(folder / "devices")->open(); }

  /// Writes the three axes of a device: so many units of the scale each.
  void writeAxes(const std::string& device, const std::string& kind, MotionVector raw) const {
    folder.write(device + "/in_" + kind + "_x_raw", std::to_string(std::lround(raw.x)) + "\n");
    folder.write(device + "/in_" + kind + "_y_raw", std::to_string(std::lround(raw.y)) + "\n");
    folder.write(device + "/in_" + kind + "_z_raw", std::to_string(std::lround(raw.z)) + "\n");
  }

  /// A reading is on its way for a moment.
  static std::optional<CMQuaternion> attitudeOf(MotionSensor& sensor, double hostTime) {
    std::optional<CMQuaternion> attitude;
    for (int i = 0; i < 1000 && !attitude; ++i) attitude = sensor.attitudeAtTime(hostTime);
    return attitude;
  }

  TemporaryFolder folder;
  const std::string gyroscope = "devices/iio:device2";
  const std::string accelerometer = "devices/iio:device10";
};

TEST_F(IIO, TakesTheKernelsRotationFirst) {
  EXPECT_FALSE(open());
  writeAxes(gyroscope, "anglvel", {});
  EXPECT_FALSE(open());
  writeAxes(gyroscope, "accel", {0, 9, 0});
  ASSERT_TRUE(open());
  EXPECT_EQ(open()->frame(), MotionFrame::Device);
  folder.write("devices/iio:device9/name", "dev_rotation\n");
  folder.write("devices/iio:device9/in_rot_quaternion_raw", "500 -500 500 500\n");
  const auto sensor = open();
  EXPECT_EQ(sensor->description(), "the machine's motion sensor \"dev_rotation\"");
  EXPECT_LT(angleBetween(*attitudeOf(*sensor, 0), {0.5, -0.5, 0.5, 0.5}), 1e-9);
}

TEST_F(IIO, JoinsTwoDevicesInTheAxesOfTheDisplay) {
  // An accelerometer in units of a hundredth with an offset, mounted with its x down the screen; one in the keyboard
  // counts for nothing.
  folder.write("devices/iio:device0/label", "accel-base\n");
  writeAxes("devices/iio:device0", "accel", {0, 0, 981});
  folder.write(accelerometer + "/in_accel_scale", "0.01\n");
  folder.write(accelerometer + "/in_accel_x_offset", "-19\n");
  folder.write(accelerometer + "/in_mount_matrix", "0, 1, 0; -1, 0, 0; 0, 0, 1\n");
  writeAxes(accelerometer, "accel", {-981 + 19, 0, 0});
  folder.write(gyroscope + "/name", "turner\n");
  folder.write(gyroscope + "/in_anglvel_scale", "0.001\n");
  writeAxes(gyroscope, "anglvel", {0, 200, 0});

  const auto sensor = open();
  ASSERT_TRUE(sensor);
  EXPECT_LT(angleBetween(*attitudeOf(*sensor, 100), pictureTurned(0)), 1e-6);
  // It turns to the left at 0.2 rad/s.
  double t = 100;
  while (t < 101) sensor->attitudeAtTime(t += 0.01);
  EXPECT_LT(angleBetween(*sensor->attitudeAtTime(t + 1e-3), pictureTurned(0.2 * 180 / M_PI)), 0.5);
}

TEST_F(IIO, IsGoneWhenItsFilesAreOrSayNothing) {
  for (const char* contents : {"", "12 b\n", "nan nan nan nan\n", "1 2 3\n", "1 2 3 4 5\n"}) {
    SCOPED_TRACE(contents);
    folder.write(gyroscope + "/in_rot_quaternion_raw", "0 0 0 1\n");
    const auto sensor = open();
    ASSERT_TRUE(attitudeOf(*sensor, 0));
    folder.write(gyroscope + "/in_rot_quaternion_raw", contents);
    double t = 0;
    while (sensor->isConnected() && t < 1000) sensor->attitudeAtTime(++t);
    EXPECT_FALSE(sensor->isConnected());
  }
}

TEST_F(IIO, ASensorThatDisappearsLeavesTheCameraWhereItIs) {
  folder.write(gyroscope + "/in_rot_quaternion_raw", "8192 0 0 8192\n");
  std::vector<std::unique_ptr<MotionDriver>> drivers;
  drivers.push_back(createIIODriver(folder / "devices"));
  AutomaticSource source(std::move(drivers));
  source.setActive(true);
  CMQuaternion before = source.sampleAtTime(0)->attitude;
  for (int i = 1; i < 300; ++i) {
    // Turned by 30 degrees, it is pulled out, and put in again elsewhere.
    if (i == 100) folder.write(gyroscope + "/in_rot_quaternion_raw", "7912 2120 2120 7912\n");
    if (i == 150) std::filesystem::remove_all(folder / gyroscope);
    if (i == 200) folder.write(accelerometer + "/in_rot_quaternion_raw", "0 8192 8192 0\n");
    const CMQuaternion now = source.sampleAtTime(i / 60.0)->attitude;
    if (i != 100) {
      EXPECT_LT(angleBetween(now, before), i == 101 ? 31 : 1) << i;
    }
    before = now;
    if (i == 190) {
      EXPECT_EQ(source.description(), "a device that stands still");
    }
  }
  EXPECT_EQ(source.description(), "the machine's motion sensor \"\"");
  EXPECT_LT(angleBetween(before, pictureTurned(30)), 0.1);
}

}  // namespace
