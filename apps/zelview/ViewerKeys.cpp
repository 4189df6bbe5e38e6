#include <ZELPlatform/Foundation.h>

#include <map>
#include <optional>
#include <string>

#include "apps/zelview/ViewerWindow.h"

// What the keys of the viewer's window do.

namespace zelview {
namespace {

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

void ViewerWindow::windowDidPressKey(UIWindow&, const UIKey& key) {
  if (key.control || key.alt) return;
  using Action = void (*)(ViewerWindow&);
  static const std::map<std::string, Action> kHeld = {
      {"+", [](ViewerWindow& v) { v.camera_->zoomBy(kViewerZoomStep); }},
      {"=", [](ViewerWindow& v) { v.camera_->zoomBy(kViewerZoomStep); }},
      {"-", [](ViewerWindow& v) { v.camera_->zoomBy(1.0 / kViewerZoomStep); }},
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
      {"u", [](ViewerWindow& v) { v.toggleSuperResolution(SuperResolution::On); }},
      {"x", [](ViewerWindow& v) { v.toggleSuperResolution(SuperResolution::Split); }},
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
  if (content_->pressKey(key)) return;
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
