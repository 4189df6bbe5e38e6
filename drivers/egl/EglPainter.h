#pragma once

#include "drivers/egl/EglDriver.h"
#include "drivers/egl/ScenePainter.h"
#include "drivers/egl/WindowSurface.h"
#include "drivers/window/WindowPainter.h"

#include <memory>
#include <string>

namespace ZELPlatform {

/// Shows scenes of any kind by OpenGL ES.
class EglPainter final : public WindowPainter {
 public:
  /// Null, with one sentence in `error`, when the window cannot be drawn on.
  static std::unique_ptr<EglPainter> create(EglDriver& driver, const NativeSurface& native, std::string* error);
  ~EglPainter() override;

  bool begin() override;
  void end() override;
  bool isLost() override { return surface_->isLost(); }
  bool paint(const Scene& scene) override;
  Shown show() override { return surface_->swap() ? Shown::Yes : Shown::Lost; }

 private:
  EglPainter(EglDriver& driver, std::unique_ptr<WindowSurface> surface, EGLContext context)
      : driver_(driver), surface_(std::move(surface)), context_(context) {}

  EglDriver& driver_;
  std::unique_ptr<WindowSurface> surface_;
  const EGLContext context_;
  std::unique_ptr<ScenePainter> painter_;
};

}  // namespace ZELPlatform
