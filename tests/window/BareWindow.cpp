#include "tests/window/BareWindow.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

// The macro of this name would take the enumerator's.
#undef None

BareWindow::BareWindow(int width, int height)
    : display_(XOpenDisplay(nullptr)),
      window_(XCreateSimpleWindow(display_, DefaultRootWindow(display_), 0, 0, static_cast<unsigned>(width),
                                  static_cast<unsigned>(height), 0, 0, 0)) {
  XMapRaised(display_, window_);
  XSync(display_, False);
}

BareWindow::~BareWindow() { XCloseDisplay(display_); }

ZELPlatform::NativeSurface BareWindow::surface() const { return {{ZELPlatform::WindowSystem::X11, display_}, window_}; }

std::array<uint8_t, 4> BareWindow::pixel(int x, int y) const {
  XSync(display_, False);
  XImage* image = XGetImage(display_, window_, x, y, 1, 1, AllPlanes, ZPixmap);
  const unsigned long value = XGetPixel(image, 0, 0);
  XDestroyImage(image);
  return {static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value), 255};
}

void BareWindow::resize(int width, int height) {
  XResizeWindow(display_, window_, static_cast<unsigned>(width), static_cast<unsigned>(height));
  XSync(display_, False);
}

void BareWindow::destroy() {
  XDestroyWindow(display_, window_);
  XSync(display_, False);
}
