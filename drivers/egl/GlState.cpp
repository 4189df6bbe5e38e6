#include "drivers/egl/GlState.h"

#include <array>

namespace ZELPlatform {

void clearToZero() {
  std::array<GLfloat, 4> color{};
  std::array<GLboolean, 4> mask{};
  glGetFloatv(GL_COLOR_CLEAR_VALUE, color.data());
  glGetBooleanv(GL_COLOR_WRITEMASK, mask.data());
  const GLboolean scissored = glIsEnabled(GL_SCISSOR_TEST);
  if (scissored) glDisable(GL_SCISSOR_TEST);
  glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
  glClearColor(0, 0, 0, 0);
  glClear(GL_COLOR_BUFFER_BIT);
  glClearColor(color[0], color[1], color[2], color[3]);
  glColorMask(mask[0], mask[1], mask[2], mask[3]);
  if (scissored) glEnable(GL_SCISSOR_TEST);
}

GLuint boundColorRenderbuffer() {
  if (glInteger(GL_FRAMEBUFFER_BINDING) == 0) return 0;
  GLint value = GL_NONE;
  glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE,
                                        &value);
  if (value != GL_RENDERBUFFER) return 0;
  glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME,
                                        &value);
  return static_cast<GLuint>(value);
}

void forgetErrors() {
  // A lost context reports an error without end.
  for (int i = 0; i < 16 && glGetError() != GL_NO_ERROR; ++i) {
  }
}

}  // namespace ZELPlatform
