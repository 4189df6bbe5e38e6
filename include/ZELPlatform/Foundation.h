#pragma once

#include <ZELPlatform/Export.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

/// The fraction that turns host clock ticks into nanoseconds.
struct mach_timebase_info_data_t {
  uint32_t numer;
  uint32_t denom;
};

/// Host time in ticks: monotonic, starting anywhere. Any thread.
ZELPLATFORM_EXPORT uint64_t mach_absolute_time();

/// Writes the tick fraction. Any thread.
ZELPLATFORM_EXPORT void mach_timebase_info(mach_timebase_info_data_t* info);

/// Host time in seconds: the time base of display link timestamps. Any thread.
ZELPLATFORM_EXPORT double CACurrentMediaTime();

/// The clock behind host time and dates. The default reads the system's monotonic and real-time clocks; a `ManualClock`
/// put in its place makes everything that moves repeatable.
class ZELPLATFORM_EXPORT HostClock {
 public:
  virtual ~HostClock() = default;

  /// Monotonic nanoseconds. Called from any thread.
  virtual uint64_t nanoseconds() const = 0;

  /// Wall-clock seconds since 1970-01-01 UTC. Called from any thread.
  virtual double wallClockSeconds() const = 0;

  /// Replaces the process's clock; null brings the system's back. Call it while nothing else reads the clock.
  static void setCurrent(std::shared_ptr<HostClock> clock);
};

/// A clock that stands still until it is advanced; host time and wall-clock time advance together. Any thread.
class ZELPLATFORM_EXPORT ManualClock final : public HostClock {
 public:
  explicit ManualClock(double startSeconds = 1000.0);
  ~ManualClock() override;

  uint64_t nanoseconds() const override;
  double wallClockSeconds() const override;

  void advance(double seconds);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// A wall-clock instant. A value: an absent date is an empty `std::optional<NSDate>`.
class ZELPLATFORM_EXPORT NSDate {
 public:
  /// Now.
  static NSDate date();

  /// Seconds from now to this instant: negative for a past one.
  double timeIntervalSinceNow() const;

 private:
  explicit NSDate(double seconds) : seconds_(seconds) {}
  double seconds_;
};

/// The main run loop: main-queue tasks, timers and watched file descriptors, all on the main thread.
///
/// Either `run` drives it, or a foreign loop (GLib, Qt, epoll) watches `fileDescriptor` for readability and calls
/// `runPending` whenever it is readable. All members but `stop` and `wakeUp` belong to the main thread.
class ZELPLATFORM_EXPORT NSRunLoop {
 public:
  static NSRunLoop& mainRunLoop();

  /// Becomes readable when there is something to run. Owned by the loop; only to be polled, never to be read.
  int fileDescriptor() const;

  /// Runs what is due and returns without waiting. Tasks that those tasks add run at the next call.
  void runPending();

  /// Runs until `stop` is called.
  void run();

  /// Runs for the given real time, or until `stop` is called.
  void runFor(double seconds);

  /// Runs until the condition holds (checked after every round) or the time is over; returns whether it holds.
  bool runUntil(const std::function<bool()>& condition, double timeoutSeconds);

  /// Ends the innermost `run`, `runFor` or `runUntil`; without one it does nothing. Any thread.
  void stop();

  /// Makes `fileDescriptor` readable once. Any thread.
  void wakeUp();

  /// Names a timer or a watched descriptor; 0 is never used.
  using Token = uint64_t;

  /// Calls `task` once after `delay` seconds of real time, then every `interval` seconds if that is above 0. A late
  /// repeating timer skips the rounds that it missed.
  Token addTimer(double delay, double interval, std::function<void()> task);

  /// Calls `task` whenever the descriptor is readable. The descriptor stays the caller's; remove the watch before
  /// closing it. Returns 0 for a descriptor that cannot be watched, such as a file on a disk.
  Token addReadableDescriptor(int descriptor, std::function<void()> task);

  /// Ends a timer or a watch, also from within its own task.
  void remove(Token token);

  NSRunLoop(const NSRunLoop&) = delete;
  NSRunLoop& operator=(const NSRunLoop&) = delete;

 private:
  NSRunLoop();
  ~NSRunLoop();
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

/// Finds files that were installed with a library.
class ZELPLATFORM_EXPORT NSBundle {
 public:
  /// The path of a resource of the library or program that contains `address`, or an empty string.
  ///
  /// Looks for `name.type` beside that binary, then in `zelkit/` beside it, then in `../share/zelkit/` from it. Any
  /// thread; touches the file system.
  static std::string pathForResource(const void* address, const std::string& name, const std::string& type);

  /// What a shared object exports under the name, or null when it is absent, cannot be loaded, or has no such symbol.
  ///
  /// For libraries that a program can do without. The object `library.so` is looked for like a resource, nowhere else,
  /// and stays loaded to the end of the process. Any thread; touches the file system.
  static void* weakSymbol(const void* address, const std::string& library, const std::string& symbol);
};
