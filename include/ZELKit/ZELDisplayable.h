#pragma once

#include <ZELKit/ZELExport.h>

/// Something that is drawn once per display refresh.
class ZELKIT_EXPORT ZELDisplayable {
 public:
  virtual ~ZELDisplayable() = default;

  /// Prepares the frame that will be on the screen at `syncTime` (seconds of host time). Main thread.
  virtual void displayAtSyncTime(double syncTime) = 0;
};
