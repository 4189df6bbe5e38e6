#include "gl/ZELGLRenderView.h"

#include <GLES2/gl2.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIScreen.h>

#include <cmath>
#include <mutex>
#include <utility>

namespace {

/// Flat content is drawn at up to this many times its own resolution.
constexpr double kSampleFactor = 2.0;

/// Stands for the content before there is any, so that a drawable exists, cleared, from the first frame on.
constexpr CGSize kPlaceholderSize = {32, 32};

/// Framebuffers that changes of size may leave alive in one view. The oldest go beyond that: a view whose storage fails
/// again and again, at a size of zero say, would pile them up with every frame.
constexpr size_t kMostFramebuffersLeft = 64;

}  // namespace

ZELGLRenderView::ZELGLRenderView(Key key) : ZELInternalRenderView(key) {}

ZELGLRenderView::~ZELGLRenderView() {
  // GL names are deleted where they were made: on the render queue, with the context current. Among them are the
  // framebuffers that changes of size left alive (see `_validateRenderBufferSize`): some drivers keep those for as long
  // as the share group lives, which is the process.
  _sharedRenderQueue()->async([context = std::move(context_), cache = std::move(textureCache_),
                               renderBuffer = renderBuffer_, frameBuffers = std::move(frameBuffersMade_)]() mutable {
    if (context && EAGLContext::setCurrentContext(context)) {
      glDeleteFramebuffers(static_cast<GLsizei>(frameBuffers.size()), frameBuffers.data());
      glDeleteRenderbuffers(1, &renderBuffer);
    }
    cache = nullptr;
    EAGLContext::setCurrentContext(nullptr);
    context = nullptr;
  });
}

std::shared_ptr<ZELGLRenderView> ZELGLRenderView::create(CGRect frame) { return createView<ZELGLRenderView>(frame); }

std::shared_ptr<CALayer> ZELGLRenderView::createLayer() { return std::make_shared<CAEAGLLayer>(); }

bool ZELGLRenderView::initWithFrame(CGRect frame) {
  if (!UIView::initWithFrame(frame)) return false;
  createContext();
  glLayer()->setDrawableProperties({.retainedBacking = false});
  glLayer()->setOpaque(true);
  setOpaque(true);
  textureCache_ = ZELGLTextureCache::createWithEAGLContext(context_);
  needsClear_ = true;
  return true;
}

void ZELGLRenderView::createContext() {
  static std::once_flag once;
  std::call_once(once, [this] {
    context_ = EAGLContext::create(kEAGLRenderingAPIOpenGLES2);
    if (!context_) return;
    sShareGroup = context_->sharegroup();
    EAGLContext::setCurrentContext(context_);
    _createSharedResources();
    EAGLContext::setCurrentContext(nullptr);
  });
  if (!context_) context_ = EAGLContext::create(kEAGLRenderingAPIOpenGLES2, sShareGroup);
}

void ZELGLRenderView::renderWithPixelBufferSource(const std::shared_ptr<ZELPixelBufferSource>& source,
                                                  const std::shared_ptr<const ZELInternalRenderState>& state) {
  if (rendering_.load(std::memory_order_relaxed)) return;
  rendering_.store(true, std::memory_order_relaxed);
  _sharedRenderQueue()->async([self = std::static_pointer_cast<ZELGLRenderView>(shared_from_this()), source, state] {
    self->renderFrame(source.get(), state);
    self->rendering_.store(false, std::memory_order_relaxed);
  });
}

void ZELGLRenderView::waitUntilPresented() {
  _sharedRenderQueue()->sync([] {});
}

void ZELGLRenderView::flushGPU() {
  _sharedRenderQueue()->async([context = context_] {
    if (!context || !EAGLContext::setCurrentContext(context)) return;
    glFinish();
    EAGLContext::setCurrentContext(nullptr);
  });
}

std::string ZELGLRenderView::rendererDescription() const {
  return "OpenGL ES: " + EAGLContext::rendererDescription() + ", frames uploaded";
}

