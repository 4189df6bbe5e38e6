#pragma once

#include "platform/coremotion/MotionDriver.h"

#include <SDL2/SDL_gamecontroller.h>
#include <SDL2/SDL_sensor.h>

#include <memory>

namespace ZELPlatform {

/// What SDL is asked about sensors, so that tests can answer: its controllers made for tests have none.
struct SDLSensorCalls {
  SDL_bool (*controllerHas)(SDL_GameController*, SDL_SensorType) = SDL_GameControllerHasSensor;
  int (*controllerEnable)(SDL_GameController*, SDL_SensorType, SDL_bool) = SDL_GameControllerSetSensorEnabled;
  int (*count)() = SDL_NumSensors;
  SDL_SensorType (*typeAt)(int) = SDL_SensorGetDeviceType;
  SDL_SensorID (*identifierAt)(int) = SDL_SensorGetDeviceInstanceID;
  SDL_Sensor* (*open)(int) = SDL_SensorOpen;
  void (*close)(SDL_Sensor*) = SDL_SensorClose;
};

/// Game controllers with a gyroscope and an accelerometer. Lying flat with the buttons up they look straight ahead.
std::unique_ptr<MotionDriver> createSDLControllerDriver(const SDLSensorCalls& calls = {});

/// The gyroscope and the accelerometer of the machine itself, where SDL knows them, as it does on phones.
std::unique_ptr<MotionDriver> createSDLMachineDriver(const SDLSensorCalls& calls = {});

}  // namespace ZELPlatform
