#include "drivers/gstreamer/Tasks.h"

#include <memory>

namespace ZELPlatform {
namespace {

struct IteratorFree {
  void operator()(GstIterator* iterator) const { gst_iterator_free(iterator); }
};

/// Whether any of them is such; what changes meanwhile counts as one.
bool any(GstIterator* owned, bool (*isSuch)(GObject*)) {
  const std::unique_ptr<GstIterator, IteratorFree> iterator(owned);
  GValue value = G_VALUE_INIT;
  bool found = false;
  GstIteratorResult result = GST_ITERATOR_OK;
  while (!found && (result = gst_iterator_next(iterator.get(), &value)) == GST_ITERATOR_OK) {
    found = isSuch(G_OBJECT(g_value_get_object(&value)));
    g_value_reset(&value);
  }
  if (G_IS_VALUE(&value)) g_value_unset(&value);
  return found || result == GST_ITERATOR_RESYNC;
}

bool padRuns(GObject* pad) { return gst_pad_get_task_state(GST_PAD(pad)) == GST_TASK_STARTED; }

bool elementRuns(GObject* element) { return any(gst_element_iterate_pads(GST_ELEMENT(element)), padRuns); }

}  // namespace

bool hasRunningTask(GstBin* bin) { return any(gst_bin_iterate_recurse(bin), elementRuns); }

}  // namespace ZELPlatform
