#pragma once

#include "platform/uikit/DisplayDriver.h"

#include <ZELPlatform/UIWindow.h>

#include <memory>
#include <string>
#include <vector>

/// The native side of a window: what it stands on, and what it hears from there. Main thread.
///
/// A host may close or drop the window in answer to any event, and this object goes with it: every event handler calls
/// out last and touches nothing afterwards.
struct UIWindow::Native final : ZELPlatform::NativeWindowEvents {
  explicit Native(UIWindow& window);
  ~Native() override;

  /// Makes the hidden native window and, where there is GL, the compositor for it. Returns an empty string, or one
  /// sentence on failure.
  std::string open(CGSize points);

  void resized(CGSize points, int pixelWidth, int pixelHeight) override;
  void closeRequested() override;
  void minimised(bool minimised) override;
  void focused(bool focused) override;
  void exposed() override;
  void pointer(int64_t identifier, UITouchPhase phase, CGPoint location, double timestamp) override;
  void pointerLost() override;
  void scrolled(CGPoint location, double steps) override;
  void keyPressed(const UIKey& key) override;
  void keyReleased(const UIKey& key) override;

  /// Composes the first picture on the shown window and has the display links follow it.
  void startComposing();

  /// Does the pending layout and commits of every window.
  static void updateAll();

  /// Background when every window that was shown is minimised, else active.
  static void updateApplicationState();

  UIWindow& owner;
  std::unique_ptr<ZELPlatform::NativeWindow> window;
  /// Null off screen and without GL.
  std::shared_ptr<ZELPlatform::Compositor> compositor;
  bool isShown = false;
  bool isMinimised = false;

 private:
  /// The windows that have a native side, oldest first.
  static std::vector<Native*>& all();
};
