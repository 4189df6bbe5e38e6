#include <ZELPlatform/CoreVideo.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tests/gpu/EaglSupport.h"

using namespace egltest;
using ZELPlatform::pixelCounters;

namespace {

constexpr const char* kVertexText =
    "attribute vec2 p; varying vec2 t; void main() { t = 0.5 * p + 0.5; gl_Position = vec4(p, 0.0, 1.0); }";
constexpr const char* kFragmentText =
    "precision highp float; varying vec2 t; uniform sampler2D s; void main() { gl_FragColor = texture2D(s, t); }";

/// The current context, with a program that copies a texture pixel by pixel.
class TextureCacheTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(EAGLContext::setCurrentContext(context_));
    program_ = glCreateProgram();
    for (const auto& [type, text] : {std::pair{GL_VERTEX_SHADER, kVertexText}, {GL_FRAGMENT_SHADER, kFragmentText}}) {
      const GLuint shader = glCreateShader(type);
      glShaderSource(shader, 1, &text, nullptr);
      glCompileShader(shader);
      glAttachShader(program_, shader);
    }
    glLinkProgram(program_);
    cache_ = CVOpenGLESTextureCache::create(context_);
  }

  void TearDown() override {
    cache_.reset();
    EAGLContext::setCurrentContext(nullptr);
  }

  CVOpenGLESTextureRef wrap(const CVPixelBufferRef& buffer, GLenum internalFormat, GLenum format, int width, int height,
                            size_t plane = 0) {
    return cache_->createTextureFromImage(buffer, GL_TEXTURE_2D, static_cast<int32_t>(internalFormat), width, height,
                                          format, GL_UNSIGNED_BYTE, plane);
  }

  /// What a shader reads at each pixel.
  std::vector<Pixel> sampled(const CVOpenGLESTextureRef& texture, int width, int height) const {
    GLuint framebuffer = 0;
    GLuint target = 0;
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glGenTextures(1, &target);
    glBindTexture(GL_TEXTURE_2D, target);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target, 0);
    glViewport(0, 0, width, height);
    glUseProgram(program_);
    const std::array<GLfloat, 8> corners{-1, -1, 1, -1, -1, 1, 1, 1};
    const auto position = static_cast<GLuint>(glGetAttribLocation(program_, "p"));
    glEnableVertexAttribArray(position);
    glVertexAttribPointer(position, 2, GL_FLOAT, GL_FALSE, 0, corners.data());
    glBindTexture(GL_TEXTURE_2D, texture->name());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    std::vector<Pixel> pixels(static_cast<size_t>(width) * static_cast<size_t>(height));
    glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    glDeleteTextures(1, &target);
    glDeleteFramebuffers(1, &framebuffer);
    return pixels;
  }

  CapabilitiesAsTheyAre asTheyAre_;
  std::shared_ptr<EAGLContext> context_ = EAGLContext::create(kEAGLRenderingAPIOpenGLES2);
  std::shared_ptr<CVOpenGLESTextureCache> cache_;
  GLuint program_ = 0;
};

/// A way of laying out and of naming one plane, and how a shader sees its bytes.
struct PlaneCase {
  const char* name;
  uint32_t pixelFormat;
  size_t plane;
  GLenum internalFormat;
  GLenum format;
  size_t bytesPerPixel;
  Pixel (*seen)(const uint8_t* bytes);
};

const std::vector<PlaneCase> kPlanes{
    {"RGBA", kCVPixelFormatType_32RGBA, 0, GL_RGBA, GL_RGBA, 4,
     [](const uint8_t* b) {
       return Pixel{b[0], b[1], b[2], b[3]};
     }},
    {"BGRA", kCVPixelFormatType_32BGRA, 0, GL_RGBA, GL_BGRA_EXT, 4,
     [](const uint8_t* b) {
       return Pixel{b[2], b[1], b[0], b[3]};
     }},
    {"Luma", kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, 0, GL_LUMINANCE, GL_LUMINANCE, 1,
     [](const uint8_t* b) {
       return Pixel{b[0], b[0], b[0], 255};
     }},
    {"Chroma", kCVPixelFormatType_420YpCbCr8BiPlanarFullRange, 1, GL_RG_EXT, GL_RG_EXT, 2,
     [](const uint8_t* b) {
       return Pixel{b[0], b[1], 0, 255};
     }},
};

/// The caller's memory as a pixel buffer whose rows have `padding` bytes after them.
struct Borrowed {
  std::array<std::vector<uint8_t>, 2> memory;
  CVPixelBufferRef buffer;
  CVPixelBuffer::Plane plane;

