#include "apps/zelview/ViewerWindow.h"

#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIScreen.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <functional>
#include <utility>

#include "apps/zelview/HelpOverlay.h"
#include "apps/zelview/PictureContent.h"
#include "apps/zelview/QuitSignals.h"
#include "apps/zelview/ViewerError.h"

namespace zelview {
namespace {

constexpr CGSize kWindowSize = {1280, 720};
/// More of them at once than from one end of the zoom to the other.
constexpr double kMostSteps = 100.0;

/// A name that no file has yet.
std::string snapshotName() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "zelview-%Y%m%d-%H%M%S", &local);
  std::string name = std::string(stamp) + ".png";
  for (int i = 2; std::filesystem::exists(name); ++i) name = std::string(stamp) + "-" + std::to_string(i) + ".png";
  return name;
}

}  // namespace

ViewerWindow::ViewerWindow(const Options& options, std::shared_ptr<ViewerContent> content, double startTime)
    : options_(options),
      content_(std::move(content)),
      startTime_(startTime),
      gravity_(options.gravity),
      camera_(std::make_shared<CameraRig>(options.controller, options.camera)),
      thumbsticks_(GCThumbsticksCurrent) {}

ViewerWindow::~ViewerWindow() { close(); }

std::shared_ptr<ViewerWindow> ViewerWindow::create(const Options& options, std::shared_ptr<ViewerContent> content,
                                                   double startTime) {
  std::shared_ptr<ViewerWindow> viewer(new ViewerWindow(options, std::move(content), startTime));
  viewer->open();
  return viewer;
}

void ViewerWindow::open() {
  const CGSize size = options_.size.value_or(kWindowSize);
  std::string error;
  window_ = UIWindow::create(CGRectMake(0, 0, size.width, size.height), &error);
  if (!window_) throw ViewerError(error);
  if (options_.scale) UIScreen::mainScreen().setNativeScale(*options_.scale);
  window_->setDelegate(weak_from_this());

  displayLink_ = CADisplayLink::create([weak = weak_from_this()] {
    if (const std::shared_ptr<ViewerWindow> self = weak.lock()) self->refresh();
  });
  displayLink_->addToMainRunLoop();
  view_ = makeRenderView(window_->bounds(), options_.backEnd);
  view_->setReadyForDisplayObserver([weak = weak_from_this()](bool ready) {
    const std::shared_ptr<ViewerWindow> self = weak.lock();
    if (ready && self) self->pictureReady();
  });
  window_->addSubview(view_);
  openCamera();
  // The shape of the key window decides how much is seen: be it before the first picture.
  window_->makeKeyWindow();
  view_->setSuperResolutionContentType(options_.contentType);
  if (options_.superResolution != SuperResolution::Off) {
    warnOfMissingSuperResolution(*view_);
    setSuperResolution(options_.superResolution);
  }
  content_->open(*touches_, window_->displayScale(), [weak = weak_from_this()] {
    if (const std::shared_ptr<ViewerWindow> self = weak.lock()) self->contentChanged();
  });
  contentChanged();
}

void ViewerWindow::contentChanged() {
  if (!window_) return;
  if (!content_->failure().empty()) return NSRunLoop::mainRunLoop().stop();
  if (content_->isReady()) return setProjection(content_->projection());
  // Until what comes next is known, what was shown last stays.
  frames_ = nullptr;
  view_->setContentSource(nullptr);
  setTitle();
}

void ViewerWindow::openCamera() {
  view_->setController(camera_);
  view_->setZoom(camera_->zoom());
  touches_ = TapView::create(window_->bounds(), [weak = weak_from_this()] {
    if (const std::shared_ptr<ViewerWindow> self = weak.lock()) self->lookStraightAhead();
  });
  window_->addSubview(touches_);
  camera_->setDelegate(shared_from_this());
  camera_->attachToView(touches_);
  pinch_ = UIPinchGestureRecognizer::create([weak = weak_from_this()] {
    if (const std::shared_ptr<ViewerWindow> self = weak.lock()) self->didPinch();
  });
  pinch_->setDelegate(weak_from_this());
  touches_->addGestureRecognizer(pinch_);
}

