#include "drivers/egl/ScenePainter.h"

#include "platform/quartzcore/LayerContents.h"

#include <ZELPlatform/CoreGraphics.h>
#include <ZELPlatform/CoreVideo.h>

#include <algorithm>
#include <array>
#include <utility>

namespace ZELPlatform {
namespace {

constexpr GLuint kCorner = 0;

// `rect`: left and top edge, width and height, in clip space, of the quad whose corner (0, 0) is the top left one.
constexpr const char* kVertexText = R"(
attribute vec2 corner;
uniform vec4 rect;
uniform float bottomUp;
varying highp vec2 at;
void main() {
  at = vec2(corner.x, mix(corner.y, 1.0 - corner.y, bottomUp));
  gl_Position = vec4(rect.xy + corner * rect.zw, 0.0, 1.0);
}
)";

constexpr const char* kFragmentText = R"(
#ifdef GL_FRAGMENT_PRECISION_HIGH
varying highp vec2 at;
#else
varying mediump vec2 at;
#endif
uniform sampler2D picture;
void main() {
  gl_FragColor = texture2D(picture, at);
}
)";

GLuint compile(GLenum type, const char* text) {
  const GLuint shader = glCreateShader(type);
  glShaderSource(shader, 1, &text, nullptr);
  glCompileShader(shader);
  return shader;
}

/// 0 when the driver refuses.
GLuint linkProgram() {
  const GLuint program = glCreateProgram();
  for (const GLuint shader : {compile(GL_VERTEX_SHADER, kVertexText), compile(GL_FRAGMENT_SHADER, kFragmentText)}) {
    glAttachShader(program, shader);
    glDeleteShader(shader);
  }
  glBindAttribLocation(program, kCorner, "corner");
  glLinkProgram(program);
  GLint linked = GL_FALSE;
  glGetProgramiv(program, GL_LINK_STATUS, &linked);
  if (linked) return program;
  glDeleteProgram(program);
  return 0;
}

/// The picture, made smaller if the driver has no texture so large.
std::shared_ptr<CGImage> fitting(const std::shared_ptr<CGImage>& image, size_t limit) {
  const size_t side = std::max(image->width(), image->height());
  if (side <= limit) return image;
  const size_t width = std::max<size_t>(1, image->width() * limit / side);
  const size_t height = std::max<size_t>(1, image->height() * limit / side);
  const auto bitmap = CGBitmapContext::create(nullptr, width, height, width * 4, image->alphaInfo());
  if (!bitmap) return nullptr;
  bitmap->drawImage(*image, CGRectMake(0, 0, static_cast<double>(width), static_cast<double>(height)));
  return bitmap->createImage();
}

}  // namespace

std::unique_ptr<ScenePainter> ScenePainter::create(EglDriver& driver) {
  const GLuint program = linkProgram();
  return program != 0 ? std::unique_ptr<ScenePainter>(new ScenePainter(driver, program)) : nullptr;
}

ScenePainter::ScenePainter(EglDriver& driver, GLuint program)
    : driver_(driver),
      program_(program),
      rectLocation_(glGetUniformLocation(program, "rect")),
      bottomUpLocation_(glGetUniformLocation(program, "bottomUp")),
      stillTextures_(driver.capabilities()) {
  static constexpr std::array<GLfloat, 8> corners{0, 0, 1, 0, 0, 1, 1, 1};
  glUseProgram(program_);
  glEnableVertexAttribArray(kCorner);
  glVertexAttribPointer(kCorner, 2, GL_FLOAT, GL_FALSE, 0, corners.data());
  glDisable(GL_DITHER);
  glClearColor(0, 0, 0, 1);
  glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
}

ScenePainter::~ScenePainter() { glDeleteProgram(program_); }

std::shared_ptr<Fence> ScenePainter::paint(const Scene& scene) {
  glViewport(0, 0, scene.pixelWidth, scene.pixelHeight);
  glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
  glClear(GL_COLOR_BUFFER_BIT);
  // The window itself stays opaque, whatever the layers' alpha.
  glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_FALSE);
  for (const SceneItem& item : scene.items) paintItem(scene, item);
  auto painted = Fence::insert(driver_.display());
  for (const auto& image : images_) image->setShown(painted);
  images_.clear();
  dropUnusedStills();
  return painted;
}

