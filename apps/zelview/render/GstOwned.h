#pragma once

#include <gst/gst.h>

#include <memory>

namespace zelview {

struct GstDeleter {
  void operator()(GstElement* element) const { gst_object_unref(element); }
  void operator()(GstSample* sample) const { gst_sample_unref(sample); }
  void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
  void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
  void operator()(GstPad* pad) const { gst_object_unref(pad); }
  void operator()(GstMessage* message) const { gst_message_unref(message); }
  void operator()(GstBufferPool* pool) const {
    gst_buffer_pool_set_active(pool, FALSE);
    gst_object_unref(pool);
  }
};

/// An owned reference to something of GStreamer's.
template <class Type>
using GstPointer = std::unique_ptr<Type, GstDeleter>;

}  // namespace zelview
