#include "drivers/iio/IIODriver.h"

#include "drivers/iio/IIODevices.h"
#include "platform/coremotion/AttitudeFilter.h"

#include <ZELPlatform/Dispatch.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace ZELPlatform {

namespace {

using Clock = std::chrono::steady_clock;

/// How long a refresh waits for a reading.
constexpr std::chrono::milliseconds kPatience{1};

/// So many readings in a row that fail are a device that is gone.
constexpr int kMostFailures = 3;

/// Reads on a queue, and keeps what came of it. A reading that is under way outlives the sensor.
class IIOReader : public std::enable_shared_from_this<IIOReader> {
 public:
  explicit IIOReader(std::unique_ptr<IIODevices> devices) : devices_(std::move(devices)) {}

  const std::string& name() const { return devices_->name(); }
  bool isGone() const { return isGone_; }

  std::optional<CMQuaternion> attitudeAtTime(double hostTime) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!reads_) {
      reads_ = true;
      queue_->async([self = shared_from_this(), hostTime] { self->read(hostTime); });
    }
    if (!isSlow_) finished_.wait_for(lock, kPatience, [this] { return !reads_; });
    return attitude_;
  }

 private:
  void read(double hostTime) {
    const Clock::time_point start = Clock::now();
    const std::optional<IIOReading> reading = devices_->read();
    const bool isSlow = Clock::now() - start > kPatience;
    failures_ = reading ? 0 : failures_ + 1;
    std::optional<CMQuaternion> attitude;
    if (reading && reading->attitude) {
      attitude = normalized(*reading->attitude);
    } else if (reading) {
      filter_.add(hostTime, reading->rate, reading->acceleration);
      attitude = filter_.attitude();
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (attitude) attitude_ = attitude;
    isSlow_ = isSlow;
    if (failures_ >= kMostFailures) isGone_ = true;
    reads_ = false;
    finished_.notify_all();
  }

  const std::unique_ptr<IIODevices> devices_;
  const std::shared_ptr<DispatchQueue> queue_ = DispatchQueue::create("CMMotionManager.sensors");
  std::atomic<bool> isGone_{false};

  /// The queue's.
  AttitudeFilter filter_;
  int failures_ = 0;

  /// Behind the lock.
  std::mutex mutex_;
  std::condition_variable finished_;
  bool reads_ = false;
  bool isSlow_ = false;
  std::optional<CMQuaternion> attitude_;
};

class IIOSensor final : public MotionSensor {
 public:
  explicit IIOSensor(std::unique_ptr<IIODevices> devices) : reader_(std::make_shared<IIOReader>(std::move(devices))) {}

  std::string description() const override { return "the machine's motion sensor \"" + reader_->name() + "\""; }
  MotionFrame frame() const override { return MotionFrame::Device; }
  bool isConnected() const override { return !reader_->isGone(); }
  std::optional<CMQuaternion> attitudeAtTime(double hostTime) override { return reader_->attitudeAtTime(hostTime); }

 private:
  std::shared_ptr<IIOReader> reader_;
};

class IIODriver final : public MotionDriver {
 public:
  explicit IIODriver(std::string root) : root_(std::move(root)) {}

  std::unique_ptr<MotionSensor> open() override {
    std::unique_ptr<IIODevices> devices = IIODevices::find(root_);
    return devices ? std::make_unique<IIOSensor>(std::move(devices)) : nullptr;
  }

 private:
  std::string root_;
};

}  // namespace

std::unique_ptr<MotionDriver> createIIODriver(std::string root) { return std::make_unique<IIODriver>(std::move(root)); }

}  // namespace ZELPlatform
