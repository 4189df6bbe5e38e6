#include "drivers/gstreamer/PluggingGate.h"

#include <string_view>

namespace ZELPlatform {
namespace {

constexpr const char* kFound = "have-type";

bool isTypeFinder(GstElement* element) {
  GstElementFactory* factory = gst_element_get_factory(element);
  return factory && std::string_view(GST_OBJECT_NAME(factory)) == "typefind";
}

}  // namespace

void PluggingGate::watch(GstElement* playbin) {
  const std::lock_guard lock(mutex_);
  isClosed_ = false;
  g_signal_connect(playbin, "deep-element-added", G_CALLBACK(added), this);
}

void PluggingGate::close() {
  std::unique_lock lock(mutex_);
  isClosed_ = true;
  left_.wait(lock, [this] { return inside_ == 0; });
}

/// This signal comes before the bin itself listens to its type finder: so the gate hears of a type first.
void PluggingGate::added(GstBin* /*bin*/, GstBin* /*parent*/, GstElement* element, gpointer gate) {
  if (!isTypeFinder(element)) return;
  g_signal_connect(element, kFound, G_CALLBACK(enter), gate);
  g_signal_connect_after(element, kFound, G_CALLBACK(leave), gate);
}

void PluggingGate::enter(GstElement* finder, guint /*probability*/, GstCaps* /*caps*/, gpointer gate) {
  auto* self = static_cast<PluggingGate*>(gate);
  const std::lock_guard lock(self->mutex_);
  if (self->isClosed_) {
    // Nobody hears of it, and nothing is plugged in.
    g_signal_stop_emission_by_name(finder, kFound);
  } else {
    ++self->inside_;
  }
}

void PluggingGate::leave(GstElement* /*finder*/, guint /*probability*/, GstCaps* /*caps*/, gpointer gate) {
  auto* self = static_cast<PluggingGate*>(gate);
  const std::lock_guard lock(self->mutex_);
  --self->inside_;
  self->left_.notify_all();
}

}  // namespace ZELPlatform
