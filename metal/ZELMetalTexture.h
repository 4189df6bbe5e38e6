#pragma once

#include <ZELKit/ZELTextureFormat.h>
#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/CVMetalTextureCache.h>
#include <ZELPlatform/MTLResource.h>

#include <memory>
#include <mutex>
#include <vector>

/// The textures of one frame, with the storage that they are planes of.
///
/// Immutable but for `updated`, which belongs to the render queue, and for the counted references to the storage, which
/// may be taken and dropped on any thread.
class ZELMetalTexture {
 public:
  /// A frame of one colour plane.
  static std::shared_ptr<ZELMetalTexture> createWithSize(CGSize size, CVMetalTextureRef rgbTexture);

  /// A frame of a luma and a chroma plane.
  static std::shared_ptr<ZELMetalTexture> createWithSize(CGSize size, CVMetalTextureRef lumaTexture,
                                                         CVMetalTextureRef chromaTexture);

  /// The same with an enlarged luma plane. That one belongs to the super resolver, which writes into it again for the
  /// next frame; there is no storage to hold.
  static std::shared_ptr<ZELMetalTexture> createWithSuperLuma(CGSize size, std::shared_ptr<MTLTexture> superLumaTexture,
                                                              CVMetalTextureRef chromaTexture);

  ZELTextureFormat format() const { return format_; }

  /// Width and height of the frame in pixels, not of an enlarged plane.
  CGSize size() const { return size_; }

  /// Colour, or luma and chroma.
  const std::vector<std::shared_ptr<MTLTexture>>& planes() const { return planes_; }

  /// Whether a plane was copied on its way to the GPU.
  bool isCopy() const;

  /// Whether the textures were made since the request before.
  bool updated() const { return updated_; }
  void setUpdated(bool updated) { updated_ = updated; }

  /// Takes one more reference to each plane's storage, or drops one. A use by the GPU is bracketed by the two, so that
  /// the storage outlives it whatever the cache does meanwhile. To release more often than was acquired does nothing.
  void acquirePlanes();
  void releasePlanes();

  ZELMetalTexture(const ZELMetalTexture&) = delete;
  ZELMetalTexture& operator=(const ZELMetalTexture&) = delete;

 private:
  ZELMetalTexture(ZELTextureFormat format, CGSize size, std::vector<std::shared_ptr<MTLTexture>> planes,
                  std::vector<CVMetalTextureRef> storage);

  const ZELTextureFormat format_;
  const CGSize size_;
  const std::vector<std::shared_ptr<MTLTexture>> planes_;
  /// Of the planes that have one, in their order.
  const std::vector<CVMetalTextureRef> storage_;
  bool updated_ = false;
  std::mutex mutex_;
  std::vector<CVMetalTextureRef> acquired_;
};
