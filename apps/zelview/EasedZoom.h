#pragma once

namespace zelview {

/// A zoom that comes nearer to where it is going by the same factor in the same time: its logarithm does, so that
/// zooming in and out are alike. A function of time and so the same at any frame rate. Seconds.
class EasedZoom {
 public:
  /// At rest at that zoom, held within `kSmallestZoom` and `kLargestZoom` as every zoom is.
  explicit EasedZoom(double zoom);

  /// Where it is going, or is.
  double target() const { return target_; }

  /// Goes there from this time on, which may not lie before the change before. A number that is not finite or not
  /// positive is ignored.
  void setTarget(double zoom, double time);

  /// The zoom at a time after the newest change; exactly the target once the difference is too small to be seen.
  double zoomAt(double time) const;

 private:
  double target_;
  double since_ = 0.0;
  /// The logarithm of zoom over target, at `since_`.
  double distance_ = 0.0;
};

}  // namespace zelview
