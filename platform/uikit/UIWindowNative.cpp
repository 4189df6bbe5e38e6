#include "platform/uikit/UIWindowNative.h"

#include "platform/eagl/GLDriver.h"
#include "platform/quartzcore/RefreshPreparation.h"

#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIScreen.h>

#include <algorithm>
#include <vector>

using ZELPlatform::NativeSurface;
using ZELPlatform::WindowSystem;

std::vector<UIWindow::Native*>& UIWindow::Native::all() {
  static auto& windows = *new std::vector<Native*>;
  return windows;
}

UIWindow::Native::Native(UIWindow& window) : owner(window) {
  all().push_back(this);
  [[maybe_unused]] static const bool preparesRefreshes = [] {
    ZELPlatform::addRefreshPreparation(updateAll);
    return true;
  }();
}

UIWindow::Native::~Native() {
  std::erase(all(), this);
  DisplayRefresh::shared().removeSource(compositor);
  // The picture goes before the window that it is on.
  compositor.reset();
  window.reset();
  const auto composes = [](const Native* each) { return each->isShown && each->compositor; };
  if (const auto next = std::find_if(all().rbegin(), all().rend(), composes); next != all().rend()) {
    DisplayRefresh::shared().setSource((*next)->compositor);
  }
}

std::string UIWindow::Native::open(CGSize points) {
  if (std::string error = UIApplication::start({}); !error.empty()) {
    return error;
  }
  std::string error;
  window = ZELPlatform::activeDisplayDriver()->createWindow(this, points, &error);
  if (!window) {
    return error;
  }
  const NativeSurface surface = window->surface();
  if (surface.display.system == WindowSystem::None) {
    return {};
  }
  // Without GL the window stays empty, but events and layout work.
  if (ZELPlatform::GLDriver* driver = ZELPlatform::activeGLDriver()) {
    compositor = driver->createCompositor(surface, UIScreen::mainScreen().maximumFramesPerSecond(), &error);
    return compositor ? std::string() : error;
  }
  return {};
}

void UIWindow::Native::startComposing() {
  if (compositor) {
    compositor->setVisible(true);
    compositor->composeNow();
    DisplayRefresh::shared().setSource(compositor);
  }
}

void UIWindow::Native::updateAll() {
  std::vector<std::shared_ptr<UIWindow>> windows;
  for (const Native* native : all()) {
    if (native->owner.updateScheduled_) {
      windows.push_back(native->owner.window());
    }
  }
  for (const std::shared_ptr<UIWindow>& window : windows) {
    window->update();
  }
}

void UIWindow::Native::updateApplicationState() {
  const auto isShown = [](const Native* each) { return each->isShown; };
  const auto isOnScreen = [](const Native* each) { return each->isShown && !each->isMinimised; };
  const bool background =
      std::any_of(all().begin(), all().end(), isShown) && std::none_of(all().begin(), all().end(), isOnScreen);
  UIApplication::sharedApplication().setApplicationState(background ? UIApplicationStateBackground
                                                                    : UIApplicationStateActive);
}

void UIWindow::Native::resized(CGSize points, int /*pixelWidth*/, int /*pixelHeight*/) {
  UIScreen::mainScreen().setNativeScale(window->scale());
  owner.resizeTo(points);
}

void UIWindow::Native::closeRequested() {
  const std::shared_ptr<UIView> keep = owner.shared_from_this();
  if (const std::shared_ptr<UIWindowDelegate> delegate = owner.delegate_.lock()) {
    delegate->windowDidRequestClose(owner);
  }
}

void UIWindow::Native::minimised(bool minimised) {
  if (isMinimised == minimised || !isShown) {
    return;
  }
  isMinimised = minimised;
  owner.visible_ = !minimised;
  if (compositor) {
    compositor->setVisible(!minimised);
  }
  updateApplicationState();
  if (minimised) {
    owner.cancelTouches();
  }
}

void UIWindow::Native::focused(bool focused) {
  const std::shared_ptr<UIView> keep = owner.shared_from_this();
  if (focused) {
    owner.makeKeyWindow();
  }
  if (const std::shared_ptr<UIWindowDelegate> delegate = owner.delegate_.lock()) {
    delegate->windowDidChangeFocus(owner, focused);
  }
}

void UIWindow::Native::exposed() {
  if (compositor) {
    compositor->invalidate();
  }
}

void UIWindow::Native::pointer(int64_t identifier, UITouchPhase phase, CGPoint location, double timestamp) {
  owner.deliverPointer(identifier, phase, location, timestamp);
}

void UIWindow::Native::pointerLost() { owner.cancelTouches(); }

void UIWindow::Native::scrolled(CGPoint location, double steps) { owner.deliverScroll(location, steps); }

void UIWindow::Native::keyPressed(const UIKey& key) { owner.deliverKey(key); }

void UIWindow::Native::keyReleased(const UIKey& key) { owner.deliverKeyUp(key); }