void ViewerWindow::run() {
  const QuitSignals signals([] { NSRunLoop::mainRunLoop().stop(); });
  // It may be known already that nothing comes.
  if (content_->failure().empty()) NSRunLoop::mainRunLoop().run();
  close();
  if (!content_->failure().empty()) throw ViewerError(content_->failure());
}

void ViewerWindow::close() {
  if (displayLink_) displayLink_->invalidate();
  displayLink_ = nullptr;
  if (window_) content_->close();
  camera_->detach();
  split_ = nullptr;
  frames_ = nullptr;
  if (view_) {
    view_->setReadyForDisplayObserver({});
    view_->removeFromSuperview();
  }
  if (window_) window_->close();
  window_ = nullptr;
}

void ViewerWindow::refresh() {
  camera_->pushSticks(thumbsticks_());
  const double time = displayLink_->timestamp() + displayLink_->duration();
  camera_->advanceTo(time);
  content_->advanceTo(time);
  view_->setZoom(camera_->zoom());
  followSuperResolution();
}

void ViewerWindow::toggleSuperResolution(SuperResolution mode) {
  setSuperResolution(superResolution_ == mode ? SuperResolution::Off : mode);
}

void ViewerWindow::setSuperResolution(SuperResolution mode) {
  superResolution_ = mode;
  view_->setSuperResolutionEnabled(mode != SuperResolution::Off);
  if (mode != SuperResolution::Off) content_->useTwoPlanes();
  split_ = mode == SuperResolution::Split ? std::make_unique<SplitComparison>(view_, options_.backEnd) : nullptr;
  if (split_) split_->setFrames(frames_);
  // The planes of a picture are others from now on.
  if (content_->isReady() && frames_) setProjection(projection_);
  decideSuperResolutionAgain();
}

/// Whether to enlarge is decided with each new frame: a picture is shown anew after a change, and until the network is
/// ready.
void ViewerWindow::decideSuperResolutionAgain() {
  untoldAfter_ = frames_ ? frames_->frameCount() : 0;
  if (frames_) frames_->repeat();
}

void ViewerWindow::followSuperResolution() {
  if (split_) split_->layOut(gravity_);
  if (!untoldAfter_ || !frames_ || frames_->frameCount() <= *untoldAfter_) return;
  const ZELSuperResolutionStatus status = view_->superResolutionStatus();
  if (status.isPreparing) return frames_->repeat();
  untoldAfter_ = std::nullopt;
  if (options_.verbose) std::fprintf(stderr, "super-resolution: %s\n", status.description.c_str());
}

void ViewerWindow::pictureReady() {
  if (shown_) return;
  if (!drawnOnce_) {
    // A picture is reported between its drawing and its presentation. When it is reported once more, the first one is
    // what the window has to show.
    drawnOnce_ = true;
    redraw();
    return;
  }
  shown_ = true;
  window_->makeKeyAndVisible();
  content_->didAppear();
  if (options_.verbose) {
    std::fprintf(stderr, "drawn by: %s\n", view_->rendererDescription().c_str());
    std::fprintf(stderr, "first picture: %.0f ms after the start, %.0fx%.0f points at %g pixels a point\n",
                 (CACurrentMediaTime() - startTime_) * 1000.0, window_->bounds().size.width,
                 window_->bounds().size.height, UIScreen::mainScreen().nativeScale());
  }
}

void ViewerWindow::redraw() {
  view_->setContentProjection(makeProjection(projection_, gravity_, options_.padding));
  view_->setContentSource(view_->contentSource());
}

void ViewerWindow::setProjection(ZELProjectionType type) {
  projection_ = type;
  view_->setContentProjection(makeProjection(type, gravity_, options_.padding));
  if (content_->isReady()) {
    const std::shared_ptr<ZELPixelBufferSource> source = content_->sourceFor(type);
    if (!frames_ || source != frames_->source()) {
      frames_ = std::make_shared<RepeatingSource>(source);
      view_->setContentSource(frames_);
      if (split_) split_->setFrames(frames_);
      if (superResolution_ != SuperResolution::Off) decideSuperResolutionAgain();
    }
  }
  setTitle();
}

