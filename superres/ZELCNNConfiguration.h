#pragma once

#include <ZELKit/internal/ZELNetworkFramework.h>
#include <ZELKit/internal/ZELSuperResolution.h>
#include <ZELPlatform/MTLDevice.h>

#include <functional>
#include <string>

/// Decides by the host's choices, the projection and the frame's format whether to ask a framework for a model, and
/// which one it has for that size.
class ZELCNNConfiguration final : public ZELSRConfiguration {
 public:
  /// Without a framework there is no model.
  ZELCNNConfiguration(const ZELInternalRenderState& state, CGSize textureSize, uint32_t bufferFormat,
                      ZELNetworkFramework* framework);

  bool differsFromConfiguration(const ZELSRConfiguration& other) const override;

  /// Asks the framework at each call, unless the frame or the device rules it out.
  std::shared_ptr<const NSURL> modelURL() const override;

  std::string obstacle() const override;

  bool enabled() const { return enabled_; }
  int64_t contentType() const { return contentType_; }
  int64_t encoderType() const { return encoderType_; }
  int64_t projectionType() const { return projectionType_; }
  CGSize size() const { return size_; }
  uint32_t bufferFormat() const { return bufferFormat_; }

  /// Whether services and GPU can do it at all; tested once per process.
  static bool _isDeviceSupported();

  /// The test behind that: services of level 9.0 or above, and then a GPU whose compute functions write single-channel
  /// textures. The GPU is only asked for when the level is reached.
  static bool _isSupported(const std::string& systemVersion,
                           const std::function<std::shared_ptr<MTLDevice>()>& createDevice);

 private:
  /// What rules a model out before the framework is asked; empty when nothing does.
  std::string ownObstacle() const;
  ZELNetworkRequest request() const;

  ZELNetworkFramework* framework_;
  bool enabled_;
  int64_t contentType_;
  int64_t encoderType_;
  int64_t projectionType_;
  CGSize size_;
  uint32_t bufferFormat_;
};
