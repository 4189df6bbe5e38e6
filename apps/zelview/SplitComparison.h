#pragma once

#include <ZELKit/ZELRenderView.h>
#include <ZELPlatform/UIView.h>

#include <cstdint>
#include <memory>

#include "apps/zelview/BackEnd.h"
#include "apps/zelview/RepeatingSource.h"

namespace zelview {

/// Shows, over the left half of a flat picture that a view enlarges, the same half as it came, and a line between the
/// two. Main thread.
class SplitComparison {
 public:
  /// Lies over `view`, below what else is in it. Throws `ViewerError` when no view can be made.
  SplitComparison(std::shared_ptr<ZELRenderView> view, BackEnd backEnd);
  ~SplitComparison();
  SplitComparison(const SplitComparison&) = delete;
  SplitComparison& operator=(const SplitComparison&) = delete;

  /// The frames that the view shows. Called again when they are others.
  void setFrames(const std::shared_ptr<RepeatingSource>& frames);

  /// Follows the view's and the frame's sizes; hidden unless the frame has two planes. At each refresh.
  void layOut(int64_t gravity);

  /// Where the left half of a flat frame of that size is in a view of that size.
  static CGRect leftHalfFrame(CGSize view, size_t width, size_t height, int64_t gravity);

 private:
  const std::shared_ptr<ZELRenderView> view_;
  std::shared_ptr<ZELRenderView> plain_;
  std::shared_ptr<UIView> line_;
  std::shared_ptr<RepeatingSource> frames_;
};

}  // namespace zelview
