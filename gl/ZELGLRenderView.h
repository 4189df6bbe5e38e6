#pragma once

#include <ZELKit/ZELProjection.h>
#include <ZELKit/ZELTextureFormat.h>
#include <ZELKit/internal/ZELInternalRenderView.h>
#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/EAGL.h>
#include <ZELPlatform/QuartzCore.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "gl/ZELGLTexture.h"
#include "gl/ZELGLTextureCache.h"

/// The OpenGL ES back end: a view that draws frames into a GL layer, on one serial render queue for all such views.
class ZELGLRenderView final : public ZELInternalRenderView {
 public:
  explicit ZELGLRenderView(Key key);
  ~ZELGLRenderView() override;

  /// The first view makes what all share (programs, quad, share group) on the calling thread. Without OpenGL ES the
  /// view exists and draws nothing.
  static std::shared_ptr<ZELGLRenderView> create(CGRect frame = {});

  /// Main thread; returns at once. Dropped when the frame before is still queued or drawing.
  void renderWithPixelBufferSource(const std::shared_ptr<ZELPixelBufferSource>& source,
                                   const std::shared_ptr<const ZELInternalRenderState>& state) override;

  void waitUntilPresented() override;

  /// Posts a `glFinish` to the render queue and returns at once. Any thread.
  void flushGPU() override;

  std::string rendererDescription() const override;

  std::shared_ptr<CAEAGLLayer> glLayer() const { return std::static_pointer_cast<CAEAGLLayer>(layer()); }

  // What all views share. Programs and quad live for the process.

  /// A program by projection type and texture format; 0 where one failed to build.
  using ProgramTable = std::map<ZELProjectionType, std::map<ZELTextureFormat, uint32_t>>;

  static std::string _vertexShader();
  static std::string _fragmentShaderForFormat(ZELTextureFormat format, ZELProjectionType projection);
  static uint32_t _compileShaderFromString(const std::string& text, uint32_t type);
  static uint32_t _linkProgramWithVertexShader(const std::string& vertexShader, const std::string& fragmentShader);
  static void _createSharedResources();
  static const std::shared_ptr<DispatchQueue>& _sharedRenderQueue();
  static const ProgramTable& _sharedPrograms() { return sPrograms; }

 protected:
  bool initWithFrame(CGRect frame) override;
  std::shared_ptr<CALayer> createLayer() override;

 private:
  void createContext();
  void renderFrame(ZELPixelBufferSource* source, const std::shared_ptr<const ZELInternalRenderState>& state);
  void drawContent(ZELPixelBufferSource& source, const std::shared_ptr<const ZELInternalRenderState>& state);
  void _validateRenderBufferScaleForTextureSize(CGSize textureSize, CGSize displaySize,
                                                const std::shared_ptr<ZELProjection>& projection);
  void _validateRenderBufferSize(CGSize size);
  void _internalPerformRender(const ZELGLTexture& texture, const ZELInternalRenderState& state);

  static std::shared_ptr<EAGLSharegroup> sShareGroup;
  static ProgramTable sPrograms;
  static uint32_t sVertexBuffer;
  static uint32_t sIndexBuffer;

  std::shared_ptr<EAGLContext> context_;
  std::shared_ptr<ZELGLTextureCache> textureCache_;
  uint32_t renderBuffer_ = 0;
  uint32_t frameBuffer_ = 0;
  /// The framebuffers of this view that are still alive, the oldest first; the last one is the present one.
  std::vector<uint32_t> frameBuffersMade_;
  CGSize renderBufferSize_{};
  bool needsPresent_ = false;
  /// Set once and not used: the drawable is cleared whenever it is remade.
  bool needsClear_ = false;
  std::shared_ptr<const ZELInternalRenderState> lastRenderstate_;
  /// A hint only: set on the main thread, cleared on the render queue.
  std::atomic<bool> rendering_{false};
};
