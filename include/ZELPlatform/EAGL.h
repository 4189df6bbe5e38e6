#pragma once

#include <ZELPlatform/Export.h>

#include <cstdint>
#include <memory>
#include <string>

class CAEAGLLayer;

enum EAGLRenderingAPI : uint32_t {
  kEAGLRenderingAPIOpenGLES2 = 2,
};

/// Contexts of one share group see each other's textures, buffers, programs and renderbuffers.
class ZELPLATFORM_EXPORT EAGLSharegroup {
 public:
  virtual ~EAGLSharegroup() = default;
};

/// An OpenGL ES context that draws into layers.
///
/// A context is current on at most one thread at a time; all GL work happens on the thread where it is current. The
/// members that create may be called on any thread.
class ZELPLATFORM_EXPORT EAGLContext {
 public:
  virtual ~EAGLContext() = default;

  /// A context in a share group of its own; null when OpenGL ES is not available or the API is not 2.
  static std::shared_ptr<EAGLContext> create(EAGLRenderingAPI api);

  /// A context in the given share group; null also when that is null.
  static std::shared_ptr<EAGLContext> create(EAGLRenderingAPI api, const std::shared_ptr<EAGLSharegroup>& sharegroup);

  /// Why OpenGL ES is not available, as one sentence; empty when it is. Opens the display on first use.
  static std::string unavailableReason();

  /// What draws, for people: renderer and version; empty when OpenGL ES is not available.
  static std::string rendererDescription();

  /// The largest texture side in pixels; 0 when OpenGL ES is not available.
  static int32_t maximumTextureSize();

  virtual std::shared_ptr<EAGLSharegroup> sharegroup() const = 0;

  /// Makes the context, or none, current on the calling thread; the thread holds a reference to it until the next call.
  /// Returns false when the driver refuses, leaving none current.
  static bool setCurrentContext(const std::shared_ptr<EAGLContext>& context);

  static std::shared_ptr<EAGLContext> currentContext();

  /// Gives the bound renderbuffer storage from the layer: an image of bounds times contents scale, each side rounded
  /// up, zero-filled. False when the layer is null or empty, the size is above the driver's limit, or memory is short.
  ///
  /// A layer backs one renderbuffer at a time: the one that it backed before loses its image, and the framebuffer
  /// through which that one was presented has its attachment taken away, so that the memory is free at once.
  virtual bool renderbufferStorage(uint32_t target, const std::shared_ptr<CAEAGLLayer>& drawable) = 0;

  /// Shows the picture in the bound renderbuffer on its layer. The renderbuffer keeps its name and goes on with another
  /// image of the layer. With retained backing off that image is cleared to zero before the next picture is drawn.
  /// False when the bound renderbuffer has no layer. Does not wait for the GPU.
  virtual bool presentRenderbuffer(uint32_t target) = 0;
};
