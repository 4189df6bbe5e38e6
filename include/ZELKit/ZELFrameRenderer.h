#pragma once

#include <ZELKit/ZELExport.h>
#include <ZELKit/ZELProjection.h>
#include <ZELPlatform/CoreVideo.h>
#include <ZELPlatform/GLKMath.h>

#include <memory>
#include <string>

/// Draws frames of video into frames of video, in the two planes that encoders take: what a view of the same shape
/// would show, without a view and without a display.
///
/// Each plane is drawn from the same plane of the frame, so that colours need not be converted: samples are
/// interpolated, nothing else. One thread at a time, whichever.
class ZELKIT_EXPORT ZELFrameRenderer {
 public:
  /// Null where there is no explicit GPU: there a `ZELRenderView` can be drawn off screen and taken a snapshot of.
  static std::shared_ptr<ZELFrameRenderer> create();
  ~ZELFrameRenderer();

  /// Draws `frame` into `target`, both of a two-plane 4:2:0 format and of one range; what is outside a flat frame's
  /// display rectangle becomes video-range black. The target's sides are even. `viewMatrix` is a controller's, `zoom` a
  /// view's; for flat content neither matters. Without a projection the target becomes black.
  ///
  /// Returns when the target's memory is written. False when a format is another one, memory is short or the GPU fails;
  /// the target may be partly written then.
  bool renderFrame(const CVPixelBufferRef& frame, const CVPixelBufferRef& target,
                   const std::shared_ptr<ZELProjection>& projection, const GLKMatrix4& viewMatrix, double zoom = 1.0);

  /// What draws, for people.
  std::string rendererDescription() const;

  ZELFrameRenderer(const ZELFrameRenderer&) = delete;
  ZELFrameRenderer& operator=(const ZELFrameRenderer&) = delete;

 private:
  ZELFrameRenderer();
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};
