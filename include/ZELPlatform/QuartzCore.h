#pragma once

#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/Export.h>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class CGImage;

namespace ZELPlatform {
class LayerContents;
}

/// A rectangle of picture in a tree of such rectangles.
///
/// The tree and the frame belong to the main thread. `bounds`, `contentsScale` and `opaque` may be read and set from
/// any thread, since render queues size their drawables by them.
class ZELPLATFORM_EXPORT CALayer : public std::enable_shared_from_this<CALayer> {
 public:
  CALayer();
  virtual ~CALayer();

  /// Position and size in the superlayer, in points.
  CGRect frame() const;
  void setFrame(CGRect frame);

  /// (0, 0, frame size).
  CGRect bounds() const;

  /// Pixels per point of what this layer shows; 1 at first.
  double contentsScale() const;
  void setContentsScale(double scale);

  /// Whether the layer's alpha is to be ignored.
  bool isOpaque() const;
  void setOpaque(bool opaque);

  bool isHidden() const;
  void setHidden(bool hidden);

  /// A still picture stretched over the bounds, for layers that nothing renders into; null at first.
  void setContents(std::shared_ptr<CGImage> image);

  void addSublayer(const std::shared_ptr<CALayer>& layer);
  void removeFromSuperlayer();
  std::shared_ptr<CALayer> superlayer() const;
  const std::vector<std::shared_ptr<CALayer>>& sublayers() const { return sublayers_; }

  /// What the compositor and snapshots show of this layer; shared with them, never null.
  const std::shared_ptr<ZELPlatform::LayerContents>& contentsStore() const { return contentsStore_; }

  /// Called on the main thread after the tree, a frame, or visibility changed anywhere below this layer; set by windows
  /// on their root layer.
  void setTreeChangedHandler(std::function<void()> handler) { treeChanged_ = std::move(handler); }

 private:
  void noteTreeChanged();

  mutable std::mutex mutex_;
  CGRect frame_{};
  double contentsScale_ = 1.0;
  bool opaque_ = false;
  bool hidden_ = false;
  std::weak_ptr<CALayer> superlayer_;
  std::vector<std::shared_ptr<CALayer>> sublayers_;
  std::shared_ptr<ZELPlatform::LayerContents> contentsStore_;
  std::function<void()> treeChanged_;
};

/// Settings of a layer's drawable; the key `kEAGLDrawablePropertyRetainedBacking` is the one that exists.
struct EAGLDrawableProperties {
  bool retainedBacking = false;
};

/// A layer that an OpenGL ES context draws into (`EAGLContext::renderbufferStorage`).
class ZELPLATFORM_EXPORT CAEAGLLayer final : public CALayer {
 public:
  EAGLDrawableProperties drawableProperties() const;
  void setDrawableProperties(EAGLDrawableProperties properties);

 private:
  EAGLDrawableProperties drawableProperties_;
};

/// A timer in step with the display's refresh. Main thread, except that `invalidate` may be called anywhere.
class ZELPLATFORM_EXPORT CADisplayLink {
 public:
  /// Holds the target (and with it whatever the target holds) until `invalidate`.
  static std::shared_ptr<CADisplayLink> create(std::function<void()> target);
  ~CADisplayLink();

  bool isPaused() const;
  void setPaused(bool paused);

  /// Starts receiving refreshes on the main run loop, in all its modes. The run loop keeps the link alive until
  /// `invalidate`.
  void addToMainRunLoop();

  /// Ends the link for good and drops the target.
  void invalidate();

  /// Host time of the newest refresh, in seconds.
  double timestamp() const;

  /// Time between refreshes, in seconds.
  double duration() const;

  CADisplayLink(const CADisplayLink&) = delete;
  CADisplayLink& operator=(const CADisplayLink&) = delete;

 private:
  CADisplayLink() = default;
  friend class DisplayRefresh;
  struct State;
  std::shared_ptr<State> state_;
};

/// Where refreshes come from: the window's compositor, a timer, or whoever steps the display.
///
/// Main thread. A window that is on the screen installs itself as the source; without one, a timer at the main screen's
/// rate is used. Stepping switches both off, so that a test or a headless render decides when a refresh happens.
class ZELPLATFORM_EXPORT DisplayRefresh {
 public:
  /// A producer of refreshes.
  class Source {
   public:
    virtual ~Source() = default;
    /// Asks for refreshes, or for quiet: nothing need be woken while no link wants them. Main thread.
    virtual void setWanted(bool wanted) = 0;
  };

  static DisplayRefresh& shared();

  /// Puts a source in charge; null brings the timer back. The source is held until it is replaced.
  void setSource(std::shared_ptr<Source> source);

  /// Takes the source away if it is the one in charge.
  void removeSource(const std::shared_ptr<Source>& source);

  /// Switches stepping on or off; off at first.
  void setStepped(bool stepped);
  bool isStepped() const;

  /// Fires every unpaused link once, with this refresh time and period in seconds of host time. Sources call it on the
  /// main thread; a program that steps the display calls it itself.
  void refresh(double timestamp, double duration);

  DisplayRefresh(const DisplayRefresh&) = delete;
  DisplayRefresh& operator=(const DisplayRefresh&) = delete;

 private:
  DisplayRefresh();
  ~DisplayRefresh();
  friend class CADisplayLink;
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};
