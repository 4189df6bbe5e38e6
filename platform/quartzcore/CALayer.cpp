#include <ZELPlatform/QuartzCore.h>

#include "platform/quartzcore/LayerContents.h"

#include <ZELPlatform/Dispatch.h>

#include <algorithm>
#include <utility>

CALayer::CALayer() : contentsStore_(std::make_shared<ZELPlatform::LayerContents>()) {}

CALayer::~CALayer() = default;

CGRect CALayer::frame() const {
  const std::lock_guard lock(mutex_);
  return frame_;
}

void CALayer::setFrame(CGRect frame) {
  {
    const std::lock_guard lock(mutex_);
    if (CGRectEqualToRect(frame_, frame)) {
      return;
    }
    frame_ = frame;
  }
  noteTreeChanged();
}

CGRect CALayer::bounds() const {
  const std::lock_guard lock(mutex_);
  return CGRectMake(0, 0, frame_.size.width, frame_.size.height);
}

double CALayer::contentsScale() const {
  const std::lock_guard lock(mutex_);
  return contentsScale_;
}

void CALayer::setContentsScale(double scale) {
  const std::lock_guard lock(mutex_);
  contentsScale_ = scale;
}

bool CALayer::isOpaque() const {
  const std::lock_guard lock(mutex_);
  return opaque_;
}

void CALayer::setOpaque(bool opaque) {
  {
    const std::lock_guard lock(mutex_);
    if (std::exchange(opaque_, opaque) == opaque) {
      return;
    }
  }
  noteTreeChanged();
}

bool CALayer::isHidden() const {
  const std::lock_guard lock(mutex_);
  return hidden_;
}

void CALayer::setHidden(bool hidden) {
  {
    const std::lock_guard lock(mutex_);
    if (std::exchange(hidden_, hidden) == hidden) {
      return;
    }
  }
  noteTreeChanged();
}

void CALayer::setContents(std::shared_ptr<CGImage> image) { contentsStore_->setStill(std::move(image)); }

void CALayer::addSublayer(const std::shared_ptr<CALayer>& layer) {
  if (!layer) {
    return;
  }
  for (const CALayer* ancestor = this; ancestor; ancestor = ancestor->superlayer().get()) {
    if (ancestor == layer.get()) {
      return;
    }
  }
  layer->removeFromSuperlayer();
  layer->superlayer_ = weak_from_this();
  sublayers_.push_back(layer);
  noteTreeChanged();
}

void CALayer::removeFromSuperlayer() {
  const std::shared_ptr<CALayer> parent = std::exchange(superlayer_, {}).lock();
  if (!parent) {
    return;
  }
  // The parent's reference may be the last one.
  const std::shared_ptr<CALayer> self = shared_from_this();
  std::erase(parent->sublayers_, self);
  parent->noteTreeChanged();
}

std::shared_ptr<CALayer> CALayer::superlayer() const { return superlayer_.lock(); }

void CALayer::noteTreeChanged() {
  // Render queues may say that their layer became opaque; the tree is looked at on the main thread only.
  if (!DispatchIsMainThread()) {
    DispatchQueue::mainQueue()->async([weak = weak_from_this()] {
      if (const std::shared_ptr<CALayer> layer = weak.lock()) {
        layer->noteTreeChanged();
      }
    });
    return;
  }
  for (std::shared_ptr<CALayer> layer = weak_from_this().lock(); layer; layer = layer->superlayer()) {
    if (layer->treeChanged_) {
      layer->treeChanged_();
    }
  }
}

EAGLDrawableProperties CAEAGLLayer::drawableProperties() const { return drawableProperties_; }

void CAEAGLLayer::setDrawableProperties(EAGLDrawableProperties properties) { drawableProperties_ = properties; }
