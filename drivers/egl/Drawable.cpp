#include "drivers/egl/Drawable.h"

#include "drivers/egl/GlState.h"

#include <map>
#include <mutex>
#include <utility>

namespace ZELPlatform {
namespace {

/// Which drawable a layer has now, over all contexts.
class LayerOwners {
 public:
  static LayerOwners& shared() {
    static auto* owners = new LayerOwners;
    return *owners;
  }

  /// Puts a drawable in charge; returns the one before, if it still lives.
  std::shared_ptr<Drawable> exchange(const std::shared_ptr<Drawable>& drawable) {
    const std::lock_guard lock(mutex_);
    return std::exchange(owners_[drawable->contents().get()], drawable).lock();
  }

  void forget(const LayerContents* contents) {
    const std::lock_guard lock(mutex_);
    const auto found = owners_.find(contents);
    if (found != owners_.end() && found->second.expired()) owners_.erase(found);
  }

 private:
  std::mutex mutex_;
  std::map<const LayerContents*, std::weak_ptr<Drawable>> owners_;
};

GLuint boundRenderbuffer() { return static_cast<GLuint>(glInteger(GL_RENDERBUFFER_BINDING)); }

/// The usual way: the images themselves are the renderbuffer's storage, one after the other.
class ImageDrawable final : public Drawable {
 public:
  using Drawable::Drawable;

 protected:
  bool attach() override {
    back_ = ring_.take();
    if (!back_) return false;
    forgetErrors();
    retarget();
    if (glGetError() != GL_NO_ERROR) return false;
    clearBack();
    return true;
  }

  std::shared_ptr<DrawableImage> finishPicture() override { return back_; }

  void prepareNext() override {
    // With memory short the picture goes on in the image that is in front.
    auto next = ring_.take();
    if (!next) return;
    back_ = std::move(next);
    retarget();
    if (boundColorRenderbuffer() == boundRenderbuffer()) {
      clearToZero();
    } else {
      clearBack();
    }
  }

 private:
  void retarget() const { driver_.capabilities().imageTargetRenderbufferStorage(GL_RENDERBUFFER, back_->eglImage()); }

  void clearBack() const {
    const TemporaryFramebuffer framebuffer;
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, back_->texture(), 0);
    clearToZero();
  }

  std::shared_ptr<DrawableImage> back_;
};

/// CopyOnPresent: the renderbuffer keeps storage of its own, which is copied into an image of the ring at each present.
/// For drivers that cannot make images the storage, and for layers that want their backing retained.
class CopyOnPresent final : public Drawable {
 public:
  CopyOnPresent(EglDriver& driver, std::shared_ptr<LayerContents> contents, GLsizei width, GLsizei height,
                bool retainedBacking)
      : Drawable(driver, std::move(contents), width, height), retainedBacking_(retainedBacking) {}

 protected:
  bool attach() override {
    forgetErrors();
    const GLenum format = driver_.capabilities().eightBitRenderbuffers ? GL_RGBA8_OES : GL_RGBA4;
    glRenderbufferStorage(GL_RENDERBUFFER, format, ring_.width(), ring_.height());
    if (glGetError() != GL_NO_ERROR) return false;
    onRenderbuffer(clearToZero);
    return true;
  }

  std::shared_ptr<DrawableImage> finishPicture() override {
    auto image = ring_.take();
    if (!image) return nullptr;
    const BoundTexture bound(image->texture());
    onRenderbuffer([this] { glCopyTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 0, 0, ring_.width(), ring_.height()); });
    return image;
  }

  void prepareNext() override {
    if (!retainedBacking_) onRenderbuffer(clearToZero);
  }

 private:
  /// Does something with a framebuffer bound whose colour is the bound renderbuffer.
  template <typename Action>
  static void onRenderbuffer(Action action) {
    const GLuint renderbuffer = boundRenderbuffer();
    if (boundColorRenderbuffer() == renderbuffer) return action();
    const TemporaryFramebuffer framebuffer;
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, renderbuffer);
    action();
  }

  const bool retainedBacking_;
};

}  // namespace

std::shared_ptr<Drawable> Drawable::create(EglDriver& driver, const std::shared_ptr<LayerContents>& contents,
                                           GLsizei width, GLsizei height, bool retainedBacking) {
  std::shared_ptr<Drawable> drawable;
  if (driver.capabilities().imageRenderbuffers && !retainedBacking) {
    drawable = std::make_shared<ImageDrawable>(driver, contents, width, height);
  } else {
    drawable = std::make_shared<CopyOnPresent>(driver, contents, width, height, retainedBacking);
  }
  if (!drawable->attach()) return nullptr;
  drawable->claimLayer(drawable);
  return drawable;
}

Drawable::~Drawable() { LayerOwners::shared().forget(contents_.get()); }

void Drawable::claimLayer(const std::shared_ptr<Drawable>& self) {
  if (const auto before = LayerOwners::shared().exchange(self)) {
    before->replaced_.store(true, std::memory_order_relaxed);
  }
}

bool Drawable::present() {
  if (boundColorRenderbuffer() == boundRenderbuffer()) {
    presentedFramebuffer_ = static_cast<GLuint>(glInteger(GL_FRAMEBUFFER_BINDING));
  }
  if (!prepared_) keepsContext_ = true;
  auto image = finishPicture();
  if (!image) return false;
  image->setDrawn(Fence::insert(driver_.display()));
  contents_->present(std::move(image));
  prepared_ = false;
  if (keepsContext_ || !leavesContext_) prepareOnce();
  return true;
}

void Drawable::beginFrame() {
  leavesContext_ = true;
  prepareOnce();
}

void Drawable::prepareOnce() {
  if (std::exchange(prepared_, true)) return;
  prepareNext();
}

void Drawable::leaveFramebuffer() const {
  const auto bound = static_cast<GLuint>(glInteger(GL_FRAMEBUFFER_BINDING));
  if (presentedFramebuffer_ == bound || !glIsFramebuffer(presentedFramebuffer_)) return;
  const BoundFramebuffer left(presentedFramebuffer_);
  glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, 0);
}

}  // namespace ZELPlatform
