#pragma once

#include "drivers/egl/EglDriver.h"
#include "drivers/egl/GlState.h"
#include "platform/corevideo/Counters.h"
#include "platform/quartzcore/LayerContents.h"

#include <ZELPlatform/CoreGraphics.h>
#include <ZELPlatform/EAGL.h>
#include <ZELPlatform/QuartzCore.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>

namespace egltest {

using Pixel = std::array<uint8_t, 4>;

inline constexpr Pixel kNothing{0, 0, 0, 0};
inline constexpr Pixel kRed{255, 0, 0, 255};
inline constexpr Pixel kGreen{0, 255, 0, 255};
inline constexpr Pixel kBlue{0, 0, 255, 255};

inline ZELPlatform::EglDriver& driver() {
  return dynamic_cast<ZELPlatform::EglDriver&>(*ZELPlatform::activeGLDriver());
}

/// Gives the driver back the capabilities that a test took away.
class CapabilitiesAsTheyAre {
 public:
  CapabilitiesAsTheyAre() : before_(driver().capabilities()) {}
  ~CapabilitiesAsTheyAre() { driver().capabilities() = before_; }
  CapabilitiesAsTheyAre(const CapabilitiesAsTheyAre&) = delete;
  CapabilitiesAsTheyAre& operator=(const CapabilitiesAsTheyAre&) = delete;

 private:
  ZELPlatform::Capabilities before_;
};

inline Pixel pixelAt(const CGImage& image, size_t x, size_t y) {
  const uint8_t* at = image.bytes() + y * image.bytesPerRow() + x * 4;
  return {at[0], at[1], at[2], at[3]};
}

/// The colour of every pixel, if they are all the same.
inline testing::AssertionResult isFilledWith(const std::shared_ptr<CGImage>& image, const Pixel& color) {
  if (!image) return testing::AssertionFailure() << "no image";
  for (size_t y = 0; y < image->height(); ++y) {
    for (size_t x = 0; x < image->width(); ++x) {
      const Pixel found = pixelAt(*image, x, y);
      if (found == color) continue;
      return testing::AssertionFailure() << testing::PrintToString(found) << " at " << x << ", " << y << " instead of "
                                         << testing::PrintToString(color);
    }
  }
  return testing::AssertionSuccess();
}

inline void clearTo(const Pixel& color) {
  glClearColor(color[0] / 255.0F, color[1] / 255.0F, color[2] / 255.0F, color[3] / 255.0F);
  glClear(GL_COLOR_BUFFER_BIT);
}

inline std::shared_ptr<CAEAGLLayer> makeLayer(double width, double height, double scale = 1.0) {
  auto layer = std::make_shared<CAEAGLLayer>();
  layer->setFrame(CGRectMake(0, 0, width, height));
  layer->setContentsScale(scale);
  return layer;
}

inline std::shared_ptr<ZELPlatform::LayerImage> front(const std::shared_ptr<CAEAGLLayer>& layer) {
  return layer->contentsStore()->front();
}

/// A context that draws into a layer, making and remaking its drawable as a view does that deletes framebuffer names as
/// if they were renderbuffer names.
struct Canvas {
  std::shared_ptr<EAGLContext> context = EAGLContext::create(kEAGLRenderingAPIOpenGLES2);
  std::shared_ptr<CAEAGLLayer> layer;
  GLuint renderbuffer = 0;
  GLuint framebuffer = 0;

  explicit Canvas(std::shared_ptr<CAEAGLLayer> itsLayer) : layer(std::move(itsLayer)) {}

  void makeCurrent() const { ASSERT_TRUE(EAGLContext::setCurrentContext(context)); }

  /// `name` is the new renderbuffer's, if the driver is not to choose one.
  bool remake(GLuint name = 0) {
    if (renderbuffer != 0) glDeleteRenderbuffers(1, &renderbuffer);
    if (framebuffer != 0) glDeleteRenderbuffers(1, &framebuffer);
    renderbuffer = name;
    if (name == 0) glGenRenderbuffers(1, &renderbuffer);
    glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    if (!context->renderbufferStorage(GL_RENDERBUFFER, layer)) return false;
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, renderbuffer);
    return glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
  }

  bool present() const { return context->presentRenderbuffer(GL_RENDERBUFFER); }

  /// One frame of a view: the context is current only while it draws.
  bool show(const Pixel& color) const {
    makeCurrent();
    clearTo(color);
    const bool shown = present();
    EAGLContext::setCurrentContext(nullptr);
    return shown;
  }
};

}  // namespace egltest