void ViewerWindow::setTitle() {
  const char* horizon = camera_->choice() == ControllerChoice::Free ? ", free" : "";
  window_->setTitle(content_->name() + " (" + ZELProjectionTypeName(projection_) + horizon + ") - zelview");
}

void ViewerWindow::changeController() {
  camera_->choose(camera_->choice() == ControllerChoice::Relative ? ControllerChoice::Free
                                                                  : ControllerChoice::Relative);
  setTitle();
}

void ViewerWindow::lookStraightAhead() { camera_->easeTo({.mirror = camera_->isMirrored()}); }

void ViewerWindow::pinch(double factor, CGPoint) { camera_->zoomBy(factor); }

void ViewerWindow::didPinch() {
  if (pinch_->state() == UIGestureRecognizerState::Began) pinchScale_ = 1.0;
  const double scale = pinch_->scale();
  pinch(scale / pinchScale_, pinch_->locationInView(nullptr));
  pinchScale_ = scale;
}

void ViewerWindow::toggleGravity() {
  gravity_ = gravity_ == ZELContentGravityFit ? ZELContentGravityFill : ZELContentGravityFit;
  setProjection(projection_);
}

void ViewerWindow::toggleHelp() {
  if (help_) {
    help_->removeFromSuperview();
    help_ = nullptr;
    return;
  }
  help_ = makeHelpOverlay(window_->displayScale());
  centreHelpOverlay(*help_, window_->bounds().size);
  touches_->addSubview(help_);
}

void ViewerWindow::leaveOrQuit() {
  if (window_->isFullScreen()) {
    window_->setFullScreen(false);
  } else if (help_) {
    toggleHelp();
  } else {
    NSRunLoop::mainRunLoop().stop();
  }
}

void ViewerWindow::saveSnapshot() {
  const std::shared_ptr<UIImage> shown = picture();
  if (!shown || !shown->cgImage()) return;
  const std::string name = snapshotName();
  const std::string error = CGImageWritePNG(*shown->cgImage(), name);
  if (error.empty()) {
    std::printf("snapshot: %s (%zux%zu pixels)\n", name.c_str(), shown->cgImage()->width(), shown->cgImage()->height());
  } else {
    std::fprintf(stderr, "zelview: %s\n", error.c_str());
  }
}

/// What the view shows, with the half that lies over it.
std::shared_ptr<UIImage> ViewerWindow::picture() const {
  std::shared_ptr<UIImage> shown = view_->takeSnapshot();
  if (!split_) return shown;
  UIGraphicsBeginImageContextWithOptions(view_->bounds().size, true, 0.0);
  view_->drawViewHierarchyInRect(view_->bounds(), true);
  shown = UIGraphicsGetImageFromCurrentImageContext();
  UIGraphicsEndImageContext();
  return shown;
}

void ViewerWindow::windowDidRequestClose(UIWindow&) { NSRunLoop::mainRunLoop().stop(); }

void ViewerWindow::windowDidResize(UIWindow& window) {
  if (options_.scale) UIScreen::mainScreen().setNativeScale(*options_.scale);
  if (help_) centreHelpOverlay(*help_, window.bounds().size);
  content_->layOut(window.bounds().size);
  if (superResolution_ != SuperResolution::Off) decideSuperResolutionAgain();
}

void ViewerWindow::windowDidScroll(UIWindow&, CGPoint, double steps) {
  camera_->zoomBy(std::pow(kViewerZoomStep, std::clamp(steps, -kMostSteps, kMostSteps)));
}

bool ViewerWindow::interactionController(ZELInteractionController&, const UITouch& touch) {
  return touch.view() == touches_;
}

bool ViewerWindow::gestureRecognizer(UIGestureRecognizer&, const UITouch& touch) { return touch.view() == touches_; }

bool ViewerWindow::gestureRecognizer(UIGestureRecognizer&, UIGestureRecognizer&) { return true; }

void ViewerWindow::windowDidMovePointer(UIWindow&, CGPoint) { content_->pointerMoved(); }

}  // namespace zelview