  Borrowed(const PlaneCase& kind, size_t width, size_t height, size_t padding) {
    std::mt19937 random(static_cast<unsigned>(width * 31 + height));
    const bool planar = kind.bytesPerPixel != 4;
    const std::array<CVPixelBuffer::Plane, 2> sizes{
        {{nullptr, width, height, width * (planar ? 1 : 4) + padding},
         {nullptr, (width + 1) / 2, (height + 1) / 2, (width + 1) / 2 * 2 + padding}}};
    std::array<CVPixelBuffer::Plane, 2> planes = sizes;
    for (size_t i = 0; i < planes.size(); ++i) {
      memory[i].resize(planes[i].bytesPerRow * planes[i].height);
      std::generate(memory[i].begin(), memory[i].end(), [&] { return static_cast<uint8_t>(random()); });
      planes[i].baseAddress = memory[i].data();
    }
    buffer = planar ? CVPixelBuffer::createWithPlanarBytes(width, height, kind.pixelFormat, planes)
                    : CVPixelBuffer::createWithBytes(width, height, kind.pixelFormat, planes[0].baseAddress,
                                                     planes[0].bytesPerRow);
    plane = planes[kind.plane];
  }
};

TEST_F(TextureCacheTest, ShadersReadEveryByteWhereItBelongsOnEveryWayThroughTheDriver) {
  const ZELPlatform::Capabilities all = driver().capabilities();
  for (const bool rowLength : {true, false}) {
    for (const bool bgra : {true, false}) {
      driver().capabilities() = all;
      driver().capabilities().unpackRowLength &= rowLength;
      driver().capabilities().bgraTextures &= bgra;
      for (const PlaneCase& kind : kPlanes) {
        for (const size_t padding : {0, 3, 12}) {
          SCOPED_TRACE(std::string(kind.name) + ", padding " + std::to_string(padding) +
                       (rowLength ? "" : ", RowByRow") + (bgra ? "" : ", SwizzleOnUpload"));
          const Borrowed borrowed(kind, 37, 23, padding);
          const auto width = static_cast<int>(borrowed.plane.width);
          const auto height = static_cast<int>(borrowed.plane.height);
          const auto texture = wrap(borrowed.buffer, kind.internalFormat, kind.format, width, height, kind.plane);
          ASSERT_TRUE(texture);
          const std::vector<Pixel> pixels = sampled(texture, width, height);
          for (size_t y = 0; y < borrowed.plane.height; ++y) {
            for (size_t x = 0; x < borrowed.plane.width; ++x) {
              const auto* row =
                  static_cast<const uint8_t*>(borrowed.plane.baseAddress) + y * borrowed.plane.bytesPerRow;
              ASSERT_EQ(pixels[y * borrowed.plane.width + x], kind.seen(row + x * kind.bytesPerPixel))
                  << x << ", " << y;
            }
          }
        }
      }
    }
  }
}

