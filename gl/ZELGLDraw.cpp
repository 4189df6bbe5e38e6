#include <GLES2/gl2.h>
#include <ZELKit/internal/ZELInternalRenderState.h>

#include <cstddef>
#include <string>

#include "gl/ZELGLRenderView.h"

namespace {

constexpr int kVertexComponents = 2;
constexpr GLsizei kVertexStride = kVertexComponents * sizeof(float);
constexpr GLsizei kIndexCount = 6;
constexpr double kCubeColumns = 3.0;

void setUniform(GLuint program, const char* name, double value) {
  glUniform1f(glGetUniformLocation(program, name), static_cast<float>(value));
}

void setUniform(GLuint program, const char* name, double x, double y) {
  glUniform2f(glGetUniformLocation(program, name), static_cast<float>(x), static_cast<float>(y));
}

/// How much of each cube face is sampled: all but its padding, counted in the frame's pixels.
double cubeFaceScale(double textureWidth, int64_t padding) {
  const double faceWidth = textureWidth / kCubeColumns;
  return (faceWidth - static_cast<double>(padding)) / faceWidth;
}

void setUniforms(GLuint program, const ZELGLTexture& texture, const ZELInternalRenderState& state) {
  const ZELProjection* projection = state.projection.get();
  const CGRect rect = projection ? projection->displayRectForContentSize(texture.size, state.size) : CGRect{};
  setUniform(program, "nearPlane", state.nearPlane);
  setUniform(program, "aspectRatio", state.size.width / state.size.height);
  glUniformMatrix4fv(glGetUniformLocation(program, "viewMatrix"), 1, GL_FALSE, state.viewMatrix.m);
  setUniform(program, "displayOffset", rect.origin.x, rect.origin.y);
  setUniform(program, "displayScale", rect.size.width, rect.size.height);
  setUniform(program, "scale", cubeFaceScale(texture.size.width, projection ? projection->padding() : 0));
}

/// Binds the planes that the program samples; returns how many texture units were used.
GLuint bindPlanes(GLuint program, const ZELGLTexture& texture) {
  GLuint unit = 0;
  for (size_t plane = 0; plane < texture.planes.size(); ++plane) {
    const std::string sampler = "texture" + std::to_string(plane);
    const GLint location = glGetUniformLocation(program, sampler.c_str());
    if (location < 0) continue;
    glActiveTexture(GL_TEXTURE0 + unit);
    glBindTexture(GL_TEXTURE_2D, texture.planes[plane]);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glUniform1i(location, static_cast<GLint>(unit));
    ++unit;
  }
  return unit;
}

}  // namespace

void ZELGLRenderView::_internalPerformRender(const ZELGLTexture& texture, const ZELInternalRenderState& state) {
  const ZELProjectionType type = state.projection ? state.projection->type() : ZELProjectionType{ZELProjectionTypeFlat};
  const auto programs = sPrograms.find(type);
  if (programs == sPrograms.end()) return;
  const auto entry = programs->second.find(texture.format);
  if (entry == programs->second.end() || entry->second == 0) return;
  const GLuint program = entry->second;

  glUseProgram(program);
  glBindBuffer(GL_ARRAY_BUFFER, sVertexBuffer);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, sIndexBuffer);
  const auto position = static_cast<GLuint>(glGetAttribLocation(program, "vs_Position"));
  glEnableVertexAttribArray(position);
  glVertexAttribPointer(position, kVertexComponents, GL_FLOAT, GL_FALSE, kVertexStride, nullptr);
  setUniforms(program, texture, state);

  const GLuint unitsUsed = bindPlanes(program, texture);
  glDrawElements(GL_TRIANGLES, kIndexCount, GL_UNSIGNED_SHORT, nullptr);
  for (GLuint unit = 0; unit < unitsUsed; ++unit) {
    glActiveTexture(GL_TEXTURE0 + unit);
    glBindTexture(GL_TEXTURE_2D, 0);
  }
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
  glUseProgram(0);

  if (state.frameDisplayed) state.frameDisplayed();
}
