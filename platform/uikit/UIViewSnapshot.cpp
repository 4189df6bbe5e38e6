#include <ZELPlatform/UIView.h>

#include "platform/quartzcore/LayerContents.h"
#include "platform/quartzcore/LayerTree.h"
#include "platform/uikit/ImageContext.h"

#include <utility>
#include <vector>

namespace {

using ZELPlatform::SceneItem;

/// What the layer shows now, or null while it shows nothing.
std::shared_ptr<CGImage> currentPicture(const SceneItem& item) {
  const std::shared_ptr<ZELPlatform::LayerImage> front = item.contents->front();
  std::shared_ptr<CGImage> picture = front ? front->readBack() : item.contents->still();
  if (!picture || !item.opaque || picture->alphaInfo() == CGImageAlphaInfo::NoneSkipLast) {
    return picture;
  }
  return picture->withAlphaInfo(CGImageAlphaInfo::NoneSkipLast);
}

}  // namespace

bool UIView::drawViewHierarchyInRect(CGRect rect, bool afterScreenUpdates) {
  const ZELPlatform::ImageContext* context = ZELPlatform::currentImageContext();
  if (!context || !context->bitmap) {
    return false;
  }
  if (afterScreenUpdates) {
    layoutIfNeeded();
  }
  const CGSize size = bounds().size;
  if (size.width <= 0 || size.height <= 0) {
    return true;
  }
  const double stretchX = rect.size.width / size.width;
  const double stretchY = rect.size.height / size.height;
  for (const SceneItem& item : ZELPlatform::visibleLayers(*layer())) {
    if (const std::shared_ptr<CGImage> picture = currentPicture(item)) {
      context->bitmap->drawImage(*picture, CGRectMake((rect.origin.x + item.frame.origin.x * stretchX) * context->scale,
                                                      (rect.origin.y + item.frame.origin.y * stretchY) * context->scale,
                                                      item.frame.size.width * stretchX * context->scale,
                                                      item.frame.size.height * stretchY * context->scale));
    }
  }
  return true;
}
