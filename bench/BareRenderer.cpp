#include "bench/BareRenderer.h"

#include "bench/Statistics.h"
#include "gl/ZELGLRenderView.h"

#include <GLES2/gl2.h>
#include <GLES2/gl2ext.h>

namespace ZELBench {

namespace {

void setSampling() {
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

uint32_t makeBuffer(uint32_t target, const void* bytes, GLsizeiptr size) {
  uint32_t name = 0;
  glGenBuffers(1, &name);
  glBindBuffer(target, name);
  glBufferData(target, size, bytes, GL_STATIC_DRAW);
  glBindBuffer(target, 0);
  return name;
}

}  // namespace

BareProgram::BareProgram(ZELTextureFormat format, ZELProjectionType projection, CGRect rect, CGSize target)
    : program_(ZELGLRenderView::_linkProgramWithVertexShader(
          ZELGLRenderView::_vertexShader(), ZELGLRenderView::_fragmentShaderForFormat(format, projection))) {
  if (program_ == 0) return;
  glUseProgram(program_);
  const auto location = [this](const char* name) { return glGetUniformLocation(program_, name); };
  glUniform1f(location("aspectRatio"), static_cast<float>(target.width / target.height));
  glUniform2f(location("displayOffset"), static_cast<float>(rect.origin.x), static_cast<float>(rect.origin.y));
  glUniform2f(location("displayScale"), static_cast<float>(rect.size.width), static_cast<float>(rect.size.height));
  glUniform1f(location("scale"), 1.0F);
  glUniform1i(location("texture0"), 0);
  glUniform1i(location("texture1"), 1);
  viewMatrix_ = location("viewMatrix");
  nearPlane_ = location("nearPlane");
  position_ = static_cast<uint32_t>(glGetAttribLocation(program_, "vs_Position"));
  glUseProgram(0);
}

BareProgram::~BareProgram() { glDeleteProgram(program_); }

void BareProgram::use(const Camera& camera) const {
  glUseProgram(program_);
  glUniformMatrix4fv(viewMatrix_, 1, GL_FALSE, camera.viewMatrix.m);
  glUniform1f(nearPlane_, static_cast<float>(camera.nearPlane));
}

BareRenderer::BareRenderer(uint32_t pixelFormat, CGSize content, CGSize target)
    : targetWidth_(static_cast<int32_t>(target.width)), targetHeight_(static_cast<int32_t>(target.height)) {
  const auto width = static_cast<int32_t>(content.width);
  const auto height = static_cast<int32_t>(content.height);
  if (pixelFormat == kCVPixelFormatType_32BGRA) {
    addPlane(width, height, GL_BGRA_EXT, 4);
  } else {
    addPlane(width, height, GL_LUMINANCE, 1);
    addPlane(width / 2, height / 2, GL_RG_EXT, 2);
  }
  static constexpr std::array<float, 8> kCorners = {0, 0, 1, 0, 0, 1, 1, 1};
  static constexpr std::array<uint16_t, 6> kTriangles = {0, 1, 2, 1, 3, 2};
  vertexBuffer_ = makeBuffer(GL_ARRAY_BUFFER, kCorners.data(), sizeof kCorners);
  indexBuffer_ = makeBuffer(GL_ELEMENT_ARRAY_BUFFER, kTriangles.data(), sizeof kTriangles);
  makeTarget();
}

BareRenderer::~BareRenderer() {
  for (const PlaneTexture& plane : planes_) glDeleteTextures(1, &plane.name);
  glDeleteTextures(1, &targetTexture_);
  glDeleteFramebuffers(1, &framebuffer_);
  glDeleteBuffers(1, &vertexBuffer_);
  glDeleteBuffers(1, &indexBuffer_);
}

ZELTextureFormat BareRenderer::textureFormat() const {
  return planes_.size() == 1 ? ZELTextureFormatRGB : ZELTextureFormatYUV;
}

void BareRenderer::addPlane(int32_t width, int32_t height, uint32_t format, uint32_t bytesPerPixel) {
  PlaneTexture plane{0, width, height, format, bytesPerPixel};
  glGenTextures(1, &plane.name);
  glBindTexture(GL_TEXTURE_2D, plane.name);
  glTexImage2D(GL_TEXTURE_2D, 0, static_cast<int32_t>(format), width, height, 0, format, GL_UNSIGNED_BYTE, nullptr);
  setSampling();
  glBindTexture(GL_TEXTURE_2D, 0);
  planes_.push_back(plane);
}

void BareRenderer::makeTarget() {
  glGenTextures(1, &targetTexture_);
  glBindTexture(GL_TEXTURE_2D, targetTexture_);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, targetWidth_, targetHeight_, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  setSampling();
  glBindTexture(GL_TEXTURE_2D, 0);
  glGenFramebuffers(1, &framebuffer_);
  const Bound bound(*this);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, targetTexture_, 0);
  complete_ = glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
}

BareRenderer::Bound::Bound(const BareRenderer& renderer) {
  glGetIntegerv(GL_FRAMEBUFFER_BINDING, &framebuffer_);
  glGetIntegerv(GL_VIEWPORT, viewport_.data());
  glBindFramebuffer(GL_FRAMEBUFFER, renderer.framebuffer_);
  glViewport(0, 0, renderer.targetWidth_, renderer.targetHeight_);
}

BareRenderer::Bound::~Bound() {
  glBindFramebuffer(GL_FRAMEBUFFER, static_cast<uint32_t>(framebuffer_));
  glViewport(viewport_[0], viewport_[1], viewport_[2], viewport_[3]);
}

void BareRenderer::upload(const CVPixelBuffer& frame) const {
  for (size_t index = 0; index < planes_.size(); ++index) {
    const PlaneTexture& plane = planes_[index];
    glBindTexture(GL_TEXTURE_2D, plane.name);
    glPixelStorei(GL_UNPACK_ROW_LENGTH_EXT, static_cast<int32_t>(frame.plane(index).bytesPerRow / plane.bytesPerPixel));
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, plane.width, plane.height, plane.format, GL_UNSIGNED_BYTE,
                    frame.plane(index).baseAddress);
  }
  glPixelStorei(GL_UNPACK_ROW_LENGTH_EXT, 0);
}

