#pragma once

#include "drivers/egl/DrawableImage.h"
#include "platform/quartzcore/LayerContents.h"

#include <atomic>
#include <memory>
#include <utility>

namespace ZELPlatform {

/// What joins a renderbuffer of one context to a layer: the layer's ring of images, and which of them is drawn into.
///
/// The renderbuffer is known by being bound, never looked up by its name: another context of the share group may delete
/// that name, even give it to a new renderbuffer, while this one lives on through its binding and its attachment.
///
/// Belongs to the thread on which its context is current.
class Drawable {
 public:
  /// Gives the bound renderbuffer storage, zero-filled; null when memory is short. The layer's earlier drawable, in
  /// whatever context, loses the layer.
  static std::shared_ptr<Drawable> create(EglDriver& driver, const std::shared_ptr<LayerContents>& contents,
                                          GLsizei width, GLsizei height, bool retainedBacking);
  Drawable(EglDriver& driver, std::shared_ptr<LayerContents> contents, GLsizei width, GLsizei height)
      : driver_(driver), ring_(driver, width, height), contents_(std::move(contents)) {}
  virtual ~Drawable();

  const std::shared_ptr<LayerContents>& contents() const { return contents_; }

  /// Whether a later drawable of the same layer took its place.
  bool isReplaced() const { return replaced_.load(std::memory_order_relaxed); }

  /// Puts what was drawn in front of the layer; false when memory is short.
  bool present();

  /// Called when the context was made current with the renderbuffer bound: a new frame may begin.
  void beginFrame();

  /// Takes the renderbuffer away from the framebuffer that it was last presented through, if that is not bound now. A
  /// program that remakes its drawable and lets go of the old one's names by mistake does not keep its memory so.
  void leaveFramebuffer() const;

 protected:
  /// Gives the bound renderbuffer its first storage.
  virtual bool attach() = 0;
  /// The image that shows what the bound renderbuffer holds; null when memory is short.
  virtual std::shared_ptr<DrawableImage> finishPicture() = 0;
  /// Readies the bound renderbuffer for another picture.
  virtual void prepareNext() = 0;

  EglDriver& driver_;
  ImageRing ring_;

 private:
  void prepareOnce();
  void claimLayer(const std::shared_ptr<Drawable>& self);

  std::shared_ptr<LayerContents> contents_;
  std::atomic<bool> replaced_{false};
  GLuint presentedFramebuffer_ = 0;

  // The next image is prepared as late as can be: the clear then falls together with the drawing that follows, and
  // costs tiled renderers nothing. A program that leaves its context between frames says so by making it current again;
  // one that keeps it current gets the next image as soon as it presents.
  bool prepared_ = true;
  bool leavesContext_ = false;
  bool keepsContext_ = false;
};

}  // namespace ZELPlatform
