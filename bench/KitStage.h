#pragma once

#include "bench/BareRenderer.h"

#include <EGL/egl.h>
#include <ZELKit/ZELDirectPixelBufferSource.h>
#include <ZELKit/ZELFixedDirectionController.h>
#include <ZELKit/ZELProjection.h>
#include <ZELKit/ZELRenderView.h>
#include <ZELPlatform/UIWindow.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ZELBench {

/// What one frame of the kit took, in milliseconds.
struct KitTimes {
  /// From the first call until the GPU has finished.
  double whole = 0.0;
  /// The main thread's part: the call of `displayAtSyncTime`.
  double mainThread = 0.0;
};

/// The kit as a host uses it, off screen, with one of its back ends: a window, a view that fills it, a direct source, a
/// controller. The refreshes are called by hand. Main thread.
class KitStage {
 public:
  /// Null, with one sentence in `error`, when there is nothing to draw with. Starts the application off screen.
  static std::unique_ptr<KitStage> create(CGSize size, bool metal, std::string* error);
  ~KitStage();

  void setProjection(const std::shared_ptr<ZELProjection>& projection);

  /// Turns the camera to the n-th of its directions; on flat pictures, which have no camera, the zoom changes and makes
  /// the view draw again.
  void moveCamera(size_t step);

  /// The camera of the newest frame, for the other side.
  Camera camera() const;

  /// Hands over the frame (null: leaves the last one), refreshes, and waits until the GPU has finished.
  ///
  /// With OpenGL ES the kit's work ends on the render queue with a flush. To see it finished the caller takes that
  /// queue's next turn and finishes the same context: nothing can overtake it, and the bare side ends with the same
  /// call on the same context. With Metal the view is told to flush, which waits for an empty command buffer behind the
  /// frame's. What either costs is counted against the kit.
  KitTimes drawFrame(const CVPixelBufferRef& frame);

  /// Refreshes with nothing new and waits until the render queue is idle; the GPU has nothing to finish.
  double refreshUnchanged();

  /// OpenGL ES only: runs a task in the render queue's next turn with the kit's context current, and waits for it.
  ///
  /// Straight through EGL: made current through its own service, the context would begin the next frame (it takes and
  /// clears an image of the layer), and the kit's time would hold that twice as dear as when drawing follows at once.
  void withContext(const std::function<void()>& task) const;

  uint64_t presentCount() const;

  /// What the layer shows, four bytes a pixel, rows from the top.
  std::vector<uint8_t> readBack() const;

  KitStage(const KitStage&) = delete;
  KitStage& operator=(const KitStage&) = delete;

 private:
  KitStage() = default;
  bool findContext();
  void waitForTheGpu() const;

  bool metal_ = false;
  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<ZELRenderView> view_;
  std::shared_ptr<ZELDirectPixelBufferSource> source_;
  std::shared_ptr<ZELFixedDirectionController> controller_;
  EGLDisplay display_ = EGL_NO_DISPLAY;
  EGLContext context_ = EGL_NO_CONTEXT;
};

}  // namespace ZELBench
