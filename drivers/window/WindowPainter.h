#pragma once

#include "platform/quartzcore/Compositor.h"

#include <memory>
#include <vector>

namespace ZELPlatform {

/// What became of a picture that was to be put on the window.
enum class Shown {
  Yes,
  /// The window changed under it: another try will do.
  Again,
  /// The window is gone.
  Lost,
};

/// Draws scenes on one native window with one API. Made and destroyed on the main thread or the compositor's; all else,
/// between `begin` and `end`, belongs to the compositor's.
class WindowPainter {
 public:
  virtual ~WindowPainter() = default;

  /// Takes the window; false when it cannot be drawn on.
  virtual bool begin() = 0;

  /// Leaves the window, so that another painter can take it.
  virtual void end() = 0;

  /// Whether the window was destroyed under us, as far as the window system has said.
  virtual bool isLost() = 0;

  /// Draws every layer's newest picture, bottom to top, on black, and waits for the GPU, so that what showing takes is
  /// the display's time alone. False when this painter cannot.
  virtual bool paint(const Scene& scene) = 0;

  /// Puts what was painted on the window.
  virtual Shown show() = 0;
};

/// A painter for scenes of one kind, which it shows with less work than the one that shows all.
struct SpecialPainterDescriptor {
  const char* name;
  /// Whether it can show the scene as it is now, and better. Compositor's thread.
  bool (*suits)(const Scene& scene);
  /// Null when it cannot draw on the window.
  std::unique_ptr<WindowPainter> (*create)(const NativeSurface& surface);
};

/// The special painters that were built in, in the order in which they are asked.
const std::vector<SpecialPainterDescriptor>& specialPainters();

}  // namespace ZELPlatform
