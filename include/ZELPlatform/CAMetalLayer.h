#pragma once

#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/Export.h>
#include <ZELPlatform/MTLDevice.h>
#include <ZELPlatform/QuartzCore.h>

#include <memory>
#include <mutex>
#include <optional>

/// A texture to draw the layer's next picture into.
///
/// A drawable that is dropped without being presented goes back to its layer, and the layer shows what it showed.
class ZELPLATFORM_EXPORT CAMetalDrawable {
 public:
  virtual ~CAMetalDrawable() = default;

  virtual std::shared_ptr<MTLTexture> texture() const = 0;

  /// Shows the texture on the layer, once. `MTLCommandBuffer::presentDrawable` does it with the commit. Any thread.
  virtual void present() = 0;
};

/// A layer that a GPU draws into, by drawables. Every member may be called from any thread.
class ZELPLATFORM_EXPORT CAMetalLayer final : public CALayer {
 public:
  /// The GPU that makes the drawables; null at first.
  std::shared_ptr<MTLDevice> device() const;
  void setDevice(std::shared_ptr<MTLDevice> device);

  /// BGRA8Unorm at first.
  MTLPixelFormat pixelFormat() const;
  void setPixelFormat(MTLPixelFormat pixelFormat);

  /// Whether drawables are only drawn into, never read by shaders; true at first.
  bool framebufferOnly() const;
  void setFramebufferOnly(bool framebufferOnly);

  /// The size of the next drawables in pixels, scaled to the layer's bounds when shown. Until it is set it is the
  /// bounds' size times the contents scale, each side rounded up.
  CGSize drawableSize() const;
  void setDrawableSize(CGSize size);

  /// A drawable of the present size and format that nobody shows or reads. While two are still being drawn it waits for
  /// the older one, one second at most. Null without a device or a size, when the time is over, the side is above the
  /// device's limit, or memory is short.
  std::shared_ptr<CAMetalDrawable> nextDrawable();

 private:
  mutable std::mutex drawableMutex_;
  std::shared_ptr<MTLDevice> device_;
  MTLPixelFormat pixelFormat_ = MTLPixelFormatBGRA8Unorm;
  bool framebufferOnly_ = true;
  std::optional<CGSize> drawableSize_;
  /// The drawables of the present settings, of `ringSize_`; null until one is asked for.
  CGSize ringSize_{};
  std::shared_ptr<ZELPlatform::DrawableRing> ring_;
};
