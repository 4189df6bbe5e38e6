#pragma once

/// Puts render views off screen, steps their display and reads their pictures back.

#include <ZELKit/ZELKit.h>
#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIKit.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "gpu/RenderComparison.h"

namespace ZELPlatform {
class LayerContents;
}

namespace ZELTest {

/// What differs between the back ends that the same tests run on.
struct BackEnd {
  const char* name;
  /// Whether views are to draw with Metal.
  bool metal;
  /// Whether a refresh leaves its frame to a render queue, and calls of any kind are counted. Else it returns when the
  /// frame has been handed to the GPU.
  bool queuesFrames;
  /// Why it cannot run on this machine; empty when it can.
  std::string (*unavailableReason)();
  /// The serial queue on which the view's frames are drawn; null where frames are not queued.
  std::shared_ptr<DispatchQueue> (*renderQueue)(ZELRenderView& view);
  /// Draws, and calls of any kind that every frame makes, of the whole process so far.
  uint64_t (*draws)();
  uint64_t (*calls)();
};

/// The back ends that were built in, OpenGL ES first.
const std::vector<BackEnd>& backEnds();

/// The same, by pointer so that a failure prints little.
std::vector<const BackEnd*> allBackEnds();

Picture pictureOf(const CGImage& image);

/// A controller whose matrix is set by the test.
class CameraController final : public ZELInteractionController {
 public:
  void look(const Rotation& rotation);
  Rotation rotation() const;

  void attachToView(const std::shared_ptr<UIView>&) override {}
  void detach() override {}
  void updateWithDeltaTime(float) override {}
  void beginTransitionFromMatrix(GLKMatrix4) override {}
  std::shared_ptr<ZELInteractionControllerDelegate> delegate() const override { return nullptr; }
  void setDelegate(const std::shared_ptr<ZELInteractionControllerDelegate>&) override {}
  GLKMatrix4 viewMatrix() const override { return matrix_; }
  bool enabled() const override { return enabled_; }
  void setEnabled(bool enabled) override { enabled_ = enabled; }

 private:
  GLKMatrix4 matrix_ = GLKMatrix4Identity;
  bool enabled_ = false;
};

/// A render view with a direct source and a controller of the test's.
struct Eye {
  std::shared_ptr<ZELRenderView> view;
  std::shared_ptr<ZELDirectPixelBufferSource> source = ZELDirectPixelBufferSource::create();
  std::shared_ptr<CameraController> camera = std::make_shared<CameraController>();

  const std::shared_ptr<ZELPlatform::LayerContents>& contents() const;

  /// The layer's newest picture; empty before the first.
  Picture picture() const;

  /// What decides the picture of a frame, from the view's own settings, for a drawable of the picture's size.
  Shot shot(const Picture& picture, const CVPixelBuffer& frame) const;
};

/// The work that moves pixels, of one view where it can be told apart.
struct Work {
  uint64_t calls = 0;
  uint64_t draws = 0;
  uint64_t presents = 0;
  uint64_t uploads = 0;

  bool operator==(const Work&) const = default;
};

/// The application, its display and one window, off screen. One at a time; its clock stands still between the steps.
class Stage {
 public:
  static constexpr double kPeriod = 1.0 / 60;

  explicit Stage(const BackEnd& backEnd, CGSize points, double nativeScale = 1.0);
  ~Stage();

  /// A view in the window, with a source and a controller. The size of the window if none is given.
  Eye add(CGRect frame = {});

  const std::shared_ptr<UIWindow>& window() const { return window_; }

  /// Gives the source a frame that is new for the next refresh: later than the time for which the last one was shown.
  void push(const Eye& eye, const CVPixelBufferRef& frame);

  /// Fires one refresh and returns without waiting for what it draws.
  void refresh();

  /// Waits for everything that was queued for the render queues or the GPU, and runs what it left for the main thread.
  void settle();

  /// One refresh, drawn to its end.
  void step();

  /// Pushes the frame and shows it.
  void show(const Eye& eye, const CVPixelBufferRef& frame);

  /// What one action does, with everything that it leaves to the render queues and the main thread.
  Work workOf(const Eye& eye, const std::function<void()>& action);

  /// Holds the render queues until the returned object is destroyed.
  std::shared_ptr<void> holdRenderQueues();

 private:
  const BackEnd& backEnd_;
  std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
  std::shared_ptr<UIWindow> window_;
  std::vector<std::shared_ptr<DispatchQueue>> renderQueues_;
};

}  // namespace ZELTest
