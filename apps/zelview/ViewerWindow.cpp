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
#include <map>
#include <optional>
#include <utility>

#include "apps/zelview/HelpOverlay.h"
#include "apps/zelview/QuitSignals.h"
#include "apps/zelview/ViewerError.h"

namespace zelview {
namespace {

constexpr CGSize kWindowSize = {1280, 720};
constexpr double kZoomPerStep = 1.1;
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

/// The arrow key of that name, if it is one.
std::optional<CameraRig::Arrow> arrowNamed(const std::string& name) {
  static const std::map<std::string, CameraRig::Arrow> kArrows = {{"Left", CameraRig::Arrow::Left},
                                                                  {"Right", CameraRig::Arrow::Right},
                                                                  {"Up", CameraRig::Arrow::Up},
                                                                  {"Down", CameraRig::Arrow::Down}};
  const auto found = kArrows.find(name);
  return found == kArrows.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

ViewerWindow::ViewerWindow(const Options& options, std::shared_ptr<PictureContent> content, double startTime)
    : options_(options),
      content_(std::move(content)),
      startTime_(startTime),
      gravity_(options.gravity),
      camera_(std::make_shared<CameraRig>(options.controller, options.camera)),
      thumbsticks_(GCThumbsticksCurrent) {}

ViewerWindow::~ViewerWindow() { close(); }

std::shared_ptr<ViewerWindow> ViewerWindow::create(const Options& options, std::shared_ptr<PictureContent> content,
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
  view_ = ZELRenderView::create(window_->bounds());
  if (!view_) throw ViewerError("A view to render with cannot be made.");
  view_->setReadyForDisplayObserver([weak = weak_from_this()](bool ready) {
    const std::shared_ptr<ViewerWindow> self = weak.lock();
    if (ready && self) self->pictureReady();
  });
  window_->addSubview(view_);
  openCamera();
  // The shape of the key window decides how much is seen: be it before the first picture.
  window_->makeKeyWindow();
  setProjection(content_->projection());
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
  NSRunLoop::mainRunLoop().run();
  close();
}

void ViewerWindow::close() {
  if (displayLink_) displayLink_->invalidate();
  displayLink_ = nullptr;
  camera_->detach();
  if (view_) {
    view_->setReadyForDisplayObserver({});
    view_->removeFromSuperview();
  }
  if (window_) window_->close();
  window_ = nullptr;
}

void ViewerWindow::refresh() {
  camera_->pushSticks(thumbsticks_());
  camera_->advanceTo(displayLink_->timestamp() + displayLink_->duration());
  view_->setZoom(camera_->zoom());
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
  if (options_.verbose) {
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
  const std::shared_ptr<CGImage>& image = content_->imageFor(type);
  view_->setContentProjection(makeProjection(type, gravity_, options_.padding));
  if (image != image_) {
    image_ = image;
    view_->setContentSource(makeSource(image));
  }
  setTitle();
}

void ViewerWindow::setTitle() {
  const std::string name =
      content_->isBuiltIn() ? "built-in panorama" : std::filesystem::path(options_.picture).filename().string();
  const char* horizon = camera_->choice() == ControllerChoice::Free ? ", free" : "";
  window_->setTitle(name + " (" + ZELProjectionTypeName(projection_) + horizon + ") - zelview");
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
  const std::shared_ptr<UIImage> picture = view_->takeSnapshot();
  if (!picture || !picture->cgImage()) return;
  const std::string name = snapshotName();
  const std::string error = CGImageWritePNG(*picture->cgImage(), name);
  if (error.empty()) {
    std::printf("snapshot: %s (%zux%zu pixels)\n", name.c_str(), picture->cgImage()->width(),
                picture->cgImage()->height());
  } else {
    std::fprintf(stderr, "zelview: %s\n", error.c_str());
  }
}

void ViewerWindow::windowDidRequestClose(UIWindow&) { NSRunLoop::mainRunLoop().stop(); }

void ViewerWindow::windowDidResize(UIWindow& window) {
  if (options_.scale) UIScreen::mainScreen().setNativeScale(*options_.scale);
  if (help_) centreHelpOverlay(*help_, window.bounds().size);
}

void ViewerWindow::windowDidScroll(UIWindow&, CGPoint, double steps) {
  camera_->zoomBy(std::pow(kZoomPerStep, std::clamp(steps, -kMostSteps, kMostSteps)));
}

bool ViewerWindow::interactionController(ZELInteractionController&, const UITouch& touch) {
  return touch.view() == touches_;
}

bool ViewerWindow::gestureRecognizer(UIGestureRecognizer&, const UITouch& touch) { return touch.view() == touches_; }

bool ViewerWindow::gestureRecognizer(UIGestureRecognizer&, UIGestureRecognizer&) { return true; }

void ViewerWindow::windowDidPressKey(UIWindow&, const UIKey& key) {
  if (key.control || key.alt) return;
  using Action = void (*)(ViewerWindow&);
  static const std::map<std::string, Action> kHeld = {
      {"+", [](ViewerWindow& v) { v.camera_->zoomBy(kZoomPerStep); }},
      {"=", [](ViewerWindow& v) { v.camera_->zoomBy(kZoomPerStep); }},
      {"-", [](ViewerWindow& v) { v.camera_->zoomBy(1.0 / kZoomPerStep); }},
  };
  static const std::map<std::string, Action> kPressed = {
      {"p", [](ViewerWindow& v) { v.setProjection((v.projection_ + 1) % 4); }},
      {"1", [](ViewerWindow& v) { v.setProjection(ZELProjectionTypeFlat); }},
      {"2", [](ViewerWindow& v) { v.setProjection(ZELProjectionTypeEquirectangular); }},
      {"3", [](ViewerWindow& v) { v.setProjection(ZELProjectionTypeCubemap); }},
      {"4", [](ViewerWindow& v) { v.setProjection(ZELProjectionTypeSegmentedSphere); }},
      {"c", [](ViewerWindow& v) { v.changeController(); }},
      {"g", [](ViewerWindow& v) { v.toggleGravity(); }},
      {"m", [](ViewerWindow& v) { v.camera_->setMirrored(!v.camera_->isMirrored()); }},
      {"r", [](ViewerWindow& v) { v.camera_->easeTo(v.options_.camera); }},
      {"Home", [](ViewerWindow& v) { v.lookStraightAhead(); }},
      {"0", [](ViewerWindow& v) { v.lookStraightAhead(); }},
      {"s", [](ViewerWindow& v) { v.saveSnapshot(); }},
      {"f", [](ViewerWindow& v) { v.window_->setFullScreen(!v.window_->isFullScreen()); }},
      {"F11", [](ViewerWindow& v) { v.window_->setFullScreen(!v.window_->isFullScreen()); }},
      {"?", [](ViewerWindow& v) { v.toggleHelp(); }},
      {"Escape", [](ViewerWindow& v) { v.leaveOrQuit(); }},
      {"q", [](ViewerWindow&) { NSRunLoop::mainRunLoop().stop(); }},
  };
  // Some keyboards report the key's own character with shift held.
  const std::string name = key.name == "/" && key.shift ? "?" : key.name;
  if (const auto held = kHeld.find(name); held != kHeld.end()) held->second(*this);
  if (key.repeated) return;
  if (const auto arrow = arrowNamed(name)) camera_->pressArrow(*arrow);
  if (const auto pressed = kPressed.find(name); pressed != kPressed.end()) pressed->second(*this);
}

void ViewerWindow::windowDidReleaseKey(UIWindow&, const UIKey& key) {
  if (const auto arrow = arrowNamed(key.name)) camera_->releaseArrow(*arrow);
}

void ViewerWindow::windowDidChangeFocus(UIWindow&, bool focused) {
  // Keys that are let go elsewhere are not told.
  if (!focused) camera_->releaseArrows();
}

}  // namespace zelview
