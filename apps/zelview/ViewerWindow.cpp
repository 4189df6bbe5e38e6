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
#include <utility>

#include "apps/zelview/HelpOverlay.h"
#include "apps/zelview/QuitSignals.h"
#include "apps/zelview/ViewerError.h"

namespace zelview {
namespace {

constexpr CGSize kWindowSize = {1280, 720};
constexpr double kZoomPerStep = 1.1;
constexpr double kTurnPerKey = 5.0;

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

ViewerWindow::ViewerWindow(const Options& options, std::shared_ptr<PictureContent> content, double startTime)
    : options_(options),
      content_(std::move(content)),
      startTime_(startTime),
      gravity_(options.gravity),
      controller_(std::make_shared<CameraController>(options.camera)) {}

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

  view_ = makeRenderView(window_->bounds(), options_.backEnd);
  view_->setController(controller_);
  view_->setZoom(options_.camera.zoom);
  view_->setReadyForDisplayObserver([weak = weak_from_this()](bool ready) {
    const std::shared_ptr<ViewerWindow> self = weak.lock();
    if (ready && self) self->pictureReady();
  });
  window_->addSubview(view_);

  // The window and its views end with `run`, so the handlers never outlive this object.
  touches_ = TouchView::create(window_->bounds(),
                               {.began = [this](CGPoint point) { controller_->beginDrag(rayThrough(point)); },
                                .moved = [this](CGPoint point) { controller_->dragTo(rayThrough(point)); },
                                .ended = [this] { controller_->endDrag(); }});
  window_->addSubview(touches_);
  // The shape of the key window decides how much is seen: be it before the first picture.
  window_->makeKeyWindow();
  setProjection(content_->projection());
}

void ViewerWindow::run() {
  const QuitSignals signals([] { NSRunLoop::mainRunLoop().stop(); });
  NSRunLoop::mainRunLoop().run();
  view_->setReadyForDisplayObserver({});
  touches_->removeFromSuperview();
  view_->removeFromSuperview();
  window_->close();
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
  const std::shared_ptr<CGImage>& image = content_->imageFor(type);
  view_->setContentProjection(makeProjection(type, gravity_, options_.padding));
  if (image != image_) {
    image_ = image;
    view_->setContentSource(makeSource(image));
  }
  const std::string name =
      content_->isBuiltIn() ? "built-in panorama" : std::filesystem::path(options_.picture).filename().string();
  window_->setTitle(name + " (" + ZELProjectionTypeName(type) + ") - zelview");
}

void ViewerWindow::setCamera(const Camera& camera) {
  controller_->setCamera(camera);
  view_->setZoom(camera.zoom);
}

void ViewerWindow::setZoom(double zoom) {
  Camera camera = controller_->camera();
  camera.zoom = std::clamp(zoom, kSmallestZoom, kLargestZoom);
  setCamera(camera);
}

void ViewerWindow::turn(double yaw, double pitch) {
  Camera camera = controller_->camera();
  camera.yaw += yaw / camera.zoom;
  camera.pitch = std::clamp(camera.pitch + pitch / camera.zoom, -90.0, 90.0);
  setCamera(camera);
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
  window_->addSubview(help_);
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

GLKVector3 ViewerWindow::rayThrough(CGPoint point) const {
  const CGSize size = view_->bounds().size;
  const UIInterfaceOrientation orientation = UIApplication::sharedApplication().statusBarOrientation();
  const bool landscape =
      orientation == UIInterfaceOrientationLandscapeLeft || orientation == UIInterfaceOrientationLandscapeRight;
  const double aspect = size.height > 0.0 ? size.width / size.height : 1.0;
  const double near = view_->zoom() * view_->contentProjection()->zoomScaleForAspectRatio(aspect, landscape);
  return rayThroughPoint(point, size, near);
}

void ViewerWindow::windowDidRequestClose(UIWindow&) { NSRunLoop::mainRunLoop().stop(); }

void ViewerWindow::windowDidResize(UIWindow& window) {
  if (options_.scale) UIScreen::mainScreen().setNativeScale(*options_.scale);
  if (help_) centreHelpOverlay(*help_, window.bounds().size);
}

void ViewerWindow::windowDidScroll(UIWindow&, CGPoint, double steps) {
  setZoom(controller_->camera().zoom * std::pow(kZoomPerStep, steps));
}

void ViewerWindow::windowDidPressKey(UIWindow&, const UIKey& key) {
  if (key.control || key.alt) return;
  using Action = void (*)(ViewerWindow&);
  static const std::map<std::string, Action> kHeld = {
      {"Left", [](ViewerWindow& v) { v.turn(-kTurnPerKey, 0); }},
      {"Right", [](ViewerWindow& v) { v.turn(kTurnPerKey, 0); }},
      {"Up", [](ViewerWindow& v) { v.turn(0, kTurnPerKey); }},
      {"Down", [](ViewerWindow& v) { v.turn(0, -kTurnPerKey); }},
      {"+", [](ViewerWindow& v) { v.setZoom(v.view_->zoom() * kZoomPerStep); }},
      {"=", [](ViewerWindow& v) { v.setZoom(v.view_->zoom() * kZoomPerStep); }},
      {"-", [](ViewerWindow& v) { v.setZoom(v.view_->zoom() / kZoomPerStep); }},
  };
  static const std::map<std::string, Action> kPressed = {
      {"p", [](ViewerWindow& v) { v.setProjection((v.projection_ + 1) % 4); }},
      {"1", [](ViewerWindow& v) { v.setProjection(ZELProjectionTypeFlat); }},
      {"2", [](ViewerWindow& v) { v.setProjection(ZELProjectionTypeEquirectangular); }},
      {"3", [](ViewerWindow& v) { v.setProjection(ZELProjectionTypeCubemap); }},
      {"4", [](ViewerWindow& v) { v.setProjection(ZELProjectionTypeSegmentedSphere); }},
      {"g", [](ViewerWindow& v) { v.toggleGravity(); }},
      {"m",
       [](ViewerWindow& v) {
         Camera camera = v.controller_->camera();
         camera.mirror = !camera.mirror;
         v.setCamera(camera);
       }},
      {"r", [](ViewerWindow& v) { v.setCamera(v.options_.camera); }},
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
  const auto pressed = kPressed.find(name);
  if (pressed != kPressed.end() && !key.repeated) pressed->second(*this);
}

}  // namespace zelview
