#pragma once

#include <ZELKit/ZELRenderView.h>
#include <ZELPlatform/UIWindow.h>

#include <memory>
#include <string>

#include "apps/zelview/CameraController.h"
#include "apps/zelview/Options.h"
#include "apps/zelview/PictureContent.h"
#include "apps/zelview/TouchView.h"

namespace zelview {

/// The window with its mouse and keys. Main thread; needs the display to be started.
class ViewerWindow final : public UIWindowDelegate, public std::enable_shared_from_this<ViewerWindow> {
 public:
  /// Makes the window, still hidden. `startTime` is when the program started, in host time. Throws `ViewerError`.
  static std::shared_ptr<ViewerWindow> create(const Options& options, std::shared_ptr<PictureContent> content,
                                              double startTime);

  /// Shows the window as soon as its first picture is ready and returns when the person quits.
  void run();

  /// Closes the window for good, for those who show it in their own way.
  void close();

  /// Never null; what they are is the viewer's, what happens to them may be another's.
  const std::shared_ptr<UIWindow>& window() const { return window_; }
  const std::shared_ptr<ZELRenderView>& renderView() const { return view_; }

  /// Two fingers moved apart or together about a point of the window.
  void pinch(double factor, CGPoint point);

  void windowDidRequestClose(UIWindow& window) override;
  void windowDidResize(UIWindow& window) override;
  void windowDidScroll(UIWindow& window, CGPoint location, double steps) override;
  void windowDidPressKey(UIWindow& window, const UIKey& key) override;

 private:
  ViewerWindow(const Options& options, std::shared_ptr<PictureContent> content, double startTime);
  void open();
  void pictureReady();
  void redraw();

  void setProjection(ZELProjectionType type);
  void setCamera(const Camera& camera);
  void setZoom(double zoom);
  void turn(double yaw, double pitch);
  void toggleGravity();
  void toggleHelp();
  void leaveOrQuit();
  void saveSnapshot();
  GLKVector3 rayThrough(CGPoint point) const;

  Options options_;
  std::shared_ptr<PictureContent> content_;
  double startTime_;
  bool drawnOnce_ = false;
  bool shown_ = false;
  ZELProjectionType projection_ = ZELProjectionTypeEquirectangular;
  int64_t gravity_;
  std::shared_ptr<CGImage> image_;
  std::shared_ptr<CameraController> controller_;
  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<ZELRenderView> view_;
  std::shared_ptr<TouchView> touches_;
  std::shared_ptr<UIView> help_;
};

}  // namespace zelview
