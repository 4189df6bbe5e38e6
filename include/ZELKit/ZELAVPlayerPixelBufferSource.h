#pragma once

#include <ZELKit/ZELPixelBufferSource.h>
#include <ZELPlatform/AVFoundation.h>

#include <memory>

/// A source that shows what a player plays; the host owns the player and tells it what to do.
///
/// It attaches an output of its own to the player's current item, as soon as a frame is asked for, and takes it along
/// when the player goes on to another item. Frames are two-plane, video range. Made on the main thread; then frames are
/// asked for by one back end, and the last reference may be dropped anywhere.
class ZELKIT_EXPORT ZELAVPlayerPixelBufferSource final : public ZELPixelBufferSource {
 public:
  /// Puts a hidden layer for the player into the application's key window, if there is one. An absent player makes a
  /// source without frames.
  static std::shared_ptr<ZELAVPlayerPixelBufferSource> createWithPlayer(std::shared_ptr<AVPlayer> player);
  ~ZELAVPlayerPixelBufferSource() override;

  const std::shared_ptr<AVPlayer>& player() const { return player_; }

  bool hasNewPixelBufferForTime(double time) override;

  /// The frame due at that time, also when it was handed out before.
  CVPixelBufferRef copyPixelBufferForTime(double time) override;

  /// Gives the hidden layer that size.
  void notifyDisplaySizeChanged(CGSize size) override;

  /// The item that the output is attached to, the output, and the hidden layer; for the library's own use.
  const std::shared_ptr<AVPlayerItem>& playerItem() const { return playerItem_; }
  const std::shared_ptr<AVPlayerItemVideoOutput>& videoOutput() const { return videoOutput_; }
  const std::shared_ptr<AVPlayerLayer>& dummyLayer() const { return dummyLayer_; }

 private:
  explicit ZELAVPlayerPixelBufferSource(std::shared_ptr<AVPlayer> player);
  const std::shared_ptr<AVPlayerItemVideoOutput>& _outputForPlayerItem(const std::shared_ptr<AVPlayerItem>& item);

  std::shared_ptr<AVPlayer> player_;
  std::shared_ptr<AVPlayerItem> playerItem_;
  std::shared_ptr<AVPlayerItemVideoOutput> videoOutput_;
  std::shared_ptr<AVPlayerLayer> dummyLayer_;
};
