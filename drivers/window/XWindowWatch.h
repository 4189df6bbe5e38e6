#pragma once

#ifdef ZEL_WITH_X11

#include <xcb/xcb.h>

#include <cstdint>

namespace ZELPlatform {

/// A connection of its own to an X window, which learns what drivers do not tell: the window's visual, and that it is
/// gone. (They report success when they draw on a destroyed window.)
class XWindowWatch {
 public:
  explicit XWindowWatch(uintptr_t window);
  ~XWindowWatch();

  xcb_connection_t* connection() const { return connection_; }
  xcb_window_t window() const { return window_; }

  /// 0 when there is no such window.
  xcb_visualid_t visual() const { return visual_; }

  /// One thread at a time.
  bool isDestroyed();

  XWindowWatch(const XWindowWatch&) = delete;
  XWindowWatch& operator=(const XWindowWatch&) = delete;

 private:
  xcb_connection_t* connection_;
  xcb_window_t window_;
  xcb_visualid_t visual_ = 0;
  bool destroyed_ = false;
};

}  // namespace ZELPlatform

#endif