void ScenePainter::paintItem(const Scene& scene, const SceneItem& item) {
  const PixelRect rect = pixelRect(item.frame, scene.points, scene.pixelWidth, scene.pixelHeight);
  if (rect.isEmpty()) return;
  const auto front = item.contents->front();
  if (auto image = std::dynamic_pointer_cast<DrawableImage>(front)) {
    item.opaque ? glDisable(GL_BLEND) : glEnable(GL_BLEND);
    image->awaitDrawn();
    paintTexture(scene, rect, image->texture(), rect.isExact(image->width(), image->height()), true);
    images_.push_back(std::move(image));
  } else if (const auto still = front ? front->readBack() : item.contents->still()) {
    // What another API drew is brought over through memory.
    const bool opaque = item.opaque || still->alphaInfo() == CGImageAlphaInfo::NoneSkipLast;
    opaque ? glDisable(GL_BLEND) : glEnable(GL_BLEND);
    paintTexture(scene, rect, stillTexture(still, front != nullptr), rect.isExact(still->width(), still->height()),
                 false);
  }
}

void ScenePainter::paintTexture(const Scene& scene, const PixelRect& rect, GLuint texture, bool exact,
                                bool bottomUp) const {
  const float unitX = 2.0F / static_cast<float>(scene.pixelWidth);
  const float unitY = 2.0F / static_cast<float>(scene.pixelHeight);
  const GLint filter = exact ? GL_NEAREST : GL_LINEAR;
  glBindTexture(GL_TEXTURE_2D, texture);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  glUniform4f(rectLocation_, static_cast<float>(rect.left) * unitX - 1.0F, 1.0F - static_cast<float>(rect.top) * unitY,
              static_cast<float>(rect.width) * unitX, -static_cast<float>(rect.height) * unitY);
  glUniform1f(bottomUpLocation_, bottomUp ? 1.0F : 0.0F);
  glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
  glBindTexture(GL_TEXTURE_2D, 0);
}

GLuint ScenePainter::stillTexture(const std::shared_ptr<CGImage>& image, bool broughtOver) {
  const auto isThisOne = [&image](const Still& still) { return still.image == image; };
  auto found = std::find_if(stills_.begin(), stills_.end(), isThisOne);
  if (found == stills_.end())
    found = stills_.insert(stills_.end(), Still{image, uploadStill(image), broughtOver, false});
  found->used = true;
  return found->texture ? found->texture->name() : 0;
}

CVOpenGLESTextureRef ScenePainter::uploadStill(const std::shared_ptr<CGImage>& image) {
  const auto pixels = fitting(image, static_cast<size_t>(driver_.maximumTextureSize()));
  if (!pixels) return nullptr;
  // Uploading only reads.
  auto* bytes = const_cast<uint8_t*>(pixels->bytes());
  const auto buffer = CVPixelBuffer::createWithBytes(pixels->width(), pixels->height(), kCVPixelFormatType_32RGBA,
                                                     bytes, pixels->bytesPerRow());
  return stillTextures_.createTextureFromImage(buffer, GL_TEXTURE_2D, GL_RGBA, static_cast<int32_t>(pixels->width()),
                                               static_cast<int32_t>(pixels->height()), GL_RGBA, GL_UNSIGNED_BYTE, 0);
}

void ScenePainter::dropUnusedStills() {
  const auto isDropped = [](const Still& still) { return !still.used; };
  const bool dropsStills =
      std::any_of(stills_.begin(), stills_.end(), [](const Still& still) { return !still.used && !still.broughtOver; });
  const auto dropped = std::erase_if(stills_, isDropped);
  for (Still& still : stills_) still.used = false;
  if (dropped == 0) return;
  // A drawn layer's next picture has the same size. Stills rarely come back in theirs: their storage is not kept.
  stillTextures_.flush();
  if (dropsStills) stillTextures_.flush();
}

}  // namespace ZELPlatform
