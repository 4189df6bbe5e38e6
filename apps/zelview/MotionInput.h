#pragma once

#include "apps/zelview/Options.h"

namespace zelview {

/// Has device motion come from a recorded file, or be recorded, as the options say; while it lives. Main thread.
class MotionInput {
 public:
  /// Throws `ViewerError` when a file cannot be read or written.
  explicit MotionInput(const Options& options);

  /// Back to the sensors; finishes the recording.
  ~MotionInput();

  MotionInput(const MotionInput&) = delete;
  MotionInput& operator=(const MotionInput&) = delete;
};

}  // namespace zelview
