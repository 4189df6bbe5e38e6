#include "apps/zelview/SplitComparison.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "apps/zelview/CairoCanvas.h"

namespace zelview {
namespace {

constexpr double kLineWidth = 2.0;

std::shared_ptr<UIView> makeLine() {
  CairoCanvas canvas(kLineWidth, 1.0);
  canvas.setColour(0xFF6000);
  canvas.fillRect(CGRectMake(0, 0, kLineWidth, 1.0));
  std::shared_ptr<UIView> line = UIView::create();
  line->layer()->setContents(canvas.makeImage());
  line->setUserInteractionEnabled(false);
  return line;
}

}  // namespace

SplitComparison::SplitComparison(std::shared_ptr<ZELRenderView> view, BackEnd backEnd)
    : view_(std::move(view)), plain_(makeRenderView(CGRectMake(0, 0, 1, 1), backEnd)), line_(makeLine()) {
  plain_->setUserInteractionEnabled(false);
  // The frame has just the shape of what is shown in it.
  plain_->setContentProjection(ZELProjection::flatWithContentGravity(ZELContentGravityFill));
  for (const std::shared_ptr<UIView>& part : {std::static_pointer_cast<UIView>(plain_), line_}) {
    part->setHidden(true);
    view_->addSubview(part);
  }
}

SplitComparison::~SplitComparison() {
  plain_->removeFromSuperview();
  line_->removeFromSuperview();
}

void SplitComparison::setFrames(const std::shared_ptr<RepeatingSource>& frames) {
  frames_ = frames;
  plain_->setContentSource(frames ? std::make_shared<LeftHalfSource>(frames) : nullptr);
}

void SplitComparison::layOut(int64_t gravity) {
  const CVPixelBufferRef frame = frames_ ? frames_->lastFrame() : nullptr;
  const bool isFlat = view_->contentProjection() && view_->contentProjection()->type() == ZELProjectionTypeFlat;
  const bool isShown = isFlat && frame && frame->planeCount() == 2 && leftHalf(frame->width()) > 0;
  plain_->setHidden(!isShown);
  line_->setHidden(!isShown);
  if (!isShown) return;
  const CGRect half = leftHalfFrame(view_->bounds().size, frame->width(), frame->height(), gravity);
  plain_->setFrame(half);
  line_->setFrame(CGRectMake(std::round(half.origin.x + half.size.width - kLineWidth / 2), half.origin.y, kLineWidth,
                             half.size.height));
}

CGRect SplitComparison::leftHalfFrame(CGSize view, size_t width, size_t height, int64_t gravity) {
  const double across = view.width / static_cast<double>(width);
  const double down = view.height / static_cast<double>(height);
  const double scale = gravity == ZELContentGravityFill ? std::max(across, down) : std::min(across, down);
  const CGSize shown = CGSizeMake(scale * static_cast<double>(width), scale * static_cast<double>(height));
  return CGRectMake((view.width - shown.width) / 2, (view.height - shown.height) / 2,
                    scale * static_cast<double>(leftHalf(width)), shown.height);
}

}  // namespace zelview
