#pragma once

#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/Export.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

class UIWindow;

enum UIApplicationState : int64_t {
  UIApplicationStateActive = 0,
  UIApplicationStateInactive = 1,
  UIApplicationStateBackground = 2,
};

enum UIInterfaceOrientation : int64_t {
  UIInterfaceOrientationUnknown = 0,
  UIInterfaceOrientationPortrait = 1,
  UIInterfaceOrientationPortraitUpsideDown = 2,
  UIInterfaceOrientationLandscapeRight = 3,
  UIInterfaceOrientationLandscapeLeft = 4,
};

/// How the application meets the display.
struct UIApplicationOptions {
  /// The display driver: "sdl" (a window system), "offscreen" (no display needed), or "auto" (the first that works).
  std::string displayDriver = "auto";
  /// The name that window systems show.
  std::string applicationName = "ZELKit";
  /// Off screen: the screen's size in points, pixels per point, and refreshes per second.
  CGSize offscreenSize = {1280, 720};
  double offscreenScale = 1.0;
  double offscreenRefreshRate = 60.0;
};

/// The running application. The state and the orientation may be read from any thread; the rest is the main thread's.
class ZELPLATFORM_EXPORT UIApplication {
 public:
  static UIApplication& sharedApplication();

  /// Opens the display; to be called once, before the first window. Without it the first use of a window or the screen
  /// starts with the defaults. Returns an empty string, or one sentence that says why there is no display; then nothing
  /// has changed and it may be called again. Called again after success it does nothing.
  static std::string start(const UIApplicationOptions& options);

  /// The name of the display driver in use; empty before the start.
  std::string displayDriverName() const;

  /// Active with a visible (or not yet shown) window or off screen, background when every window is minimised.
  UIApplicationState applicationState() const { return state_.load(std::memory_order_relaxed); }

  /// Overrides the state, for hosts that know better and for tests; drivers set it on the window system's events.
  void setApplicationState(UIApplicationState state) { state_.store(state, std::memory_order_relaxed); }

  /// What the host of a rotating device set; else landscape when the key window (or, without one, the screen) is wider
  /// than tall, portrait when not.
  UIInterfaceOrientation statusBarOrientation() const { return orientation_.load(std::memory_order_relaxed); }

  /// Sets the orientation for good, for hosts on rotating devices and for tests; `UIInterfaceOrientationUnknown` goes
  /// back to following the key window.
  void overrideStatusBarOrientation(UIInterfaceOrientation orientation);

  /// How the display itself is turned, in whose terms the sensors of a rotating device are told: what the host set. Of
  /// a display that stands as it was built, or when nobody said, `UIInterfaceOrientationUnknown`. Any thread.
  UIInterfaceOrientation displayOrientation() const {
    return orientationOverridden_.load(std::memory_order_relaxed) ? statusBarOrientation()
                                                                  : UIInterfaceOrientationUnknown;
  }

  /// The window that last became key, or null.
  std::shared_ptr<UIWindow> keyWindow() const;

  UIApplication(const UIApplication&) = delete;
  UIApplication& operator=(const UIApplication&) = delete;

 private:
  UIApplication() = default;
  friend class UIWindow;
  void keyWindowChanged(const std::shared_ptr<UIWindow>& window);
  void followKeyWindowShape();

  std::atomic<UIApplicationState> state_{UIApplicationStateActive};
  std::atomic<UIInterfaceOrientation> orientation_{UIInterfaceOrientationPortrait};
  std::atomic<bool> orientationOverridden_{false};
  std::weak_ptr<UIWindow> keyWindow_;
};
