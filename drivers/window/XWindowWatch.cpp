#include "drivers/window/XWindowWatch.h"

#ifdef ZEL_WITH_X11

#include <array>
#include <cstdlib>

namespace ZELPlatform {

XWindowWatch::XWindowWatch(uintptr_t window)
    : connection_(xcb_connect(nullptr, nullptr)), window_(static_cast<xcb_window_t>(window)) {
  const std::array<uint32_t, 1> events{XCB_EVENT_MASK_STRUCTURE_NOTIFY};
  xcb_change_window_attributes(connection_, window_, XCB_CW_EVENT_MASK, events.data());
  const auto cookie = xcb_get_window_attributes(connection_, window_);
  if (auto* reply = xcb_get_window_attributes_reply(connection_, cookie, nullptr)) {
    visual_ = reply->visual;
    std::free(reply);
  }
}

XWindowWatch::~XWindowWatch() { xcb_disconnect(connection_); }

bool XWindowWatch::isDestroyed() {
  while (auto* event = xcb_poll_for_event(connection_)) {
    const bool ends = (event->response_type & 0x7f) == XCB_DESTROY_NOTIFY;
    destroyed_ = destroyed_ || ends;
    std::free(event);
  }
  return destroyed_ || xcb_connection_has_error(connection_) != 0;
}

}  // namespace ZELPlatform

#endif
