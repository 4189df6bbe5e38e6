#pragma once

#include <ZELPlatform/Export.h>
#include <ZELPlatform/QuartzCore.h>

#include <cstdint>
#include <memory>

class AVPlayer;

/// How a film fills a layer of another shape.
enum AVLayerVideoGravity : int64_t {
  AVLayerVideoGravityResizeAspect = 0,
  AVLayerVideoGravityResizeAspectFill = 1,
  AVLayerVideoGravityResize = 2,
};

/// A layer that stands for a player in the tree of layers and keeps it alive. It draws nothing: frames come out of the
/// item's video outputs. Main thread.
class ZELPLATFORM_EXPORT AVPlayerLayer final : public CALayer {
 public:
  static std::shared_ptr<AVPlayerLayer> create();
  ~AVPlayerLayer() override;

  const std::shared_ptr<AVPlayer>& player() const { return player_; }
  void setPlayer(std::shared_ptr<AVPlayer> player);

  AVLayerVideoGravity videoGravity() const { return videoGravity_; }
  void setVideoGravity(AVLayerVideoGravity gravity) { videoGravity_ = gravity; }

 private:
  AVPlayerLayer();

  std::shared_ptr<AVPlayer> player_;
  AVLayerVideoGravity videoGravity_ = AVLayerVideoGravityResizeAspect;
};
