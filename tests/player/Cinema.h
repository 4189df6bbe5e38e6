#pragma once

/// A player with one output, and a display that asks it for frames.

#include <ZELPlatform/AVFoundation.h>
#include <ZELPlatform/Foundation.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "player/Clips.h"

namespace ZELTest {

/// One refresh of the display that showed another frame.
struct Shown {
  /// Seconds of host time at which it is on the screen, and where the item is then.
  double hostTime = 0.0;
  double itemTime = 0.0;
  /// The frame's own time in the item.
  double frameTime = 0.0;
  int number = -1;
  /// Host seconds since the display asked before, and whether item time ran and decoded frames were waiting then. Only
  /// if so is it the player's doing which frame is shown now; else the decoder, or the machine, was late.
  double gap = 0.0;
  bool wasAhead = false;
};

class Cinema {
 public:
  static constexpr double kPeriod = 1.0 / 60;
  /// For what takes milliseconds, on a machine that may be busy with ten other things.
  static constexpr double kLongest = 20.0;

  explicit Cinema(const std::string& path = {}, bool stepped = false);
  ~Cinema();

  const std::shared_ptr<AVPlayer>& player() const { return player_; }
  const std::shared_ptr<AVPlayerItem>& item() const { return item_; }
  const std::shared_ptr<AVPlayerItemVideoOutput>& output() const { return output_; }

  /// Puts another film into the player, with an output of its own.
  void load(const std::string& path);

  /// Drives the main run loop until then; false when that takes too long.
  bool wait(const std::function<bool()>& condition);
  bool waitUntilReady();
  bool waitUntilFailed();

  /// Seeks and waits for the end of it; whether the seek finished.
  bool seek(double seconds, CMTime before = kCMTimeZero, CMTime after = kCMTimeZero);

  /// Plays on until that item time, as `watch`.
  std::vector<Shown> playTo(double seconds);

  /// Pauses, and waits until item time stands.
  bool pause();

  /// Asks once, for what is on the screen one refresh from now: another frame, or nothing.
  std::optional<Shown> look();

  /// Asks until there is another frame.
  std::optional<Shown> nextShown();

  /// Asks at every refresh, for so many seconds or until the condition holds.
  std::vector<Shown> watch(double seconds, const std::function<bool()>& until = {});

  /// Whether item time runs, and with how many frames decoded ahead.
  bool isRunning() const;
  size_t waitingFrames() const;

  double time() const { return CMTimeGetSeconds(player_->currentTime()); }

 private:
  double lastAsked_ = 0.0;
  bool wasAhead_ = false;
  std::shared_ptr<AVPlayer> player_;
  std::shared_ptr<AVPlayerItem> item_;
  std::shared_ptr<AVPlayerItemVideoOutput> output_;
};

}  // namespace ZELTest
