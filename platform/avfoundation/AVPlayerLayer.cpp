#include <ZELPlatform/AVPlayer.h>
#include <ZELPlatform/AVPlayerLayer.h>

#include <utility>

std::shared_ptr<AVPlayerLayer> AVPlayerLayer::create() { return std::shared_ptr<AVPlayerLayer>(new AVPlayerLayer()); }

AVPlayerLayer::AVPlayerLayer() = default;

AVPlayerLayer::~AVPlayerLayer() = default;

void AVPlayerLayer::setPlayer(std::shared_ptr<AVPlayer> player) { player_ = std::move(player); }
