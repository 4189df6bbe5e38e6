#pragma once

#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/QuartzCore.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ZELPlatform {

class LayerContents;

/// Which window system a native handle belongs to.
enum class WindowSystem { None, X11, Wayland };

/// A connection to a window system. `display` is the driver's own connection; on X11 a compositor opens a second one.
struct NativeDisplay {
  WindowSystem system = WindowSystem::None;
  void* display = nullptr;
};

/// A native window to compose onto: an X11 window number, or a Wayland surface pointer.
struct NativeSurface {
  NativeDisplay display;
  uintptr_t window = 0;
};

/// One layer as the compositor sees it: a rectangle in window points, from the top left.
struct SceneItem {
  CGRect frame;
  std::shared_ptr<LayerContents> contents;
  bool opaque = false;
};

/// Everything a window shows, bottom to top, on black.
struct Scene {
  CGSize points{};
  /// The window's size in pixels.
  int pixelWidth = 0;
  int pixelHeight = 0;
  std::vector<SceneItem> items;
};

/// Puts the newest picture of every layer on a native window, on a thread of its own, and paces the display links by
/// it.
///
/// Made, fed and destroyed on the main thread. Composes when a layer or the scene changed, never otherwise, and reports
/// a refresh for every period of the display while refreshes are wanted.
class Compositor : public DisplayRefresh::Source {
 public:
  virtual void setScene(Scene scene) = 0;

  /// Composes only while visible; hidden windows are paced by a timer at the screen's rate.
  virtual void setVisible(bool visible) = 0;

  /// Composes again although nothing changed: the window system lost the picture.
  virtual void invalidate() = 0;

  /// Composes and shows the scene now; returns when it is handed to the window system.
  virtual void composeNow() = 0;

  /// Pictures put on the window so far.
  virtual uint64_t composedCount() const = 0;
};

}  // namespace ZELPlatform
