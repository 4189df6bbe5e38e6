#pragma once

#include "platform/quartzcore/Compositor.h"

#include <array>
#include <cstdint>

struct _XDisplay;

/// An X window that nothing but its compositor draws into, and its owner's connection.
class BareWindow {
 public:
  BareWindow(int width, int height);
  ~BareWindow();

  ZELPlatform::NativeSurface surface() const;

  /// What is on the screen there; red, green, blue, 255.
  std::array<uint8_t, 4> pixel(int x, int y) const;

  void resize(int width, int height);
  void destroy();

  BareWindow(const BareWindow&) = delete;
  BareWindow& operator=(const BareWindow&) = delete;

 private:
  _XDisplay* display_;
  unsigned long window_;
};
