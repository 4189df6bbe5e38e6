#pragma once

#include "platform/quartzcore/Compositor.h"

#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIWindow.h>

#include <memory>
#include <string>
#include <vector>

namespace ZELPlatform {

/// What a driver knows of the screen.
struct ScreenDescription {
  /// In points.
  CGSize size{};
  double nativeScale = 1.0;
  double refreshRate = 60.0;
};

/// What a native window tells; implemented by `UIWindow`. Main thread.
class NativeWindowEvents {
 public:
  virtual ~NativeWindowEvents() = default;
  virtual void resized(CGSize points, int pixelWidth, int pixelHeight) = 0;
  virtual void closeRequested() = 0;
  virtual void minimised(bool minimised) = 0;
  virtual void focused(bool focused) = 0;
  virtual void exposed() = 0;
  virtual void pointer(int64_t identifier, UITouchPhase phase, CGPoint location, double timestamp) = 0;
  virtual void pointerLost() = 0;
  virtual void scrolled(CGPoint location, double steps) = 0;
  virtual void keyPressed(const UIKey& key) = 0;
  virtual void keyReleased(const UIKey& key) = 0;
};

/// A window of the window system, made hidden. Main thread.
class NativeWindow {
 public:
  virtual ~NativeWindow() = default;
  virtual void show() = 0;
  virtual void setTitle(const std::string& title) = 0;
  virtual void setFullScreen(bool fullScreen) = 0;
  /// Asks for a size in points; what came of it arrives as `resized`.
  virtual void setSize(CGSize points) = 0;
  virtual CGSize size() const = 0;
  virtual int pixelWidth() const = 0;
  virtual int pixelHeight() const = 0;
  /// Pixels per point.
  virtual double scale() const = 0;
  /// What to compose onto; system `None` when there is nothing to compose onto (off screen).
  virtual NativeSurface surface() const = 0;
};

/// A way to the display. Main thread; lives for the process once it was chosen.
class DisplayDriver {
 public:
  virtual ~DisplayDriver() = default;
  virtual ScreenDescription screen() const = 0;
  /// The connection on which GL opens its display; system `None` off screen.
  virtual NativeDisplay nativeDisplay() const = 0;
  /// Null, with one sentence in `error`, when there can be no window. `events` outlives the window.
  virtual std::unique_ptr<NativeWindow> createWindow(NativeWindowEvents* events, CGSize points, std::string* error) = 0;
};

/// One entry of the list of display drivers.
struct DisplayDriverDescriptor {
  const char* name;
  /// Null, with one sentence in `error`, when the display cannot be opened.
  std::unique_ptr<DisplayDriver> (*create)(const UIApplicationOptions& options, std::string* error);
};

/// The drivers that were built in, in the order in which "auto" tries them; off screen is the last.
const std::vector<DisplayDriverDescriptor>& displayDrivers();

/// The driver in use; null before `UIApplication::start`.
DisplayDriver* activeDisplayDriver();

}  // namespace ZELPlatform
