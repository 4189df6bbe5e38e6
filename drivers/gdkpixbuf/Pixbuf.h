#pragma once

#include <gdk-pixbuf/gdk-pixbuf.h>

#include <memory>

namespace ZELPlatform {

struct ObjectUnref {
  void operator()(void* object) const { g_object_unref(object); }
};
struct ErrorFree {
  void operator()(GError* error) const { g_error_free(error); }
};

using PixbufPointer = std::unique_ptr<GdkPixbuf, ObjectUnref>;
using ErrorPointer = std::unique_ptr<GError, ErrorFree>;

}  // namespace ZELPlatform
