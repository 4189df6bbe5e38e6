#pragma once

#include <ZELKit/ZELProjectionType.h>
#include <ZELKit/ZELTextureFormat.h>
#include <ZELPlatform/CGGeometry.h>
#include <ZELPlatform/CoreVideo.h>
#include <ZELPlatform/GLKMath.h>

#include <array>
#include <cstdint>
#include <vector>

namespace ZELBench {

/// Where the camera looks in one sample; both sides get the same.
struct Camera {
  GLKMatrix4 viewMatrix;
  double nearPlane;
};

/// One linked program with its locations, looked up once as a minimal program would.
class BareProgram {
 public:
  /// Built of the kit's own shader texts, so that both sides run the same code on the GPU. The quad covers `rect`, in
  /// units of the target; cube faces are not padded.
  BareProgram(ZELTextureFormat format, ZELProjectionType projection, CGRect rect, CGSize target);
  ~BareProgram();
  BareProgram(const BareProgram&) = delete;
  BareProgram& operator=(const BareProgram&) = delete;

  bool isValid() const { return program_ != 0; }
  void use(const Camera& camera) const;
  uint32_t position() const { return position_; }

 private:
  uint32_t program_;
  uint32_t position_ = 0;
  int32_t viewMatrix_ = -1;
  int32_t nearPlane_ = -1;
};

/// The least that shows a frame: textures made once and written in place, one quad, one texture-backed framebuffer.
/// Neither presents, nor compares, nor looks anything up.
///
/// All of it on the thread where the kit's context is current. The kit binds its framebuffer only when the drawable is
/// remade, so whoever draws here brings the old one back afterwards (see `Bound`).
class BareRenderer {
 public:
  BareRenderer(uint32_t pixelFormat, CGSize content, CGSize target);
  ~BareRenderer();
  BareRenderer(const BareRenderer&) = delete;
  BareRenderer& operator=(const BareRenderer&) = delete;

  bool isComplete() const { return complete_; }
  ZELTextureFormat textureFormat() const;

  /// Binds the framebuffer for the scope's length and restores what the kit had bound. A minimal program binds once, so
  /// this stands outside the timed span.
  class Bound {
   public:
    explicit Bound(const BareRenderer& renderer);
    ~Bound();
    Bound(const Bound&) = delete;
    Bound& operator=(const Bound&) = delete;

   private:
    int32_t framebuffer_ = 0;
    std::array<int32_t, 4> viewport_{};
  };

  /// Uploads the frame (null: keeps the last one), draws it and waits until the GPU has finished; returns how long that
  /// took, in milliseconds. Needs a `Bound`.
  double drawFrame(const CVPixelBuffer* frame, const BareProgram& program, const Camera& camera) const;

  /// Bytes that one frame's upload moves.
  uint64_t bytesPerFrame() const;

  /// The picture, four bytes a pixel (red, green, blue, alpha), rows from the top. Needs a `Bound`.
  std::vector<uint8_t> readBack() const;

 private:
  struct PlaneTexture {
    uint32_t name;
    int32_t width;
    int32_t height;
    uint32_t format;
    uint32_t bytesPerPixel;
  };
  void addPlane(int32_t width, int32_t height, uint32_t format, uint32_t bytesPerPixel);
  void makeTarget();
  void upload(const CVPixelBuffer& frame) const;

  int32_t targetWidth_;
  int32_t targetHeight_;
  std::vector<PlaneTexture> planes_;
  uint32_t targetTexture_ = 0;
  uint32_t framebuffer_ = 0;
  uint32_t vertexBuffer_ = 0;
  uint32_t indexBuffer_ = 0;
  bool complete_ = false;
};

}  // namespace ZELBench
