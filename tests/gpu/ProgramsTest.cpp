#include <GLES2/gl2.h>
#include <ZELPlatform/EAGL.h>
#include <ZELPlatform/UIApplication.h>
#include <gtest/gtest.h>

#include <string>

#include "gl/ZELGLRenderView.h"

namespace {

class Programs : public testing::Test {
 protected:
  void SetUp() override {
    UIApplicationOptions options;
    options.displayDriver = "offscreen";
    ASSERT_EQ(UIApplication::start(options), "");
    ASSERT_EQ(EAGLContext::unavailableReason(), "");
    context_ = EAGLContext::create(kEAGLRenderingAPIOpenGLES2);
    ASSERT_TRUE(EAGLContext::setCurrentContext(context_));
    while (glGetError() != GL_NO_ERROR) {
    }
  }
  void TearDown() override { EAGLContext::setCurrentContext(nullptr); }

  std::shared_ptr<EAGLContext> context_;
};

TEST_F(Programs, EveryFormatAndProjectionLinksWithItsUniforms) {
  for (int64_t projection = 0; projection < 4; ++projection) {
    for (int64_t format = 0; format < 2; ++format) {
      const std::string text = ZELGLRenderView::_fragmentShaderForFormat(format, projection);
      const GLuint program = ZELGLRenderView::_linkProgramWithVertexShader(ZELGLRenderView::_vertexShader(), text);
      ASSERT_NE(program, 0U) << ZELProjectionTypeName(projection) << " " << ZELMetalTextureFormatName(format);
      EXPECT_GE(glGetAttribLocation(program, "vs_Position"), 0);
      EXPECT_GE(glGetUniformLocation(program, "texture0"), 0);
      EXPECT_EQ(glGetUniformLocation(program, "texture1") >= 0, format == ZELTextureFormatYUV);
      EXPECT_NE(text.find("uniform highp float time;"), std::string::npos);
      EXPECT_EQ(text.find("#version"), std::string::npos);
      EXPECT_EQ(glGetError(), GL_NO_ERROR) << "the two shaders of a linked program are deleted without an error";
      glDeleteProgram(program);
    }
  }
}

TEST_F(Programs, TextsForUnknownKindsDoNotBuild) {
  EXPECT_EQ(ZELGLRenderView::_fragmentShaderForFormat(2, 0), "");
  EXPECT_EQ(
      ZELGLRenderView::_compileShaderFromString(ZELGLRenderView::_fragmentShaderForFormat(0, 4), GL_FRAGMENT_SHADER),
      0U);
  EXPECT_EQ(ZELGLRenderView::_linkProgramWithVertexShader("nonsense", ""), 0U);
}

TEST_F(Programs, AFailedFragmentLeavesTheVertexShaderAlive) {
  const GLuint before = glCreateShader(GL_VERTEX_SHADER);
  EXPECT_EQ(ZELGLRenderView::_linkProgramWithVertexShader(ZELGLRenderView::_vertexShader(), "nonsense"), 0U);
  EXPECT_EQ(glGetError(), GL_INVALID_OPERATION) << "a shader's name was handed to the deletion of programs";
  EXPECT_TRUE(glIsShader(before + 1));
  glDeleteShader(before + 1);
  glDeleteShader(before);
}

}  // namespace
