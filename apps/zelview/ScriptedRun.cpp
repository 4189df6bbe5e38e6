#include "apps/zelview/ScriptedRun.h"

#include <ZELPlatform/CMMotionManager.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/GameController.h>
#include <ZELPlatform/QuartzCore.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIImage.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <variant>

#include "apps/zelview/CameraLog.h"
#include "apps/zelview/MotionInput.h"
#include "apps/zelview/QuitSignals.h"
#include "apps/zelview/ScriptedMotion.h"
#include "apps/zelview/ViewerError.h"
#include "apps/zelview/ViewerWindow.h"

namespace zelview {
namespace {

constexpr int64_t kPointer = 1;

/// Seconds until what is shown is there.
constexpr double kLongestOpening = 30.0;

/// Host time at which scripts start. Not zero: a frame of that time would count as taken before it was ever shown.
constexpr double kStart = 1000.0;

/// The host clock and the refreshes in the hands of their owner.
class SteppedTime {
 public:
  SteppedTime() {
    HostClock::setCurrent(clock_);
    DisplayRefresh::shared().setStepped(true);
  }
  ~SteppedTime() {
    DisplayRefresh::shared().setStepped(wasStepped_);
    HostClock::setCurrent(nullptr);
  }
  SteppedTime(const SteppedTime&) = delete;
  SteppedTime& operator=(const SteppedTime&) = delete;

  /// Goes on to this time, in seconds of the script; the clock counts whole nanoseconds.
  void goTo(double time) { clock_->advance(kStart + time - CACurrentMediaTime()); }

 private:
  std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>(kStart);
  bool wasStepped_ = DisplayRefresh::shared().isStepped();
};

/// Where the device's attitudes come from, and how it is held, in the hands of their owner.
class ScriptedDevice {
 public:
  ScriptedDevice(const Options& options, const Script& script) {
    CMMotionManager::setSource(script.hasMotion() ? motion_ : CMMotionSource::still());
    Options input = options;
    // The script's own attitudes win.
    if (script.hasMotion()) input.motion.clear();
    input_.emplace(input);
  }
  ~ScriptedDevice() { UIApplication::sharedApplication().overrideStatusBarOrientation(UIInterfaceOrientationUnknown); }
  ScriptedDevice(const ScriptedDevice&) = delete;
  ScriptedDevice& operator=(const ScriptedDevice&) = delete;

  ScriptedMotion& motion() { return *motion_; }

 private:
  std::shared_ptr<ScriptedMotion> motion_ = std::make_shared<ScriptedMotion>();
  /// Plays and records; gives the sensors back.
  std::optional<MotionInput> input_;
};

void makeFolder(const std::string& path) {
  std::error_code failure;
  std::filesystem::create_directories(path, failure);
  std::error_code none;
  if (std::filesystem::is_directory(path, none)) return;
  const std::string reason = std::filesystem::exists(path, none) ? "there is a file of that name" : failure.message();
  throw ViewerError("The folder \"" + path + "\" for the pictures cannot be made: " + reason + ".");
}

std::string frameName(const std::string& folder, size_t number) {
  std::array<char, 32> name{};
  std::snprintf(name.data(), name.size(), "frame-%05zu.png", number);
  return (std::filesystem::path(folder) / name.data()).string();
}

/// Does to a window what a person would.
struct Player {
  ViewerWindow& viewer;
  ScriptedMotion& motion;

  void operator()(const ScriptedPointer& pointer) const {
    viewer.window()->deliverPointer(kPointer, pointer.phase, pointer.location, CACurrentMediaTime());
  }
  void operator()(const ScriptedWheel& wheel) const { viewer.window()->deliverScroll(wheel.location, wheel.steps); }
  void operator()(const ScriptedPinch& pinch) const { viewer.pinch(pinch.factor, pinch.location); }
  void operator()(const UIKey& key) const {
    viewer.window()->deliverKey(key);
    viewer.window()->deliverKeyUp(key);
  }
  void operator()(const CMQuaternion& attitude) const { motion.turnTo(attitude, CACurrentMediaTime()); }
  void operator()(UIInterfaceOrientation orientation) const {
    UIApplication::sharedApplication().overrideStatusBarOrientation(orientation);
  }
};

class ScriptedRun {
 public:
  ScriptedRun(const Options& options, const Script& script, const std::shared_ptr<ViewerContent>& content);
  ~ScriptedRun();
  ScriptedRun(const ScriptedRun&) = delete;
  ScriptedRun& operator=(const ScriptedRun&) = delete;

