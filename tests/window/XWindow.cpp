#include "window/XWindow.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdlib>
#include <cstring>

namespace {

Window findByTitle(Display* display, Window under, const std::string& title) {
  char* name = nullptr;
  if (XFetchName(display, under, &name) != 0 && name) {
    const bool found = title == name;
    XFree(name);
    if (found) {
      return under;
    }
  }
  Window root = 0;
  Window parent = 0;
  Window* children = nullptr;
  unsigned count = 0;
  Window found = 0;
  if (XQueryTree(display, under, &root, &parent, &children, &count) != 0) {
    for (unsigned index = 0; index < count && found == 0; ++index) {
      found = findByTitle(display, children[index], title);
    }
  }
  if (children) {
    XFree(children);
  }
  return found;
}

}  // namespace

XWindow::XWindow(const std::string& title) : display_(XOpenDisplay(nullptr)) {
  if (display_) {
    window_ = findByTitle(display_, DefaultRootWindow(display_), title);
  }
}

XWindow::~XWindow() {
  if (display_) {
    XCloseDisplay(display_);
  }
}

bool XWindow::exists() const {
  Window root = 0;
  Window parent = 0;
  Window* children = nullptr;
  unsigned count = 0;
  bool found = false;
  if (window_ != 0 && XQueryTree(display_, DefaultRootWindow(display_), &root, &parent, &children, &count) != 0) {
    for (unsigned index = 0; index < count; ++index) {
      found = found || children[index] == window_;
    }
    XFree(children);
  }
  return found;
}

bool XWindow::isMapped() const {
  XWindowAttributes attributes;
  return window_ != 0 && XGetWindowAttributes(display_, window_, &attributes) != 0 &&
         attributes.map_state == IsViewable;
}

std::array<int, 2> XWindow::size() const {
  XWindowAttributes attributes;
  XGetWindowAttributes(display_, window_, &attributes);
  return {attributes.width, attributes.height};
}

int64_t XWindow::pixel(int x, int y) const {
  XSync(display_, False);
  XImage* image = isMapped() ? XGetImage(display_, window_, x, y, 1, 1, AllPlanes, ZPixmap) : nullptr;
  if (!image) {
    return -1;
  }
  const auto value = static_cast<int64_t>(XGetPixel(image, 0, 0) & 0xFFFFFF);
  XDestroyImage(image);
  return value;
}

void XWindow::resize(int width, int height) {
  XResizeWindow(display_, window_, static_cast<unsigned>(width), static_cast<unsigned>(height));
  XSync(display_, False);
}

void XWindow::map() {
  XMapWindow(display_, window_);
  XSync(display_, False);
}

void XWindow::unmap() {
  XUnmapWindow(display_, window_);
  XSync(display_, False);
}

void XWindow::askToClose() {
  XEvent event;
  std::memset(&event, 0, sizeof event);
  event.xclient.type = ClientMessage;
  event.xclient.window = window_;
  event.xclient.message_type = XInternAtom(display_, "WM_PROTOCOLS", False);
  event.xclient.format = 32;
  event.xclient.data.l[0] = static_cast<long>(XInternAtom(display_, "WM_DELETE_WINDOW", False));
  XSendEvent(display_, window_, False, NoEventMask, &event);
  XSync(display_, False);
}

void XWindow::damage() {
  const std::array<int, 2> sides = size();
  GC context = XCreateGC(display_, window_, 0, nullptr);
  XSetForeground(display_, context, 0x808080);
  XFillRectangle(display_, window_, context, 0, 0, static_cast<unsigned>(sides[0]), static_cast<unsigned>(sides[1]));
  XFreeGC(display_, context);
  XSync(display_, False);
}

void XWindow::expose() {
  XClearArea(display_, window_, 0, 0, 0, 0, True);
  XSync(display_, False);
}

bool XWindow::xdotool(std::string arguments) const {
  for (size_t at = arguments.find("%w"); at != std::string::npos; at = arguments.find("%w")) {
    arguments.replace(at, 2, std::to_string(window_));
  }
  return std::system(("xdotool " + arguments).c_str()) == 0;
}
