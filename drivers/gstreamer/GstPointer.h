#pragma once

#include <gst/gst.h>

#include <memory>

namespace ZELPlatform {

struct GstObjectUnref {
  void operator()(gpointer object) const { gst_object_unref(object); }
};

/// An owned reference to an element, a pad or another object.
template <class Object>
using GstPointer = std::unique_ptr<Object, GstObjectUnref>;

struct GstMiniObjectUnref {
  void operator()(gpointer object) const { gst_mini_object_unref(GST_MINI_OBJECT_CAST(object)); }
};

/// An owned reference to a sample, a buffer, capabilities or an event.
template <class Object>
using GstMiniPointer = std::unique_ptr<Object, GstMiniObjectUnref>;

struct GFree {
  void operator()(gpointer memory) const { g_free(memory); }
};

using GText = std::unique_ptr<gchar, GFree>;

}  // namespace ZELPlatform
