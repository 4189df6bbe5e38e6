#pragma once

#include <ZELKit/ZELPixelBufferSource.h>
#include <ZELKit/ZELProjectionType.h>
#include <ZELPlatform/UIView.h>
#include <ZELPlatform/UIWindow.h>

#include <functional>
#include <memory>
#include <string>

namespace zelview {

/// What a window shows: a picture, or videos one after the other. The members that do nothing are for what moves and
/// is controlled. Main thread.
class ViewerContent {
 public:
  virtual ~ViewerContent() = default;

  /// For the window's title.
  virtual std::string name() const = 0;

  /// Whether there is something to show; `projection` and `sourceFor` count from then on.
  virtual bool isReady() const { return true; }

  /// Why there never will be, in one sentence; empty otherwise.
  virtual std::string failure() const { return {}; }

  /// The projection that was asked for or decided.
  virtual ZELProjectionType projection() const = 0;

  /// The frames for that projection; another object when they are others.
  virtual std::shared_ptr<ZELPixelBufferSource> sourceFor(ZELProjectionType projection) = 0;

  /// From now on flat frames have a luma plane of their own, which a network can enlarge. Frames of videos have one
  /// anyway.
  virtual void useTwoPlanes() {}

  /// Begins; `changed` is called on every change of what is above. `over` is the view that lies over the picture, for
  /// controls.
  virtual void open(UIView& /*over*/, double /*scale*/, const std::function<void()>& /*changed*/) {}

  /// The window shows its first picture; more calls do nothing.
  virtual void didAppear() {}

  /// Ends; the window goes away.
  virtual void close() {}

  /// The window has another size.
  virtual void layOut(CGSize /*size*/) {}

  /// A refresh whose picture is seen at that host time.
  virtual void advanceTo(double /*time*/) {}

  virtual void pointerMoved() {}

  /// Whether the key was one of the content's.
  virtual bool pressKey(const UIKey& /*key*/) { return false; }
};

}  // namespace zelview
