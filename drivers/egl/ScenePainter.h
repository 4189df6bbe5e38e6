#pragma once

#include "drivers/egl/DrawableImage.h"
#include "drivers/egl/EglDriver.h"
#include "drivers/egl/Fence.h"
#include "drivers/egl/TextureCache.h"
#include "drivers/window/SceneGeometry.h"
#include "platform/quartzcore/Compositor.h"

#include <memory>
#include <vector>

namespace ZELPlatform {

/// Draws a scene on the current window. Belongs to a compositor's thread, with its context current from making to
/// destruction.
class ScenePainter {
 public:
  /// Null when the driver refuses the program.
  static std::unique_ptr<ScenePainter> create(EglDriver& driver);
  ~ScenePainter();

  /// Draws every layer's newest picture, bottom to top, on black, and flushes. Returns the end of drawing; null when it
  /// is over already.
  std::shared_ptr<Fence> paint(const Scene& scene);

  ScenePainter(const ScenePainter&) = delete;
  ScenePainter& operator=(const ScenePainter&) = delete;

 private:
  /// A still picture on the GPU, or one that a drawn layer of another API showed.
  struct Still {
    std::shared_ptr<CGImage> image;
    CVOpenGLESTextureRef texture;
    bool broughtOver;
    bool used;
  };

  ScenePainter(EglDriver& driver, GLuint program);
  void paintItem(const Scene& scene, const SceneItem& item);
  void paintTexture(const Scene& scene, const PixelRect& rect, GLuint texture, bool exact, bool bottomUp) const;
  GLuint stillTexture(const std::shared_ptr<CGImage>& image, bool broughtOver);
  CVOpenGLESTextureRef uploadStill(const std::shared_ptr<CGImage>& image);
  void dropUnusedStills();

  EglDriver& driver_;
  GLuint program_;
  GLint rectLocation_;
  GLint bottomUpLocation_;
  TextureCache stillTextures_;
  std::vector<Still> stills_;
  /// The drawn images of the picture that is being painted.
  std::vector<std::shared_ptr<DrawableImage>> images_;
};

}  // namespace ZELPlatform
