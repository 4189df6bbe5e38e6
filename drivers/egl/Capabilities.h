#pragma once

#include "drivers/egl/EglDisplay.h"

#include <cstdint>
#include <string>

namespace ZELPlatform {

/// What the OpenGL ES driver can do, asked once, and with that the ways round what it cannot. All of them are named
/// here; a test forces one on by taking the capability away before it makes its contexts.
struct Capabilities {
  /// Textures can be made the storage of a renderbuffer (`GL_OES_EGL_image`), so that a layer's ring costs no copy.
  /// Without it: CopyOnPresent, a renderbuffer of its own that is copied into the ring at every present.
  bool imageRenderbuffers = false;

  /// Four-byte pixels in the order blue, green, red, alpha can be uploaded.
  /// Without it: SwizzleOnUpload, the processor reorders them.
  bool bgraTextures = false;

  /// BgraNamedTwice: `GL_EXT_texture_format_BGRA8888` wants `GL_BGRA_EXT` also as the internal format, where the
  /// caller, used to `GL_APPLE_texture_format_BGRA8888`, says `GL_RGBA`.
  bool bgraNamedTwice = false;

  /// One- and two-component textures (`GL_EXT_texture_rg`). Without it there is none: no texture is made.
  bool rgTextures = false;

  /// Rows of memory may be longer than rows of pixels (`GL_EXT_unpack_subimage`).
  /// Without it: RowByRow, one upload for each row.
  bool unpackRowLength = false;

  /// Pixels can be read with the picture's highest row first (`GL_ANGLE_pack_reverse_row_order`).
  /// Without it: TurnOver, the processor exchanges the rows.
  bool packReverseRowOrder = false;

  /// Renderbuffers of eight bits a component, for CopyOnPresent. Without it: four bits a component.
  bool eightBitRenderbuffers = false;

  int32_t maximumTextureSize = 0;
  /// The largest side of a texture that can be drawn into.
  int32_t maximumDrawableSize = 0;
  /// Renderer and version, for people.
  std::string renderer;

  PFNGLEGLIMAGETARGETRENDERBUFFERSTORAGEOESPROC imageTargetRenderbufferStorage = nullptr;

  /// Asks the current context.
  static Capabilities ask(const EglDisplay& display);
};

}  // namespace ZELPlatform
