#include <ZELKit/ZELAVPlayerPixelBufferSource.h>
#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIScreen.h>
#include <ZELPlatform/UIWindow.h>

#include <utility>

namespace {

AVVideoOutputAttributes outputAttributes() {
  AVVideoOutputAttributes attributes;
  attributes.pixelBuffer.metalCompatibility = true;
  attributes.pixelBuffer.openGLESCompatibility = true;
  attributes.pixelFormatType = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
  attributes.pixelBuffer.ioSurfaceProperties = true;
  return attributes;
}

}  // namespace

std::shared_ptr<ZELAVPlayerPixelBufferSource> ZELAVPlayerPixelBufferSource::createWithPlayer(
    std::shared_ptr<AVPlayer> player) {
  return std::shared_ptr<ZELAVPlayerPixelBufferSource>(new ZELAVPlayerPixelBufferSource(std::move(player)));
}

ZELAVPlayerPixelBufferSource::ZELAVPlayerPixelBufferSource(std::shared_ptr<AVPlayer> player)
    : player_(std::move(player)), dummyLayer_(AVPlayerLayer::create()) {
  dummyLayer_->setPlayer(player_);
  const std::shared_ptr<UIWindow> window = UIApplication::sharedApplication().keyWindow();
  const UIScreen& screen = UIScreen::mainScreen();
  dummyLayer_->setHidden(true);
  dummyLayer_->setVideoGravity(AVLayerVideoGravityResizeAspectFill);
  dummyLayer_->setContentsScale(screen.nativeScale());
  dummyLayer_->setFrame(screen.bounds());
  if (window) window->layer()->addSublayer(dummyLayer_);
}

ZELAVPlayerPixelBufferSource::~ZELAVPlayerPixelBufferSource() {
  if (videoOutput_) {
    playerItem_->removeOutput(videoOutput_);
    videoOutput_ = nullptr;
  }
  // A back end may drop the source on its render queue, while layers belong to the main thread.
  DispatchQueue::mainQueue()->async([layer = std::move(dummyLayer_)] {
    layer->setPlayer(nullptr);
    layer->removeFromSuperlayer();
  });
}

bool ZELAVPlayerPixelBufferSource::hasNewPixelBufferForTime(double time) {
  const std::shared_ptr<AVPlayerItem> item = player_ ? player_->currentItem() : nullptr;
  if (!item) return false;
  const std::shared_ptr<AVPlayerItemVideoOutput>& output = _outputForPlayerItem(item);
  const CMTime itemTime = output ? output->itemTimeForHostTime(time) : kCMTimeZero;
  return output && output->hasNewPixelBufferForItemTime(itemTime);
}

CVPixelBufferRef ZELAVPlayerPixelBufferSource::copyPixelBufferForTime(double time) {
  const std::shared_ptr<AVPlayerItem> item = player_ ? player_->currentItem() : nullptr;
  if (!item) return nullptr;
  const std::shared_ptr<AVPlayerItemVideoOutput>& output = _outputForPlayerItem(item);
  const CMTime itemTime = output ? output->itemTimeForHostTime(time) : kCMTimeZero;
  return output ? output->copyPixelBufferForItemTime(itemTime, nullptr) : nullptr;
}

/// The one output, on that item: it is taken from the item before when the player has gone on.
const std::shared_ptr<AVPlayerItemVideoOutput>& ZELAVPlayerPixelBufferSource::_outputForPlayerItem(
    const std::shared_ptr<AVPlayerItem>& item) {
  if (item != playerItem_ && videoOutput_) {
    playerItem_->removeOutput(videoOutput_);
    videoOutput_->setDelegate({}, nullptr);
    videoOutput_ = nullptr;
  }
  if (!videoOutput_) {
    playerItem_ = item;
    videoOutput_ = AVPlayerItemVideoOutput::createWithPixelBufferAttributes(outputAttributes());
    playerItem_->addOutput(videoOutput_);
  }
  return videoOutput_;
}

void ZELAVPlayerPixelBufferSource::notifyDisplaySizeChanged(CGSize size) {
  dummyLayer_->setFrame(CGRectMake(0, 0, size.width, size.height));
}
