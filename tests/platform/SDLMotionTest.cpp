#ifdef ZEL_WITH_WINDOWS

#include "drivers/sdl/SDLControllers.h"
#include "drivers/sdl/SDLMotionDriver.h"
#include "platform/coremotion/AutomaticSource.h"
#include "tests/platform/MotionSupport.h"

#include <SDL2/SDL.h>
#include <gmock/gmock.h>

#include <map>
#include <vector>

namespace {

using namespace ZELPlatform;

int enabledSensors = 0;

/// Controllers made for tests have no sensors of their own, so the test answers and sends for them.
SDLSensorCalls fakeCalls() {
  enabledSensors = 0;
  SDLSensorCalls calls;
  calls.controllerHas = [](SDL_GameController*, SDL_SensorType) { return SDL_TRUE; };
  calls.controllerEnable = [](SDL_GameController*, SDL_SensorType, SDL_bool on) {
    enabledSensors += on ? 1 : -1;
    return 0;
  };
  return calls;
}

class SDLMotion : public MotionTest {
 protected:
  SDLMotion() { SDLControllers::shared().update(); }
  ~SDLMotion() override {
    unplug();
    SDLControllers::shared().update();
  }

  void plug() {
    index = SDL_JoystickAttachVirtual(SDL_JOYSTICK_TYPE_GAMECONTROLLER, SDL_CONTROLLER_AXIS_MAX,
                                      SDL_CONTROLLER_BUTTON_MAX, 0);
    ASSERT_GE(index, 0) << SDL_GetError();
    id = SDL_JoystickGetDeviceInstanceID(index);
  }

  void unplug() {
    if (index >= 0) SDL_JoystickDetachVirtual(index);
    index = -1;
  }

  void push(SDL_GameControllerAxis axis, int value) const {
    SDL_JoystickSetVirtualAxis(SDL_JoystickFromInstanceID(id), axis, static_cast<Sint16>(value));
  }

  /// What a controller says of itself in this time: how it turns, in its own axes, while it lies flat.
  void send(SDL_JoystickID which, double seconds, float rate, bool hasClock) {
    constexpr int kRate = 250;
    for (int i = 0; i < std::lround(seconds * kRate); ++i) {
      clocks[which] += 1'000'000 / kRate;
      SDL_Event event{};
      event.type = SDL_CONTROLLERSENSORUPDATE;
      event.csensor.which = which;
      event.csensor.timestamp_us = hasClock ? clocks[which] : 0;
      event.csensor.sensor = SDL_SENSOR_ACCEL;
      event.csensor.data[1] = 9.81F;
      SDL_PushEvent(&event);
      event.csensor.sensor = SDL_SENSOR_GYRO;
      event.csensor.data[1] = rate;
      SDL_PushEvent(&event);
    }
  }

