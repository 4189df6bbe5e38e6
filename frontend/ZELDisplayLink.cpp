#include "frontend/ZELDisplayLink.h"

#include <ZELPlatform/UIApplication.h>

std::shared_ptr<ZELDisplayLink> ZELDisplayLink::createWithDisplayable(
    const std::shared_ptr<ZELDisplayable>& displayable) {
  std::shared_ptr<ZELDisplayLink> link(new ZELDisplayLink());
  link->displayable_ = displayable;
  link->displayLink_ = CADisplayLink::create([link] { link->display(); });
  link->displayLink_->setPaused(true);
  link->displayLink_->addToMainRunLoop();
  return link;
}

void ZELDisplayLink::resume() {
  if (displayLink_) displayLink_->setPaused(false);
}

void ZELDisplayLink::pause() {
  if (displayLink_) displayLink_->setPaused(true);
}

void ZELDisplayLink::invalidate() {
  if (!displayLink_) return;
  // Dropping the timer's target may drop the last reference to this object.
  const std::shared_ptr<ZELDisplayLink> self = shared_from_this();
  displayLink_->invalidate();
  displayLink_ = nullptr;
}

void ZELDisplayLink::display() {
  if (UIApplication::sharedApplication().applicationState() != UIApplicationStateActive) return;
  if (!displayLink_) return;
  const double syncTime = displayLink_->timestamp() + displayLink_->duration();
  if (const std::shared_ptr<ZELDisplayable> displayable = displayable_.lock()) displayable->displayAtSyncTime(syncTime);
}
