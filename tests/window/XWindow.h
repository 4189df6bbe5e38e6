#pragma once

#include <ZELPlatform/UIWindow.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct _XDisplay;

/// A native window seen from outside: a second client of the X server that finds it by its title, reads its pixels, and
/// does to it what window managers and people do.
class XWindow {
 public:
  explicit XWindow(const std::string& title);
  ~XWindow();

  bool exists() const;
  bool isMapped() const;
  std::array<int, 2> size() const;

  /// The colour that is on the screen, as 0xRRGGBB; -1 where nothing can be read.
  int64_t pixel(int x, int y) const;

  void resize(int width, int height);
  void map();
  void unmap();
  void askToClose();
  /// Paints over the whole window, as another window that lay on it would.
  void damage();
  /// Has the server tell the window that it needs to be painted.
  void expose();

  /// Runs xdotool with these arguments, "%w" standing for the window; whether it succeeded.
  bool xdotool(std::string arguments) const;

  XWindow(const XWindow&) = delete;
  XWindow& operator=(const XWindow&) = delete;

 private:
  _XDisplay* display_;
  unsigned long window_ = 0;
};
