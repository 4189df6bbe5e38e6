#pragma once

#include <ZELPlatform/CoreMotion.h>
#include <ZELPlatform/Export.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// The frame that attitudes are told in.
enum CMAttitudeReferenceFrame : int64_t {
  /// Z points up; X lies level and points wherever it did when the source began.
  CMAttitudeReferenceFrameXArbitraryZVertical = 1,
};

/// How a device is turned at one moment.
struct CMDeviceMotion {
  /// The rotation that takes the reference frame to the device's (x right, y up, z out of the screen, as the device is
  /// held in portrait). Finite and not zero; of unit length unless the source says otherwise.
  CMQuaternion attitude{0, 0, 0, 1};
  /// Host time in seconds; never falls from one sample of a source to the next.
  double timestamp = 0.0;
};

/// Where attitudes come from. Main thread.
///
/// A source tells the device frame that the application's reported interface orientation expects: held so that its
/// picture is upright, the camera looks level, whatever kind of device stands behind it.
class ZELPLATFORM_EXPORT CMMotionSource {
 public:
  virtual ~CMMotionSource() = default;

  /// A phrase that says what it is, for people: "gyroscope of the game controller …".
  virtual std::string description() const = 0;

  /// Whether anybody wants samples; off at first. A source that is off lets its device sleep.
  virtual void setActive(bool active) = 0;

  /// The newest sample at this host time; none while there is none yet. May wait for a reading that is under way, for a
  /// millisecond at most. Asked again for the same time it yields the same sample, or one that has come in meanwhile.
  virtual std::optional<CMDeviceMotion> sampleAtTime(double hostTime) = 0;

  /// The first real sensor that is there: one of the machine's own, else of a game controller; while there is none,
  /// `still`. Follows sensors that come and go, without a jump: the heading, which begins straight ahead, goes on from
  /// where it is, and the rest of the difference fades within half a second.
  static std::shared_ptr<CMMotionSource> automatic();

  /// A device that stands still and upright in the reported interface orientation.
  static std::shared_ptr<CMMotionSource> still();

  /// A device without a sensor: no sample, ever.
  static std::shared_ptr<CMMotionSource> none();

  /// A recorded file, played from its first sample on from the moment it is first asked. Between two samples the
  /// earlier one holds; after the last one that one does. A file that cannot be read, or with a bad line, yields null
  /// and one sentence in `error` that names file and line. One sample a line: `SECONDS X Y Z W`, times do not fall, `#`
  /// begins a comment.
  static std::shared_ptr<CMMotionSource> replay(const std::string& path, std::string* error);

  /// Puts in every sample that the source yields while it writes them to a file; a replay of it yields the same samples
  /// bit for bit. What a replay would refuse is not written. The file appears under its name when the recorder goes:
  /// when its last reference is dropped, `CMMotionManager`'s too. Null, with one sentence in `error` (which may be
  /// null), when the file cannot be written; one sentence on standard error when that shows only later.
  static std::shared_ptr<CMMotionSource> recording(std::shared_ptr<CMMotionSource> source, const std::string& path,
                                                   std::string* error);
};

/// Device motion as the kit asks for it: polled, never delivered. Main thread.
///
/// It passes on nothing but finite attitudes of unit length whose times do not fall: a sample of any length is
/// normalised, one that is not finite, is zero, or is older than the one before is left out, and the sample before
/// holds.
class ZELPLATFORM_EXPORT CMMotionManager {
 public:
  static std::shared_ptr<CMMotionManager> create();
  ~CMMotionManager();

  void startDeviceMotionUpdatesUsingReferenceFrame(CMAttitudeReferenceFrame frame);
  void stopDeviceMotionUpdates();
  bool isDeviceMotionActive() const { return active_; }

  /// The newest sample; none before the first and while updates are stopped.
  std::optional<CMDeviceMotion> deviceMotion();

  /// The source of all managers; null brings `CMMotionSource::automatic` back.
  static void setSource(std::shared_ptr<CMMotionSource> source);
  static std::shared_ptr<CMMotionSource> source();

  CMMotionManager(const CMMotionManager&) = delete;
  CMMotionManager& operator=(const CMMotionManager&) = delete;

 private:
  CMMotionManager() = default;
  bool active_ = false;
  std::optional<CMDeviceMotion> newest_;
  /// Which of the process's sources `newest_` came from.
  uint64_t generation_ = 0;
};
