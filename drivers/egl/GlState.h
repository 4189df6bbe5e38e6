#pragma once

#include "drivers/egl/Egl.h"

// Small helpers that leave the current context's state as they found it.

namespace ZELPlatform {

inline GLint glInteger(GLenum name) {
  GLint value = 0;
  glGetIntegerv(name, &value);
  return value;
}

/// Binds a framebuffer and brings back the one that was bound.
class BoundFramebuffer {
 public:
  explicit BoundFramebuffer(GLuint name) : before_(glInteger(GL_FRAMEBUFFER_BINDING)) {
    glBindFramebuffer(GL_FRAMEBUFFER, name);
  }
  ~BoundFramebuffer() { glBindFramebuffer(GL_FRAMEBUFFER, before_); }
  BoundFramebuffer(const BoundFramebuffer&) = delete;
  BoundFramebuffer& operator=(const BoundFramebuffer&) = delete;

 private:
  GLint before_;
};

/// A framebuffer that lives, bound, for one block.
class TemporaryFramebuffer {
 public:
  TemporaryFramebuffer() : name_(generate()), bound_(name_) {}
  ~TemporaryFramebuffer() { glDeleteFramebuffers(1, &name_); }
  TemporaryFramebuffer(const TemporaryFramebuffer&) = delete;
  TemporaryFramebuffer& operator=(const TemporaryFramebuffer&) = delete;

 private:
  static GLuint generate() {
    GLuint name = 0;
    glGenFramebuffers(1, &name);
    return name;
  }

  GLuint name_;
  BoundFramebuffer bound_;
};

/// Binds a texture to the active unit and brings back the one that was bound.
class BoundTexture {
 public:
  explicit BoundTexture(GLuint name) : before_(glInteger(GL_TEXTURE_BINDING_2D)) { glBindTexture(GL_TEXTURE_2D, name); }
  ~BoundTexture() { glBindTexture(GL_TEXTURE_2D, before_); }
  BoundTexture(const BoundTexture&) = delete;
  BoundTexture& operator=(const BoundTexture&) = delete;

 private:
  GLint before_;
};

/// Fills the bound framebuffer's colour with zero.
void clearToZero();

/// The renderbuffer that is the colour of the bound framebuffer, by name; 0 for any other.
GLuint boundColorRenderbuffer();

/// Forgets errors of earlier calls, so that `glGetError` speaks of the next one.
void forgetErrors();

}  // namespace ZELPlatform
