#include "drivers/gstreamer/PeriodicTimer.h"

#include "drivers/gstreamer/GstPointer.h"

#include <utility>

namespace ZELPlatform {
namespace {

using Call = std::function<void()>;

gboolean fire(GstClock* /*clock*/, GstClockTime /*time*/, GstClockID /*id*/, gpointer call) {
  (*static_cast<Call*>(call))();
  return TRUE;
}

void drop(gpointer call) { delete static_cast<Call*>(call); }

}  // namespace

PeriodicTimer::PeriodicTimer(double seconds, std::function<void()> call) {
  const GstPointer<GstClock> clock(gst_system_clock_obtain());
  const auto interval = static_cast<GstClockTime>(seconds * GST_SECOND);
  id_ = gst_clock_new_periodic_id(clock.get(), gst_clock_get_time(clock.get()) + interval, interval);
  gst_clock_id_wait_async(id_, fire, new Call(std::move(call)), drop);
}

PeriodicTimer::~PeriodicTimer() {
  gst_clock_id_unschedule(id_);
  gst_clock_id_unref(id_);
}

}  // namespace ZELPlatform
