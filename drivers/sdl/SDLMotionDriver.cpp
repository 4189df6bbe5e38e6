#include "drivers/sdl/SDLMotionDriver.h"

#include "drivers/sdl/SDLControllers.h"
#include "platform/coremotion/InertialStream.h"

#include <ZELPlatform/Dispatch.h>

#include <SDL2/SDL_events.h>

namespace ZELPlatform {

namespace {

/// A gyroscope and an accelerometer, heard wherever SDL's events are pumped: a refresh brings many readings, and a turn
/// is the sum of them all.
class SDLSensor : public MotionSensor {
 public:
  SDLSensor() { SDL_AddEventWatch(hear, this); }
  ~SDLSensor() override { SDL_DelEventWatch(hear, this); }

  std::optional<CMQuaternion> attitudeAtTime(double hostTime) override {
    SDLControllers::shared().update();
    stream_.filter(hostTime);
    return stream_.attitude();
  }

  SDLSensor(const SDLSensor&) = delete;
  SDLSensor& operator=(const SDLSensor&) = delete;

 protected:
  virtual void take(const SDL_Event& event) = 0;

  void takeReading(SDL_SensorType type, const float (&values)[3], Uint64 microseconds) {
    const MotionVector vector = {values[0], values[1], values[2]};
    if (type == SDL_SENSOR_GYRO) {
      stream_.addRate(vector, microseconds);
    } else if (type == SDL_SENSOR_ACCEL) {
      stream_.addAcceleration(vector);
    }
  }

 private:
  static int hear(void* self, SDL_Event* event) {
    const bool isReading = event->type == SDL_CONTROLLERSENSORUPDATE || event->type == SDL_SENSORUPDATE;
    if (isReading && DispatchIsMainThread()) static_cast<SDLSensor*>(self)->take(*event);
    return 0;
  }

  InertialStream stream_;
};

class SDLControllerSensor final : public SDLSensor {
 public:
  SDLControllerSensor(const SDLSensorCalls& calls, SDL_JoystickID id, SDL_GameController* controller)
      : calls_(calls), id_(id) {
    const char* name = SDL_GameControllerName(controller);
    name_ = name ? name : "without a name";
  }

  ~SDLControllerSensor() override {
    if (isConnected()) {
      SDL_GameController* controller = SDLControllers::shared().open().at(id_);
      calls_.controllerEnable(controller, SDL_SENSOR_GYRO, SDL_FALSE);
      calls_.controllerEnable(controller, SDL_SENSOR_ACCEL, SDL_FALSE);
    }
  }

  std::string description() const override { return "the gyroscope of the game controller \"" + name_ + "\""; }
  MotionFrame frame() const override { return MotionFrame::Picture; }
  bool isConnected() const override { return SDLControllers::shared().open().contains(id_); }

  SDLControllerSensor(const SDLControllerSensor&) = delete;
  SDLControllerSensor& operator=(const SDLControllerSensor&) = delete;

 private:
  void take(const SDL_Event& event) override {
    if (event.type == SDL_CONTROLLERSENSORUPDATE && event.csensor.which == id_) {
      takeReading(static_cast<SDL_SensorType>(event.csensor.sensor), event.csensor.data, event.csensor.timestamp_us);
    }
  }

  SDLSensorCalls calls_;
  SDL_JoystickID id_;
  std::string name_;
};

class SDLControllerDriver final : public MotionDriver {
 public:
  explicit SDLControllerDriver(const SDLSensorCalls& calls) : calls_(calls) {}

  std::unique_ptr<MotionSensor> open() override {
    SDLControllers& controllers = SDLControllers::shared();
    controllers.update();
    for (const auto& [id, controller] : controllers.open()) {
      if (controller && enable(controller)) {
        return std::make_unique<SDLControllerSensor>(calls_, id, controller);
      }
    }
    return nullptr;
  }

 private:
  bool enable(SDL_GameController* controller) const {
    return calls_.controllerHas(controller, SDL_SENSOR_GYRO) == SDL_TRUE &&
           calls_.controllerHas(controller, SDL_SENSOR_ACCEL) == SDL_TRUE &&
           calls_.controllerEnable(controller, SDL_SENSOR_GYRO, SDL_TRUE) == 0 &&
           calls_.controllerEnable(controller, SDL_SENSOR_ACCEL, SDL_TRUE) == 0;
  }

  SDLSensorCalls calls_;
};

class SDLMachineSensor final : public SDLSensor {
 public:
  /// One of SDL's sensors, with its number.
  struct Part {
    SDL_Sensor* sensor = nullptr;
    SDL_SensorID id = -1;
  };

  SDLMachineSensor(const SDLSensorCalls& calls, Part gyroscope, Part accelerometer)
      : calls_(calls), gyroscope_(gyroscope), accelerometer_(accelerometer) {}

  ~SDLMachineSensor() override {
    calls_.close(gyroscope_.sensor);
    calls_.close(accelerometer_.sensor);
  }

  std::string description() const override { return "the machine's motion sensor"; }
  MotionFrame frame() const override { return MotionFrame::Device; }
  bool isConnected() const override { return true; }

  SDLMachineSensor(const SDLMachineSensor&) = delete;
  SDLMachineSensor& operator=(const SDLMachineSensor&) = delete;

 private:
  void take(const SDL_Event& event) override {
    if (event.type != SDL_SENSORUPDATE) {
      return;
    }
    const float values[3] = {event.sensor.data[0], event.sensor.data[1], event.sensor.data[2]};
    if (event.sensor.which == gyroscope_.id) {
      takeReading(SDL_SENSOR_GYRO, values, event.sensor.timestamp_us);
    } else if (event.sensor.which == accelerometer_.id) {
      takeReading(SDL_SENSOR_ACCEL, values, event.sensor.timestamp_us);
    }
  }

  SDLSensorCalls calls_;
  Part gyroscope_;
  Part accelerometer_;
};

class SDLMachineDriver final : public MotionDriver {
 public:
  explicit SDLMachineDriver(const SDLSensorCalls& calls) : calls_(calls) {}

  std::unique_ptr<MotionSensor> open() override {
    SDLControllers::shared().update();
    const SDLMachineSensor::Part gyroscope = openFirst(SDL_SENSOR_GYRO);
    if (!gyroscope.sensor) {
      return nullptr;
    }
    const SDLMachineSensor::Part accelerometer = openFirst(SDL_SENSOR_ACCEL);
    if (!accelerometer.sensor) {
      calls_.close(gyroscope.sensor);
      return nullptr;
    }
    return std::make_unique<SDLMachineSensor>(calls_, gyroscope, accelerometer);
  }

 private:
  SDLMachineSensor::Part openFirst(SDL_SensorType type) const {
    for (int i = 0; i < calls_.count(); ++i) {
      if (calls_.typeAt(i) == type) {
        if (SDL_Sensor* sensor = calls_.open(i)) return {sensor, calls_.identifierAt(i)};
      }
    }
    return {};
  }

  SDLSensorCalls calls_;
};

}  // namespace

std::unique_ptr<MotionDriver> createSDLControllerDriver(const SDLSensorCalls& calls) {
  return std::make_unique<SDLControllerDriver>(calls);
}

std::unique_ptr<MotionDriver> createSDLMachineDriver(const SDLSensorCalls& calls) {
  return std::make_unique<SDLMachineDriver>(calls);
}

}  // namespace ZELPlatform