TEST_F(TextureCacheTest, AStreamOfFramesUsesTwoStoragesAndLeavesNone) {
  const int64_t before = pixelCounters().textureStorages;
  const uint64_t uploads = pixelCounters().uploads;
  const uint64_t bytes = pixelCounters().uploadedBytes;
  CVOpenGLESTextureRef luma;
  CVOpenGLESTextureRef chroma;
  std::vector<uint32_t> names;
  const auto frame = CVPixelBuffer::create(64, 32, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
  for (int i = 0; i < 50; ++i) {
    luma.reset();
    chroma.reset();
    cache_->flush();
    luma = wrap(frame, GL_LUMINANCE, GL_LUMINANCE, 64, 32, 0);
    chroma = wrap(frame, GL_RG_EXT, GL_RG_EXT, 32, 16, 1);
    ASSERT_TRUE(luma && chroma);
    if (!names.empty()) {
      ASSERT_NE(luma->name(), names.back()) << "the frame before may still be read";
    }
    names.push_back(luma->name());
    ASSERT_LE(pixelCounters().textureStorages - before, 4);
  }
  EXPECT_EQ(pixelCounters().uploads - uploads, 100U);
  EXPECT_EQ(pixelCounters().uploadedBytes - bytes, 50U * (64 * 32 + 32 * 16 * 2));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(std::unique(names.begin(), names.end()) - names.begin(), 2);

  // Another format comes: what the old one leaves is dropped with the second flush.
  luma.reset();
  chroma.reset();
  const auto packed = CVPixelBuffer::create(64, 32, kCVPixelFormatType_32BGRA);
  cache_->flush();
  const auto first = wrap(packed, GL_RGBA, GL_BGRA_EXT, 64, 32);
  cache_->flush();
  const auto second = wrap(packed, GL_RGBA, GL_BGRA_EXT, 64, 32);
  EXPECT_EQ(pixelCounters().textureStorages - before, 2);
  EXPECT_NE(first->name(), second->name());
}

TEST_F(TextureCacheTest, TexturesOutliveTheirCacheAndKeepTheirPixels) {
  const int64_t before = pixelCounters().textureStorages;
  const auto red = CVPixelBuffer::create(4, 4, kCVPixelFormatType_32RGBA);
  std::fill_n(static_cast<Pixel*>(red->baseAddress()), 16, kRed);
  std::vector<CVOpenGLESTextureRef> held;
  held.push_back(wrap(red, GL_RGBA, GL_RGBA, 4, 4));
  const auto blue = CVPixelBuffer::create(4, 4, kCVPixelFormatType_32RGBA);
  std::fill_n(static_cast<Pixel*>(blue->baseAddress()), 16, kBlue);
  for (int i = 0; i < 4; ++i) held.push_back(wrap(blue, GL_RGBA, GL_RGBA, 4, 4));
  cache_.reset();
  EXPECT_EQ(sampled(held.front(), 4, 4), std::vector<Pixel>(16, kRed));
  EXPECT_EQ(sampled(held.back(), 4, 4), std::vector<Pixel>(16, kBlue));
  held.clear();
  EXPECT_EQ(pixelCounters().textureStorages, before);
}

TEST_F(TextureCacheTest, LeavesTheProgramsStateAsItWas) {
  GLuint bound = 0;
  glGenTextures(1, &bound);
  glActiveTexture(GL_TEXTURE3);
  glBindTexture(GL_TEXTURE_2D, bound);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 8);
  glPixelStorei(GL_UNPACK_ROW_LENGTH_EXT, 77);
  glPixelStorei(GL_UNPACK_SKIP_ROWS_EXT, 2);
  const Borrowed borrowed(kPlanes[2], 21, 5, 7);
  const auto texture = wrap(borrowed.buffer, GL_LUMINANCE, GL_LUMINANCE, 21, 5);
  EXPECT_EQ(ZELPlatform::glInteger(GL_ACTIVE_TEXTURE), GL_TEXTURE3);
  EXPECT_EQ(ZELPlatform::glInteger(GL_TEXTURE_BINDING_2D), static_cast<GLint>(bound));
  EXPECT_EQ(ZELPlatform::glInteger(GL_UNPACK_ALIGNMENT), 8);
  EXPECT_EQ(ZELPlatform::glInteger(GL_UNPACK_ROW_LENGTH_EXT), 77);
  EXPECT_EQ(ZELPlatform::glInteger(GL_UNPACK_SKIP_ROWS_EXT), 2);
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

TEST_F(TextureCacheTest, RefusesWhatIsNotThere) {
  const auto packed = CVPixelBuffer::create(8, 8, kCVPixelFormatType_32RGBA);
  const auto planar = CVPixelBuffer::create(8, 8, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
  EXPECT_FALSE(CVOpenGLESTextureCache::create(nullptr));
  EXPECT_FALSE(wrap(nullptr, GL_RGBA, GL_RGBA, 8, 8));
  EXPECT_FALSE(wrap(packed, GL_RGBA, GL_RGBA, 9, 8)) << "wider than the plane";
  EXPECT_FALSE(wrap(packed, GL_RGBA, GL_RGBA, 0, 8));
  EXPECT_FALSE(wrap(packed, GL_RGBA, GL_RGBA, 8, 8, 1)) << "no such plane";
  EXPECT_FALSE(wrap(packed, GL_RGB, GL_RGB, 8, 8));
  EXPECT_FALSE(wrap(planar, GL_RG_EXT, GL_RG_EXT, 5, 4, 1)) << "wider than the chroma plane";
  EXPECT_FALSE(cache_->createTextureFromImage(packed, GL_TEXTURE_2D, GL_RGBA, 8, 8, GL_RGBA, GL_FLOAT, 0));
  EXPECT_FALSE(
      cache_->createTextureFromImage(packed, GL_TEXTURE_CUBE_MAP, GL_RGBA, 8, 8, GL_RGBA, GL_UNSIGNED_BYTE, 0));

  // Rows that are too short for the format would be read past their end.
  std::vector<uint8_t> memory(64);
  EXPECT_FALSE(wrap(CVPixelBuffer::createWithBytes(8, 4, kCVPixelFormatType_16LE565, memory.data(), 16), GL_RGBA,
                    GL_RGBA, 8, 4));

  const auto limit = static_cast<size_t>(EAGLContext::maximumTextureSize());
  const auto huge = CVPixelBuffer::create(limit + 1, 1, kCVPixelFormatType_32RGBA);
  ASSERT_TRUE(huge);
  EXPECT_FALSE(wrap(huge, GL_RGBA, GL_RGBA, static_cast<int>(limit + 1), 1));

  driver().capabilities().rgTextures = false;
  EXPECT_FALSE(wrap(planar, GL_RG_EXT, GL_RG_EXT, 4, 4, 1));
}

}  // namespace
