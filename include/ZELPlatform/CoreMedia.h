#pragma once

/// Media time: a count of ticks and the number of ticks per second.

#include <stdint.h>

typedef struct CMTime {
  int64_t value;
  /// Ticks per second; 0 marks an invalid (zero) time.
  int32_t timescale;
} CMTime;

static inline CMTime CMTimeMake(int64_t value, int32_t timescale) {
  CMTime time = {value, timescale};
  return time;
}

/// Seconds as a double; 0 for an invalid time.
static inline double CMTimeGetSeconds(CMTime time) {
  return time.timescale == 0 ? 0.0 : (double)time.value / (double)time.timescale;
}
