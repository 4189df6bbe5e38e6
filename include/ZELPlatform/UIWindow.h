#pragma once

#include <ZELPlatform/UITouch.h>
#include <ZELPlatform/UIView.h>

#include <memory>
#include <string>

/// A key that went down or up.
struct UIKey {
  /// The character it types, letters in lower case ("a", "1", "?"), or a name: "Escape", "Return", "Left", "F11",
  /// "Space" …
  std::string name;
  bool shift = false;
  bool control = false;
  bool alt = false;
  /// Whether the key was already held; never true of one that went up.
  bool repeated = false;
};

/// What a window tells its host; every member does nothing at first. Main thread.
class ZELPLATFORM_EXPORT UIWindowDelegate {
 public:
  virtual ~UIWindowDelegate() = default;

  /// The person asked to close the window; nothing happens unless the host does it.
  virtual void windowDidRequestClose(UIWindow& window);
  /// The window's size or scale changed; its subviews that had its size have it again.
  virtual void windowDidResize(UIWindow& window);
  /// A pointer moved over the window, or went down in it, whichever view its touch goes to.
  virtual void windowDidMovePointer(UIWindow& window, CGPoint location);
  /// The wheel turned by `steps` (fractions on fine wheels), positive away from the person.
  virtual void windowDidScroll(UIWindow& window, CGPoint location, double steps);
  virtual void windowDidPressKey(UIWindow& window, const UIKey& key);
  /// A key went up. Not told while the window lacks the keyboard: keys still down when it loses it may count as up.
  virtual void windowDidReleaseKey(UIWindow& window, const UIKey& key);
  /// The window system gave the window, or took it from, the keyboard.
  virtual void windowDidChangeFocus(UIWindow& window, bool focused);
};

/// The root of a tree of views: a native window, or a picture in memory off screen.
///
/// Subviews whose frame equals the window's bounds follow its size. The native window is made hidden, so that the first
/// picture can be drawn before anything is shown. Main thread only.
class ZELPLATFORM_EXPORT UIWindow final : public UIView {
 public:
  explicit UIWindow(Key key);
  ~UIWindow() override;

  /// Null when the display driver cannot make a window; `error`, if given, then gets one sentence.
  static std::shared_ptr<UIWindow> create(CGRect frame, std::string* error = nullptr);

  /// Becomes the application's key window without being shown.
  void makeKeyWindow();

  /// Becomes the key window and is shown, with the newest picture already in it.
  void makeKeyAndVisible();

  bool isKeyWindow() const;

  /// Whether the window is on the screen. Off screen: whether it was made visible.
  bool isVisible() const { return visible_; }

  /// Closes the native window for good; the views stay.
  void close();

  void setTitle(const std::string& title);
  void setFullScreen(bool fullScreen);
  bool isFullScreen() const { return fullScreen_; }

  /// Pixels per point of the display that the window is on.
  double displayScale() const;

  void setDelegate(std::weak_ptr<UIWindowDelegate> delegate) { delegate_ = std::move(delegate); }

  /// A size in points, as if the person had resized the window: native windows may refuse.
  void setFrame(CGRect frame) override;

  /// Delivers a pointer event to the view that it belongs to: what drivers, scripted input and tests call. `location`
  /// is in the window's points, `timestamp` in seconds of host time. Of a pointer that is not down only the delegate
  /// hears how it moves, and an end is ignored; so is a begin or move whose numbers are no place or time: not finite,
  /// or more than a million points away. An end of that kind ends the touch where it was. A time that falls counts as
  /// the pointer's newest one.
  void deliverPointer(int64_t identifier, UITouchPhase phase, CGPoint location, double timestamp);
  void deliverScroll(CGPoint location, double steps);
  void deliverKey(const UIKey& key);
  void deliverKeyUp(const UIKey& key);

  /// Cancels every touch that is down: the window lost the pointer.
  void cancelTouches();

 protected:
  bool initWithFrame(CGRect frame) override;

 private:
  friend class UIView;
  struct Native;
  void resizeTo(CGSize size);
  void scheduleUpdate();
  void sceneChanged();
  void update();
  void commitScene();
  void beginTouch(int64_t identifier, CGPoint location, double timestamp);
  static void followTouch(const std::shared_ptr<UITouch>& touch);
  static void cancelTouch(const std::shared_ptr<UITouch>& touch);

  bool visible_ = false;
  bool fullScreen_ = false;
  bool updateScheduled_ = false;
  bool sceneDirty_ = true;
  std::string creationError_;
  std::weak_ptr<UIWindowDelegate> delegate_;
  UITouchSet touches_;
  std::unique_ptr<Native> native_;
};
