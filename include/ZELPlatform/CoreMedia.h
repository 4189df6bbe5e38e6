#pragma once

/// Media time: a count of ticks and the number of ticks per second.

#include <stdbool.h>
#include <stdint.h>

typedef struct CMTime {
  int64_t value;
  /// Ticks per second; 0 marks an invalid (zero) time.
  int32_t timescale;
} CMTime;

static const CMTime kCMTimeZero = {0, 1};
static const CMTime kCMTimeInvalid = {0, 0};

/// Later than every time; as a tolerance: any.
static const CMTime kCMTimePositiveInfinity = {INT64_MAX, 1};

static inline CMTime CMTimeMake(int64_t value, int32_t timescale) {
  CMTime time = {value, timescale};
  return time;
}

/// The nearest tick of that scale; invalid for a scale below 1, for what is not a number and for what does not fit.
static inline CMTime CMTimeMakeWithSeconds(double seconds, int32_t timescale) {
  const double ticks = seconds * (double)timescale;
  CMTime time = {0, 0};
  if (timescale < 1 || !(ticks > -9.2e18 && ticks < 9.2e18)) return time;
  time.value = (int64_t)(ticks < 0.0 ? ticks - 0.5 : ticks + 0.5);
  time.timescale = timescale;
  return time;
}

static inline bool CMTimeIsValid(CMTime time) { return time.timescale != 0; }

/// Whether it is `kCMTimePositiveInfinity`.
static inline bool CMTimeIsPositiveInfinity(CMTime time) { return time.value == INT64_MAX && time.timescale == 1; }

/// Seconds as a double; 0 for an invalid time.
static inline double CMTimeGetSeconds(CMTime time) {
  return time.timescale == 0 ? 0.0 : (double)time.value / (double)time.timescale;
}