  void play();

 private:
  bool deliverUntil(double time);
  void writeRefresh(double time);
  std::shared_ptr<CGImage> picture() const;

  const Options& options_;
  const Script& script_;
  size_t nextEvent_ = 0;
  size_t refreshes_ = 0;
  SteppedTime time_;
  std::optional<CameraLog> log_;
  ScriptedDevice device_;
  std::shared_ptr<ViewerWindow> viewer_;
  bool interrupted_ = false;
  QuitSignals signals_;
};

ScriptedRun::ScriptedRun(const Options& options, const Script& script, const std::shared_ptr<ViewerContent>& content)
    : options_(options), script_(script), device_(options, script), signals_([this] { interrupted_ = true; }) {
  if (!options.script.frames.empty()) makeFolder(options.script.frames);
  if (!options.script.cameraLog.empty()) log_.emplace(options.script.cameraLog);
  Options window = options;
  // How long the first picture takes is nothing that stepped time could tell.
  window.verbose = false;
  viewer_ = ViewerWindow::create(window, content, CACurrentMediaTime());
  viewer_->setThumbsticks([] { return GCThumbsticks{}; });
  viewer_->window()->makeKeyAndVisible();
  NSRunLoop::mainRunLoop().runUntil([&] { return content->isReady() || !content->failure().empty(); }, kLongestOpening);
  if (!content->failure().empty()) throw ViewerError(content->failure());
  if (!content->isReady()) throw ViewerError("What the script is to show is not there after 30 seconds.");
  // Videos start with the script.
  content->didAppear();
}

ScriptedRun::~ScriptedRun() {
  // The last refresh may still be in drawing, which reads the clock.
  viewer_->renderView()->takeSnapshot();
  viewer_->close();
}

void ScriptedRun::play() {
  const double rate = options_.script.rate;
  for (bool goesOn = true; goesOn; ++refreshes_) {
    const double time = static_cast<double>(refreshes_) / rate;
    if (time > script_.duration) break;
    goesOn = deliverUntil(time);
    if (interrupted_) throw ViewerError("The script was interrupted.");
    time_.goTo(time);
    DisplayRefresh::shared().refresh(CACurrentMediaTime(), 1.0 / rate);
    writeRefresh(time);
  }
  if (log_) log_->finish();
  if (options_.verbose) std::fprintf(stderr, "script: %zu refreshes at %g Hz\n", refreshes_, rate);
}

/// Delivers the events up to that time and lets the main run loop do what is due; false when one of them asks the
/// window to quit.
bool ScriptedRun::deliverUntil(double time) {
  bool delivered = false;
  const auto deliver = [&] {
    if (std::exchange(delivered, true)) return true;
    for (; nextEvent_ < script_.events.size() && script_.events[nextEvent_].time <= time; ++nextEvent_) {
      const ScriptedEvent& event = script_.events[nextEvent_];
      time_.goTo(event.time);
      std::visit(Player{*viewer_, device_.motion()}, event.action);
    }
    return false;
  };
  return NSRunLoop::mainRunLoop().runUntil(deliver, 0.0);
}

void ScriptedRun::writeRefresh(double time) {
  const ZELRenderView& view = *viewer_->renderView();
  if (log_) {
    const bool flat = view.contentProjection()->type() == ZELProjectionTypeFlat;
    log_->write(time, flat ? GLKMatrix4Identity : view.controller()->viewMatrix(), view.zoom());
  }
  if (options_.script.frames.empty()) return;
  const std::string error = CGImageWritePNG(*picture(), frameName(options_.script.frames, refreshes_));
  if (!error.empty()) throw ViewerError(error);
}

/// The window as this refresh shows it.
std::shared_ptr<CGImage> ScriptedRun::picture() const {
  // A snapshot waits for the picture under way. It has the view alone; other views may lie over it.
  viewer_->renderView()->takeSnapshot();
  UIWindow& window = *viewer_->window();
  UIGraphicsBeginImageContextWithOptions(window.bounds().size, true, 0.0);
  window.drawViewHierarchyInRect(window.bounds(), true);
  const std::shared_ptr<UIImage> image = UIGraphicsGetImageFromCurrentImageContext();
  UIGraphicsEndImageContext();
  if (!image || !image->cgImage()) throw ViewerError("The rendered picture cannot be read back.");
  return image->cgImage();
}

}  // namespace

void runScript(const Options& options, const Script& script, const std::shared_ptr<ViewerContent>& content) {
  ScriptedRun(options, script, content).play();
}

}  // namespace zelview