void ZELGLRenderView::renderFrame(ZELPixelBufferSource* source,
                                  const std::shared_ptr<const ZELInternalRenderState>& state) {
  if (UIApplication::sharedApplication().applicationState() != UIApplicationStateActive) return;
  if (!context_ || !EAGLContext::setCurrentContext(context_)) return;
  if (renderBuffer_ == 0) {
    _validateRenderBufferScaleForTextureSize(kPlaceholderSize, state->size, state->projection);
  }
  if (source) drawContent(*source, state);
  if (needsPresent_) {
    context_->presentRenderbuffer(GL_RENDERBUFFER);
    needsPresent_ = false;
  }
  glFlush();
  EAGLContext::setCurrentContext(nullptr);
}

void ZELGLRenderView::drawContent(ZELPixelBufferSource& source,
                                  const std::shared_ptr<const ZELInternalRenderState>& state) {
  const std::shared_ptr<ZELGLTexture> texture = textureCache_->textureFromPixelBufferSource(source, state->syncTime);
  if (!texture || texture->planes.empty()) return;
  _validateRenderBufferScaleForTextureSize(texture->size, state->size, state->projection);
  if (!texture->updated && lastRenderstate_ && !lastRenderstate_->differsFromRenderState(*state)) return;
  lastRenderstate_ = state->withoutCallback();
  _internalPerformRender(*texture, *state);
  needsPresent_ = true;
}

void ZELGLRenderView::_validateRenderBufferScaleForTextureSize(CGSize textureSize, CGSize displaySize,
                                                               const std::shared_ptr<ZELProjection>& projection) {
  const double scale = projection ? projection->contentScaleForContentSize(textureSize, displaySize, kSampleFactor,
                                                                           UIScreen::mainScreen().nativeScale())
                                  : 0.0;
  const std::shared_ptr<CAEAGLLayer> layer = glLayer();
  if (scale != layer->contentsScale()) layer->setContentsScale(scale);
  const double contentsScale = layer->contentsScale();
  _validateRenderBufferSize(
      CGSizeMake(std::ceil(displaySize.width * contentsScale), std::ceil(displaySize.height * contentsScale)));
}

void ZELGLRenderView::_validateRenderBufferSize(CGSize size) {
  if (CGSizeEqualToSize(size, renderBufferSize_)) return;

  // The framebuffer's name goes to the renderbuffer deletion. Its effect: the old framebuffer object stays for a
  // while, at most until the view goes, and a renderbuffer of another view that happens to have this number loses its
  // name, though not its storage, which that view's framebuffer holds.
  if (renderBuffer_ != 0) glDeleteRenderbuffers(1, &renderBuffer_);
  if (frameBuffer_ != 0) glDeleteRenderbuffers(1, &frameBuffer_);
  glGenRenderbuffers(1, &renderBuffer_);
  glBindRenderbuffer(GL_RENDERBUFFER, renderBuffer_);
  glGenFramebuffers(1, &frameBuffer_);
  frameBuffersMade_.push_back(frameBuffer_);
  if (frameBuffersMade_.size() > kMostFramebuffersLeft) {
    glDeleteFramebuffers(1, &frameBuffersMade_.front());
    frameBuffersMade_.erase(frameBuffersMade_.begin());
  }
  glBindFramebuffer(GL_FRAMEBUFFER, frameBuffer_);
  if (!context_->renderbufferStorage(GL_RENDERBUFFER, glLayer())) {
    // The size stays as it was, so that the next frame tries again.
    glDeleteRenderbuffers(1, &renderBuffer_);
    glDeleteRenderbuffers(1, &frameBuffer_);
    return;
  }

  GLint width = 0;
  GLint height = 0;
  glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_WIDTH, &width);
  glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_HEIGHT, &height);
  glViewport(0, 0, width, height);
  glScissor(0, 0, width, height);
  glDisable(GL_CULL_FACE);
  glDisable(GL_BLEND);
  glDisable(GL_SCISSOR_TEST);
  glDisable(GL_DEPTH_TEST);
  glDepthFunc(GL_ALWAYS);
  glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, renderBuffer_);
  renderBufferSize_ = size;
  glClearColor(0, 0, 0, 0);
  glClear(GL_COLOR_BUFFER_BIT);
  needsPresent_ = true;
}