double BareRenderer::drawFrame(const CVPixelBuffer* frame, const BareProgram& program, const Camera& camera) const {
  const Stopwatch stopwatch;
  glActiveTexture(GL_TEXTURE0);
  if (frame != nullptr) upload(*frame);
  program.use(camera);
  for (size_t unit = 0; unit < planes_.size(); ++unit) {
    glActiveTexture(GL_TEXTURE0 + static_cast<uint32_t>(unit));
    glBindTexture(GL_TEXTURE_2D, planes_[unit].name);
  }
  glBindBuffer(GL_ARRAY_BUFFER, vertexBuffer_);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, indexBuffer_);
  glEnableVertexAttribArray(program.position());
  glVertexAttribPointer(program.position(), 2, GL_FLOAT, GL_FALSE, 2 * sizeof(float), nullptr);
  glDrawElements(GL_TRIANGLES, 6, GL_UNSIGNED_SHORT, nullptr);
  glFinish();
  const double milliseconds = stopwatch.milliseconds();

  for (size_t unit = planes_.size(); unit-- > 0;) {
    glActiveTexture(GL_TEXTURE0 + static_cast<uint32_t>(unit));
    glBindTexture(GL_TEXTURE_2D, 0);
  }
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
  glUseProgram(0);
  return milliseconds;
}

uint64_t BareRenderer::bytesPerFrame() const {
  uint64_t bytes = 0;
  for (const PlaneTexture& plane : planes_) {
    bytes += static_cast<uint64_t>(plane.width) * static_cast<uint64_t>(plane.height) * plane.bytesPerPixel;
  }
  return bytes;
}

std::vector<uint8_t> BareRenderer::readBack() const {
  const size_t bytesPerRow = static_cast<size_t>(targetWidth_) * 4;
  std::vector<uint8_t> pixels(bytesPerRow * static_cast<size_t>(targetHeight_));
  // GL counts rows from the bottom.
  for (int32_t row = 0; row < targetHeight_; ++row) {
    glReadPixels(0, targetHeight_ - 1 - row, targetWidth_, 1, GL_RGBA, GL_UNSIGNED_BYTE,
                 pixels.data() + static_cast<size_t>(row) * bytesPerRow);
  }
  return pixels;
}

}  // namespace ZELBench
