#include "drivers/gstreamer/Tasks.h"

#include <memory>
#include <string_view>

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

/// The thread of a queue runs on when nothing comes any more.
bool isQueue(GstElement* element) {
  GstElementFactory* factory = gst_element_get_factory(element);
  const std::string_view name = factory ? GST_OBJECT_NAME(factory) : "";
  return name == "multiqueue" || name == "queue" || name == "queue2";
}

bool movesData(GObject* element) { return !isQueue(GST_ELEMENT(element)) && elementRuns(element); }

}  // namespace

Work workIn(GstBin* bin) {
  if (any(gst_bin_iterate_recurse(bin), movesData)) return Work::Moving;
  return any(gst_bin_iterate_recurse(bin), elementRuns) ? Work::Draining : Work::None;
}

}  // namespace ZELPlatform
