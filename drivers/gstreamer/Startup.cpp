#include "drivers/gstreamer/Startup.h"

#include <gst/gst.h>
#include <gst/pbutils/pbutils.h>

namespace ZELPlatform {
namespace {

/// Planes of a GPU's have a thousand pages, so that what is lost by the alignment does not count.
constexpr gsize kLarge = gsize{64} * 1024;
constexpr gsize kPage = 4096;

/// GStreamer's own memory, but that large pieces begin at a page.
struct PageAllocator {
  GstAllocator base;
};
struct PageAllocatorClass {
  GstAllocatorClass base;
};

GstMemory* allocate(GstAllocator* /*allocator*/, gsize size, GstAllocationParams* wanted) {
  static GstAllocator* const system = gst_allocator_find(GST_ALLOCATOR_SYSMEM);
  GstAllocationParams params = *wanted;
  if (size >= kLarge) params.align |= kPage - 1;
  // It goes back to the allocator that it came from.
  return gst_allocator_alloc(system, size, &params);
}

GType pageAllocatorType() {
  static const GType type = g_type_register_static_simple(
      GST_TYPE_ALLOCATOR, "ZELPageAllocator", sizeof(PageAllocatorClass),
      [](gpointer type, gpointer) { GST_ALLOCATOR_CLASS(type)->alloc = allocate; }, sizeof(PageAllocator), nullptr,
      static_cast<GTypeFlags>(0));
  return type;
}

std::string start() {
  const bool isOurs = !gst_is_initialized();
  GError* error = nullptr;
  const bool started = gst_init_check(nullptr, nullptr, &error);
  const std::string reason = error ? error->message : "";
  g_clear_error(&error);
  if (!started) return "GStreamer does not start (" + reason + ")";
  gst_pb_utils_init();
  if (isOurs) {
    gst_allocator_set_default(GST_ALLOCATOR(gst_object_ref_sink(g_object_new(pageAllocatorType(), nullptr))));
  }
  return "";
}

}  // namespace

std::string startGStreamer() {
  static const std::string problem = start();
  return problem;
}

}  // namespace ZELPlatform
