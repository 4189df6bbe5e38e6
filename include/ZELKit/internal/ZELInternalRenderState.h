#pragma once

#include <ZELKit/ZELProjection.h>
#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/GLKMath.h>

#include <cstdint>
#include <functional>
#include <memory>

/// Everything that a back end needs for one frame.
///
/// Written on the main thread before it is handed over and not modified afterwards; back ends read it on their queues.
/// A fresh state is all zeros.
class ZELInternalRenderState {
 public:
  /// The camera's rotation; the identity for flat content.
  GLKMatrix4 viewMatrix{};
  /// The distance of the image plane along the view axis: the view's zoom times the projection's zoom scale.
  double nearPlane = 0.0;
  std::shared_ptr<ZELProjection> projection;
  /// The display size in points, each side rounded up to a whole number.
  CGSize size{};
  /// The main screen's pixels per point.
  double nativeScale = 0.0;
  /// Host time in seconds at which the frame will be on the screen; picks the content frame.
  double syncTime = 0.0;
  int64_t srContentType = 0;
  int64_t srEncoderType = 0;
  bool srEnabled = false;
  /// To be called once, on any thread, when the frame of this state has been drawn; may be empty.
  std::function<void()> frameDisplayed;

  /// Whether the two states give different pictures of the same texture. Exact: bytes of the matrices, identity of the
  /// projections, no tolerance. Time and callback do not count.
  bool differsFromRenderState(const ZELInternalRenderState& other) const;

  /// A copy without the callback, for back ends to remember what they drew. The callback holds the view, which owns the
  /// back end: keeping it as well would keep both alive for as long as the picture stays.
  std::shared_ptr<const ZELInternalRenderState> withoutCallback() const;
};
