#include "drivers/gstreamer/PluggingGate.h"

#include <condition_variable>
#include <mutex>
#include <string_view>

namespace ZELPlatform {

struct PluggingGate::State {
  std::mutex mutex;
  std::condition_variable left;
  bool isClosed = false;
  int inside = 0;
};

namespace {

using Shared = std::shared_ptr<PluggingGate::State>;

constexpr const char* kFound = "have-type";

void enter(GstElement* finder, guint /*probability*/, GstCaps* /*caps*/, gpointer data) {
  const Shared& state = *static_cast<Shared*>(data);
  const std::lock_guard lock(state->mutex);
  if (state->isClosed) {
    // Nobody hears of it, and nothing is plugged in.
    g_signal_stop_emission_by_name(finder, kFound);
  } else {
    ++state->inside;
  }
}

void leave(GstElement* /*finder*/, guint /*probability*/, GstCaps* /*caps*/, gpointer data) {
  const Shared& state = *static_cast<Shared*>(data);
  const std::lock_guard lock(state->mutex);
  --state->inside;
  state->left.notify_all();
}

void drop(gpointer data, GClosure* /*closure*/) { delete static_cast<Shared*>(data); }

bool isTypeFinder(GstElement* element) {
  GstElementFactory* factory = gst_element_get_factory(element);
  return factory && std::string_view(GST_OBJECT_NAME(factory)) == "typefind";
}

/// For the signal "deep-element-added", which comes before the bin itself listens to its type finder: so the gate hears
/// of a type first.
void added(GstBin* /*bin*/, GstBin* /*parent*/, GstElement* element, gpointer data) {
  if (!isTypeFinder(element)) return;
  const Shared& state = *static_cast<Shared*>(data);
  g_signal_connect_data(element, kFound, G_CALLBACK(enter), new Shared(state), drop, static_cast<GConnectFlags>(0));
  g_signal_connect_data(element, kFound, G_CALLBACK(leave), new Shared(state), drop, G_CONNECT_AFTER);
}

}  // namespace

PluggingGate::PluggingGate() : state_(std::make_shared<State>()) {}

PluggingGate::~PluggingGate() = default;

void PluggingGate::watch(GstElement* playbin) {
  g_signal_connect_data(playbin, "deep-element-added", G_CALLBACK(added), new Shared(state_), drop,
                        static_cast<GConnectFlags>(0));
}

void PluggingGate::close() {
  std::unique_lock lock(state_->mutex);
  state_->isClosed = true;
  state_->left.wait(lock, [this] { return state_->inside == 0; });
}

}  // namespace ZELPlatform
