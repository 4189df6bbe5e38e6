#include <GLES2/gl2.h>

#include <vector>

#include "gl/ZELGLRenderView.h"
#include "gl/ZELGLShaders.h"

// What all GL views of the process share: programs, the quad and the render queue.

std::shared_ptr<EAGLSharegroup> ZELGLRenderView::sShareGroup;
ZELGLRenderView::ProgramTable ZELGLRenderView::sPrograms;
uint32_t ZELGLRenderView::sVertexBuffer = 0;
uint32_t ZELGLRenderView::sIndexBuffer = 0;

std::string ZELGLRenderView::_vertexShader() { return ZELGLVertexShaderText(); }

std::string ZELGLRenderView::_fragmentShaderForFormat(ZELTextureFormat format, ZELProjectionType projection) {
  return ZELGLFragmentShaderText(format, projection);
}

uint32_t ZELGLRenderView::_compileShaderFromString(const std::string& text, uint32_t type) {
  const GLuint shader = glCreateShader(type);
  const char* source = text.c_str();
  glShaderSource(shader, 1, &source, nullptr);
  glCompileShader(shader);
  GLint status = 0;
  glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
  if (status == 1) return shader;

  // The log is fetched and dropped, for whoever watches the GL calls: nothing is reported here.
  GLint logLength = 0;
  glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &logLength);
  if (logLength >= 1) {
    std::vector<char> log(static_cast<size_t>(logLength));
    glGetShaderInfoLog(shader, logLength, &logLength, log.data());
  }
  glDeleteShader(shader);
  return 0;
}

uint32_t ZELGLRenderView::_linkProgramWithVertexShader(const std::string& vertexShader,
                                                       const std::string& fragmentShader) {
  const GLuint vertex = _compileShaderFromString(vertexShader, GL_VERTEX_SHADER);
  if (vertex == 0) return 0;
  const GLuint fragment = _compileShaderFromString(fragmentShader, GL_FRAGMENT_SHADER);
  if (fragment == 0) {
    // A shader name in a program deletion: GL refuses it, and the vertex shader stays alive.
    glDeleteProgram(vertex);
    return 0;
  }
  const GLuint program = glCreateProgram();
  glAttachShader(program, vertex);
  glAttachShader(program, fragment);
  glLinkProgram(program);
  GLint status = 0;
  glGetProgramiv(program, GL_LINK_STATUS, &status);
  if (status == 0) return 0;
  glDeleteShader(vertex);
  glDeleteShader(fragment);
  return program;
}

void ZELGLRenderView::_createSharedResources() {
  sPrograms.clear();
  for (ZELProjectionType projection = ZELProjectionTypeFlat; projection <= ZELProjectionTypeSegmentedSphere;
       ++projection) {
    std::map<ZELTextureFormat, uint32_t> programs;
    for (ZELTextureFormat format = ZELTextureFormatRGB; format <= ZELTextureFormatYUV; ++format) {
      programs[format] = _linkProgramWithVertexShader(_vertexShader(), _fragmentShaderForFormat(format, projection));
    }
    sPrograms[projection] = std::move(programs);
  }

  static constexpr float kVertices[] = {0, 0, 1, 0, 0, 1, 1, 1};
  glGenBuffers(1, &sVertexBuffer);
  glBindBuffer(GL_ARRAY_BUFFER, sVertexBuffer);
  glBufferData(GL_ARRAY_BUFFER, sizeof kVertices, kVertices, GL_STATIC_DRAW);

  static constexpr uint16_t kIndices[] = {0, 1, 2, 1, 3, 2};
  glGenBuffers(1, &sIndexBuffer);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, sIndexBuffer);
  glBufferData(GL_ELEMENT_ARRAY_BUFFER, sizeof kIndices, kIndices, GL_STATIC_DRAW);
}

const std::shared_ptr<DispatchQueue>& ZELGLRenderView::_sharedRenderQueue() {
  // Never destroyed: frames may still be queued while the process ends.
  static auto* const queue = new std::shared_ptr<DispatchQueue>(DispatchQueue::create("ZELGLRenderView"));
  return *queue;
}
