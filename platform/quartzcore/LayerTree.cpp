#include "platform/quartzcore/LayerTree.h"

namespace ZELPlatform {

namespace {

void append(const CALayer& layer, CGPoint origin, std::vector<SceneItem>& items) {
  if (layer.isHidden()) {
    return;
  }
  items.push_back({{origin, layer.bounds().size}, layer.contentsStore(), layer.isOpaque()});
  for (const std::shared_ptr<CALayer>& sublayer : layer.sublayers()) {
    const CGPoint offset = sublayer->frame().origin;
    append(*sublayer, CGPointMake(origin.x + offset.x, origin.y + offset.y), items);
  }
}

}  // namespace

std::vector<SceneItem> visibleLayers(const CALayer& root) {
  std::vector<SceneItem> items;
  append(root, CGPointMake(0, 0), items);
  return items;
}

}  // namespace ZELPlatform
