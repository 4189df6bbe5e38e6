#include "bench/ControllerMeasure.h"

#include <ZELKit/ZEL360FreeMotionController.h>
#include <ZELKit/ZEL360RelativeMotionController.h>
#include <ZELPlatform/CMMotionManager.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIWindow.h>

#include <cmath>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace ZELBench {

namespace {

constexpr double kUpdateLimit = 0.005;  // milliseconds
constexpr int kUpdatesPerSample = 1000;
constexpr float kFrame = 1.0F / 60.0F;

/// A device that turns steadily.
class TurningDevice final : public CMMotionSource {
 public:
  std::string description() const override { return "a device that turns"; }
  void setActive(bool /*active*/) override {}
  std::optional<CMDeviceMotion> sampleAtTime(double hostTime) override {
    angle_ += 0.001;
    return CMDeviceMotion{{std::sin(angle_), 0.1, 0.2, std::cos(angle_)}, hostTime};
  }

 private:
  double angle_ = 0.0;
};

/// Lets go of a pan, so that the controller has a fling to slow down.
void fling(UIWindow& window) {
  double time = CACurrentMediaTime();
  window.deliverPointer(0, UITouchPhase::Began, CGPointMake(100, 100), time);
  for (int step = 1; step <= 10; ++step) {
    time += 0.01;
    window.deliverPointer(0, UITouchPhase::Moved, CGPointMake(100 + 20 * step, 100 + step), time);
  }
  window.deliverPointer(0, UITouchPhase::Ended, CGPointMake(300, 110), time);
}

template <class Controller>
void measureController(const std::string& name, const Settings& settings, Report& report) {
  if (!settings.wants("controller update " + name)) return;
  std::cerr << "measuring the " << name << " controller\n";
  const auto window = UIWindow::create(CGRectMake(0, 0, 640, 360));
  if (!window) return report.addFault("There is no window for the controllers.");
  const auto controller = Controller::create();
  controller->attachToView(window);
  controller->setEnabled(true);

  std::vector<double> samples;
  for (size_t sample = 0; sample < settings.warmUps + settings.samples; ++sample) {
    fling(*window);
    controller->beginTransitionFromMatrix(GLKMatrix4Identity);
    const Stopwatch stopwatch;
    for (int update = 0; update < kUpdatesPerSample; ++update) controller->updateWithDeltaTime(kFrame);
    if (sample >= settings.warmUps) samples.push_back(stopwatch.milliseconds() / kUpdatesPerSample);
  }
  const Distribution time = distributionOf(samples);
  Row row;
  row.measure = "controller update";
  row.projection = name;
  row.kit = report.limitCell(Report::timeCell(time), time, kUpdateLimit, "5 µs");
  report.add(row);
}

}  // namespace

void measureControllers(const Settings& settings, Report& report) {
  CMMotionManager::setSource(std::make_shared<TurningDevice>());
  measureController<ZEL360RelativeMotionController>("relative", settings, report);
  measureController<ZEL360FreeMotionController>("free", settings, report);
  CMMotionManager::setSource(nullptr);
}

}  // namespace ZELBench
