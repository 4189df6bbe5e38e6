#pragma once

#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/Export.h>

#include <atomic>

/// The display. The native scale may be read from any thread; the rest is the main thread's.
class ZELPLATFORM_EXPORT UIScreen {
 public:
  /// The only screen; starts the application with the defaults if it was not started.
  static UIScreen& mainScreen();

  /// The size in points, at the origin.
  CGRect bounds() const { return bounds_; }

  /// Pixels per point.
  double nativeScale() const { return nativeScale_.load(std::memory_order_relaxed); }

  /// Refreshes per second.
  double maximumFramesPerSecond() const { return refreshRate_; }

  /// Set by the display driver when it opens the screen or a window moves to one of another scale, and by tests.
  void setBounds(CGRect bounds) { bounds_ = bounds; }
  void setNativeScale(double scale) { nativeScale_.store(scale, std::memory_order_relaxed); }
  void setMaximumFramesPerSecond(double rate) { refreshRate_ = rate; }

  UIScreen(const UIScreen&) = delete;
  UIScreen& operator=(const UIScreen&) = delete;

 private:
  friend class UIApplication;
  UIScreen() = default;
  static UIScreen& instance();

  CGRect bounds_{};
  std::atomic<double> nativeScale_{1.0};
  double refreshRate_ = 60.0;
};
