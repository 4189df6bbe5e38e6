#pragma once

#include <gst/gst.h>

#include <condition_variable>
#include <mutex>

namespace ZELPlatform {

/// Keeps a playbin from being stopped at the moments in which stopping it would never end.
///
/// When the kind of a stream has been found, the thread that found it plugs in what reads it, and takes the state lock
/// of the bin around it for that. A stop of the playbin holds that lock and waits for that thread (seen with GStreamer
/// 1.22). So a stop waits until nobody is plugging, and afterwards nobody begins to.
class PluggingGate {
 public:
  PluggingGate() = default;

  /// To be called before the playbin leaves its first state; the gate outlives it.
  void watch(GstElement* playbin);

  /// Waits for what is being plugged in, which takes no input or output, and lets nobody begin.
  void close();

  PluggingGate(const PluggingGate&) = delete;
  PluggingGate& operator=(const PluggingGate&) = delete;

 private:
  static void added(GstBin* bin, GstBin* parent, GstElement* element, gpointer gate);
  static void enter(GstElement* finder, guint probability, GstCaps* caps, gpointer gate);
  static void leave(GstElement* finder, guint probability, GstCaps* caps, gpointer gate);

  std::mutex mutex_;
  std::condition_variable left_;
  bool isClosed_ = true;
  int inside_ = 0;
};

}  // namespace ZELPlatform
