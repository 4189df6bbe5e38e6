#pragma once

#include <ZELKit/ZELDisplayable.h>
#include <ZELKit/ZELExport.h>
#include <ZELKit/ZELInteractionController.h>
#include <ZELKit/ZELPixelBufferSource.h>
#include <ZELKit/ZELProjection.h>
#include <ZELKit/ZELSuperResolutionStatus.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIImage.h>
#include <ZELPlatform/UIView.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class DispatchQueue;
class ZELDisplayLink;
class ZELInternalRenderState;
class ZELInternalRenderView;
class ZELInternalWeakRef;

/// A view that shows 360-degree or flat frames: give it a source, a projection and, for 360-degree content, a
/// controller.
///
/// It draws once per display refresh while it is in a window and the application is active. Main thread only, but for
/// `flushGPU`. Absent objects degrade quietly: no source draws nothing new, no controller looks straight ahead, no
/// projection shows nothing of use.
class ZELKIT_EXPORT ZELRenderView final : public UIView, public ZELDisplayable {
 public:
  explicit ZELRenderView(Key key);
  ~ZELRenderView() override;

  static std::shared_ptr<ZELRenderView> create(CGRect frame);

  /// Multiplies the projection's near-plane distance: above 1 magnifies. 1 at first.
  double zoom() const { return zoom_; }
  void setZoom(double zoom) { zoom_ = zoom; }

  /// Held by the view. Setting it makes `readyForDisplay` false until a frame of the new source has been drawn. A new
  /// source hears of the display size only when that next changes.
  const std::shared_ptr<ZELPixelBufferSource>& contentSource() const { return contentSource_; }
  void setContentSource(std::shared_ptr<ZELPixelBufferSource> source);

  const std::shared_ptr<ZELProjection>& contentProjection() const { return contentProjection_; }
  void setContentProjection(std::shared_ptr<ZELProjection> projection) { contentProjection_ = std::move(projection); }

  /// Held by the view; attaching it to a view and detaching it is the host's work.
  const std::shared_ptr<ZELInteractionController>& controller() const { return controller_; }
  void setController(std::shared_ptr<ZELInteractionController> controller) { controller_ = std::move(controller); }

  /// Whether a frame of the present source has been drawn.
  bool readyForDisplay() const { return readyForDisplay_; }
  /// Called by the view itself; public so that every change goes through one place.
  void setReadyForDisplay(bool ready);
  /// Called on the main thread after every change of `readyForDisplay`.
  void setReadyForDisplayObserver(std::function<void(bool)> observer) { readyObserver_ = std::move(observer); }

  /// Whether flat video may be upscaled by a neural network, and which kind of content and encoder it is; taken over
  /// into every frame, used by back ends that can.
  bool superResolutionEnabled() const { return superResolutionEnabled_; }
  void setSuperResolutionEnabled(bool enabled) { superResolutionEnabled_ = enabled; }
  int64_t superResolutionContentType() const { return superResolutionContentType_; }
  void setSuperResolutionContentType(int64_t type) { superResolutionContentType_ = type; }
  int64_t superResolutionEncoderType() const { return superResolutionEncoderType_; }
  void setSuperResolutionEncoderType(int64_t type) { superResolutionEncoderType_ = type; }

  /// Whether views made from now on may draw with Metal, where the machine can; true at first. Else they draw with
  /// OpenGL ES. Any thread.
  static bool metalAllowed();
  static void setMetalAllowed(bool allowed);

  /// Whether this view draws with Metal.
  bool usesMetal() const;

  /// What draws this view, for people: back end, GPU, and how frames reach it, once there was one.
  std::string rendererDescription() const;

  /// Whether the frame that was drawn last was enlarged by a network, and if not, why. It is decided anew with each
  /// new frame: a still picture has to be handed out again after a change. Main thread; waits for a frame under way.
  ZELSuperResolutionStatus superResolutionStatus() const;

  /// What the view shows now, at the main screen's scale. Waits for a frame under way and for the GPU; null for an
  /// empty view.
  std::shared_ptr<UIImage> takeSnapshot();

  /// Has every living view's back end finish the GPU work that it has queued. The OpenGL ES back end only posts this
  /// and returns. Any thread, except from within itself.
  static void flushGPU();

  void displayAtSyncTime(double syncTime) override;
  void layoutSubviews() override;
  void willMoveToWindow(const std::shared_ptr<UIWindow>& window) override;

  /// The registry of living back-end views; for the library's own use.
  static std::shared_ptr<ZELInternalRenderView> _createInternalView();
  static void _trackInternalView(const std::shared_ptr<ZELInternalRenderView>& view);
  static std::vector<std::shared_ptr<ZELInternalWeakRef>>& _trackedViews();
  static const std::shared_ptr<DispatchQueue>& _trackLockQueue();
  static void collectWeakRefs();

  /// Installs a back-end view in place of the present one, and tracks it; for the library's own use.
  void _setupInternalView(std::shared_ptr<ZELInternalRenderView> view);
  /// The back-end view; for the library's own use.
  const std::shared_ptr<ZELInternalRenderView>& renderView() const { return renderView_; }

 protected:
  bool initWithFrame(CGRect frame) override;

 private:
  float advanceClock();
  GLKMatrix4 cameraMatrix(float deltaTime);
  std::shared_ptr<ZELInternalRenderState> makeState(const GLKMatrix4& viewMatrix, double syncTime);
  std::function<void()> makeFrameDisplayedCallback();

  double zoom_ = 0.0;
  std::shared_ptr<ZELPixelBufferSource> contentSource_;
  std::shared_ptr<ZELProjection> contentProjection_;
  std::shared_ptr<ZELInteractionController> controller_;
  bool readyForDisplay_ = false;
  std::function<void(bool)> readyObserver_;
  bool superResolutionEnabled_ = false;
  int64_t superResolutionContentType_ = 0;
  int64_t superResolutionEncoderType_ = 0;
  std::shared_ptr<ZELInternalRenderView> renderView_;
  std::shared_ptr<ZELDisplayLink> displayLink_;
  std::optional<NSDate> lastRenderTime_;
  CGSize lastDisplaySize_{};
};
