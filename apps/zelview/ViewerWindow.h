#pragma once

#include <ZELKit/ZELInteractionController.h>
#include <ZELKit/ZELRenderView.h>
#include <ZELPlatform/GameController.h>
#include <ZELPlatform/QuartzCore.h>
#include <ZELPlatform/UIGestureRecognizer.h>
#include <ZELPlatform/UIWindow.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "apps/zelview/CameraRig.h"
#include "apps/zelview/Options.h"
#include "apps/zelview/RepeatingSource.h"
#include "apps/zelview/SplitComparison.h"
#include "apps/zelview/TapView.h"
#include "apps/zelview/ViewerContent.h"

namespace zelview {

/// By how much a step of the wheel, or a key, magnifies.
constexpr double kViewerZoomStep = 1.1;

/// The window with its mouse, keys and camera. Main thread; needs the display, a window system's or the off-screen one,
/// to be started.
///
/// Everything in it takes its time from the host clock and advances with the refreshes of the display. Input comes
/// through the window (`deliverPointer`, `deliverScroll`, `deliverKey` and, for the key going up again, `deliverKeyUp`)
/// and shows in the camera of the next refresh.
class ViewerWindow final : public UIWindowDelegate,
                           public ZELInteractionControllerDelegate,
                           public UIGestureRecognizerDelegate,
                           public std::enable_shared_from_this<ViewerWindow> {
 public:
  /// Makes the window, still hidden. `startTime` is when the program started, in host time. Throws `ViewerError`.
  static std::shared_ptr<ViewerWindow> create(const Options& options, std::shared_ptr<ViewerContent> content,
                                              double startTime);
  ~ViewerWindow() override;

  /// Returns when the person quits; closes the window. Throws `ViewerError` when there is nothing to show.
  void run();

  /// Closes the window for good and lets go of the camera; more calls do nothing.
  void close();

  /// The window shows itself when its first picture is ready: within two refreshes and what the drawing takes.
  bool isShown() const { return shown_; }

  /// Null after `close`.
  const std::shared_ptr<UIWindow>& window() const { return window_; }

  /// Its controller is the camera, whose `viewMatrix` and `zoom` are those of the newest refresh.
  const std::shared_ptr<ZELRenderView>& renderView() const { return view_; }
  const std::shared_ptr<CameraRig>& camera() const { return camera_; }

  /// Two fingers moved apart (a factor above 1) or together around that point of the window.
  void pinch(double factor, CGPoint point);

  /// Where the game controllers' sticks are read at each refresh; `GCThumbsticksCurrent` at first.
  void setThumbsticks(std::function<GCThumbsticks()> read) { thumbsticks_ = std::move(read); }

  void windowDidRequestClose(UIWindow& window) override;
  void windowDidResize(UIWindow& window) override;
  void windowDidMovePointer(UIWindow& window, CGPoint location) override;
  void windowDidScroll(UIWindow& window, CGPoint location, double steps) override;
  void windowDidPressKey(UIWindow& window, const UIKey& key) override;
  void windowDidReleaseKey(UIWindow& window, const UIKey& key) override;
  void windowDidChangeFocus(UIWindow& window, bool focused) override;

  /// Touches on controls that lie on the picture turn nothing.
  bool interactionController(ZELInteractionController& controller, const UITouch& touch) override;
  bool gestureRecognizer(UIGestureRecognizer& recognizer, const UITouch& touch) override;
  /// Two fingers pan and pinch at once.
  bool gestureRecognizer(UIGestureRecognizer& recognizer, UIGestureRecognizer& other) override;

 private:
  ViewerWindow(const Options& options, std::shared_ptr<ViewerContent> content, double startTime);
  void open();
  void openCamera();
  void refresh();
  void contentChanged();
  void pictureReady();
  void redraw();

  void setProjection(ZELProjectionType type);
  void setTitle();
  void changeController();
  void lookStraightAhead();
  void didPinch();
  void toggleGravity();
  void toggleHelp();
  void leaveOrQuit();
  void saveSnapshot();
  std::shared_ptr<UIImage> picture() const;
  void setSuperResolution(SuperResolution mode);
  /// Off, when it is that already.
  void toggleSuperResolution(SuperResolution mode);
  void decideSuperResolutionAgain();
  void followSuperResolution();

  Options options_;
  std::shared_ptr<ViewerContent> content_;
  double startTime_;
  bool drawnOnce_ = false;
  bool shown_ = false;
  ZELProjectionType projection_ = ZELProjectionTypeEquirectangular;
  int64_t gravity_;
  /// What the view shows; null while there is nothing.
  std::shared_ptr<RepeatingSource> frames_;

  SuperResolution superResolution_ = SuperResolution::Off;
  std::unique_ptr<SplitComparison> split_;
  /// What becomes of super-resolution is still to be told, by a frame after this many.
  std::optional<uint64_t> untoldAfter_;

  std::shared_ptr<CameraRig> camera_;
  std::function<GCThumbsticks()> thumbsticks_;
  /// How far the fingers of the pinch under way were apart at the last look.
  double pinchScale_ = 1.0;
  /// Made before the view's own, so that the view's camera is the one of the same refresh.
  std::shared_ptr<CADisplayLink> displayLink_;

  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<ZELRenderView> view_;
  /// Takes the touches; what lies on the picture is in it.
  std::shared_ptr<TapView> touches_;
  std::shared_ptr<UIPinchGestureRecognizer> pinch_;
  std::shared_ptr<UIView> help_;
};

}  // namespace zelview
