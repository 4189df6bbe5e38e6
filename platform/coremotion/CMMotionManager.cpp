#include <ZELPlatform/CMMotionManager.h>

#include "platform/coremotion/Attitude.h"

#include <ZELPlatform/Foundation.h>

#include <cmath>
#include <utility>

namespace {

/// The source of all managers, which is awake while one of them wants samples. Main thread.
class SharedSource {
 public:
  static SharedSource& instance() {
    // Never destroyed: drivers stand behind it to the very end.
    static SharedSource& shared = *new SharedSource;
    return shared;
  }

  const std::shared_ptr<CMMotionSource>& current() {
    if (!current_) {
      if (!automatic_) automatic_ = CMMotionSource::automatic();
      current_ = automatic_;
    }
    return current_;
  }

  void replace(std::shared_ptr<CMMotionSource> source) {
    if (!source) source = automatic_;
    if (source == current_) {
      return;
    }
    if (current_ && users_ > 0) current_->setActive(false);
    current_ = std::move(source);
    if (users_ > 0) current()->setActive(true);
    ++generation_;
  }

  void addUser() {
    if (++users_ == 1) current()->setActive(true);
  }

  void removeUser() {
    if (--users_ == 0) current()->setActive(false);
  }

  /// Counts the sources.
  uint64_t generation() const { return generation_; }

 private:
  std::shared_ptr<CMMotionSource> automatic_;
  std::shared_ptr<CMMotionSource> current_;
  int users_ = 0;
  uint64_t generation_ = 0;
};

}  // namespace

std::shared_ptr<CMMotionManager> CMMotionManager::create() {
  return std::shared_ptr<CMMotionManager>(new CMMotionManager());
}

CMMotionManager::~CMMotionManager() { stopDeviceMotionUpdates(); }

void CMMotionManager::startDeviceMotionUpdatesUsingReferenceFrame(CMAttitudeReferenceFrame /*frame*/) {
  if (!active_) {
    active_ = true;
    newest_.reset();
    SharedSource::instance().addUser();
  }
}

void CMMotionManager::stopDeviceMotionUpdates() {
  if (active_) {
    active_ = false;
    SharedSource::instance().removeUser();
  }
}

std::optional<CMDeviceMotion> CMMotionManager::deviceMotion() {
  if (!active_) {
    return std::nullopt;
  }
  SharedSource& shared = SharedSource::instance();
  if (generation_ != shared.generation()) {
    // Another source has times of its own.
    generation_ = shared.generation();
    newest_.reset();
  }
  const std::optional<CMDeviceMotion> sample = shared.current()->sampleAtTime(CACurrentMediaTime());
  if (!sample || !std::isfinite(sample->timestamp) || (newest_ && sample->timestamp < newest_->timestamp)) {
    return newest_;
  }
  if (const std::optional<CMQuaternion> attitude = ZELPlatform::normalized(sample->attitude)) {
    newest_ = CMDeviceMotion{*attitude, sample->timestamp};
  }
  return newest_;
}

void CMMotionManager::setSource(std::shared_ptr<CMMotionSource> source) {
  SharedSource::instance().replace(std::move(source));
}

std::shared_ptr<CMMotionSource> CMMotionManager::source() { return SharedSource::instance().current(); }