  int index = -1;
  SDL_JoystickID id = -1;
  std::map<SDL_JoystickID, Uint64> clocks;
};

TEST_F(SDLMotion, AControllerTurnsTheCamera) {
  const auto driver = createSDLControllerDriver(fakeCalls());
  EXPECT_FALSE(driver->open());
  plug();
  for (const bool hasClock : {true, false}) {
    SCOPED_TRACE(hasClock);
    const auto sensor = driver->open();
    ASSERT_TRUE(sensor);
    EXPECT_EQ(enabledSensors, 2);
    EXPECT_EQ(sensor->frame(), MotionFrame::Picture);
    EXPECT_FALSE(sensor->attitudeAtTime(9));
    // In bursts, as a refresh finds them; those of other controllers are not its own.
    double hostTime = 10;
    sensor->attitudeAtTime(hostTime);
    for (int refresh = 0; refresh < 60; ++refresh) {
      send(id, 0.016, 0.5F, hasClock);
      send(id + 100, 0.016, -3.0F, hasClock);
      ASSERT_TRUE(sensor->attitudeAtTime(hostTime += 0.016));
    }
    EXPECT_LT(angleBetween(*sensor->attitudeAtTime(hostTime), pictureTurned(0.96 * 0.5 * 180 / M_PI)), 0.5);
  }
  EXPECT_EQ(enabledSensors, 0);
}

TEST_F(SDLMotion, AControllerMayGoAndComeBack) {
  std::vector<std::unique_ptr<MotionDriver>> drivers;
  drivers.push_back(createSDLControllerDriver(fakeCalls()));
  AutomaticSource source(std::move(drivers));
  source.setActive(true);
  double hostTime = 0;
  CMQuaternion before = source.sampleAtTime(hostTime)->attitude;
  const auto goOn = [&](float rate) {
    for (int refresh = 0; refresh < 125; ++refresh) {
      if (index >= 0) send(id, 0.016, rate, true);
      const CMQuaternion now = source.sampleAtTime(hostTime += 0.016)->attitude;
      EXPECT_LT(angleBetween(now, before), 1);
      before = now;
    }
  };
  goOn(0);
  EXPECT_EQ(source.description(), "a device that stands still");
  plug();
  goOn(0);
  EXPECT_THAT(source.description(), testing::StartsWith("the gyroscope of the game controller"));
  goOn(0.5F);
  const CMQuaternion turned = before;
  EXPECT_LT(angleBetween(turned, pictureTurned(180 / M_PI)), 1);
  unplug();
  goOn(0);
  EXPECT_EQ(source.description(), "a device that stands still");
  plug();
  goOn(0);
  EXPECT_THAT(source.description(), testing::StartsWith("the gyroscope of the game controller"));
  EXPECT_LT(angleBetween(before, turned), 1);
}

TEST_F(SDLMotion, AMachinesOwnSensorsTellItsFrame) {
  SDLSensorCalls calls;
  calls.count = [] { return 2; };
  calls.typeAt = [](int i) { return i == 0 ? SDL_SENSOR_ACCEL : SDL_SENSOR_GYRO; };
  calls.identifierAt = [](int i) { return static_cast<SDL_SensorID>(40 + i); };
  static int opened = 0;
  calls.open = [](int) {
    ++opened;
    return reinterpret_cast<SDL_Sensor*>(&opened);
  };
  calls.close = [](SDL_Sensor*) { --opened; };
  {
    const auto sensor = createSDLMachineDriver(calls)->open();
    ASSERT_TRUE(sensor);
    EXPECT_EQ(opened, 2);
    EXPECT_EQ(sensor->frame(), MotionFrame::Device);
    for (const auto& [which, y] : {std::pair{40, 9.81F}, std::pair{41, 0.0F}}) {
      SDL_Event event{};
      event.type = SDL_SENSORUPDATE;
      event.sensor.which = which;
      event.sensor.data[1] = y;
      SDL_PushEvent(&event);
    }
    EXPECT_LT(angleBetween(*sensor->attitudeAtTime(1), pictureTurned(0)), 1e-6);
  }
  EXPECT_EQ(opened, 0);
  calls.typeAt = [](int) { return SDL_SENSOR_GYRO; };
  EXPECT_FALSE(createSDLMachineDriver(calls)->open());
  EXPECT_EQ(opened, 0);
}

TEST_F(SDLMotion, ThumbsticksRestInADeadZoneAndReachOneInEveryDirection) {
  EXPECT_EQ(GCThumbsticksCurrent().left.x, 0);
  plug();
  GCThumbsticksCurrent();
  push(SDL_CONTROLLER_AXIS_LEFTX, 3000);
  push(SDL_CONTROLLER_AXIS_LEFTY, -3000);
  push(SDL_CONTROLLER_AXIS_RIGHTX, -32768);
  push(SDL_CONTROLLER_AXIS_RIGHTY, 0);
  GCThumbsticks sticks = GCThumbsticksCurrent();
  EXPECT_EQ(sticks.left.x, 0);
  EXPECT_EQ(sticks.left.y, 0);
  EXPECT_EQ(sticks.right.x, -1);
  EXPECT_EQ(sticks.right.y, 0);
  // Pushed up and to the right, past the circle; and just out of the dead zone.
  push(SDL_CONTROLLER_AXIS_LEFTX, 32767);
  push(SDL_CONTROLLER_AXIS_LEFTY, -32768);
  push(SDL_CONTROLLER_AXIS_RIGHTX, 0);
  push(SDL_CONTROLLER_AXIS_RIGHTY, 5000);
  sticks = GCThumbsticksCurrent();
  EXPECT_NEAR(sticks.left.x, std::sqrt(0.5), 1e-9);
  EXPECT_NEAR(sticks.left.y, std::sqrt(0.5), 1e-9);
  EXPECT_LT(sticks.right.y, 0);
  EXPECT_GT(sticks.right.y, -0.01);
  unplug();
  EXPECT_EQ(GCThumbsticksCurrent().left.x, 0);
}

}  // namespace

#endif
