#pragma once

#include <ZELKit/ZELAVPlayerPixelBufferSource.h>

#include <functional>
#include <memory>
#include <string>

#include "apps/zelview/ViewerContent.h"
#include "apps/zelview/video/ProgressBar.h"
#include "apps/zelview/video/VideoPlayback.h"

namespace zelview {

/// Videos in a window: what plays them, and their keys and bar. It plays from the moment at which the window appears.
/// Main thread.
class VideoContent final : public ViewerContent {
 public:
  explicit VideoContent(VideoSettings settings);

  std::string name() const override { return playback_->name(); }
  bool isReady() const override { return playback_->isReady(); }
  std::string failure() const override { return playback_->failure(); }
  ZELProjectionType projection() const override { return playback_->projection(); }
  std::shared_ptr<ZELPixelBufferSource> sourceFor(ZELProjectionType projection) override;

  void open(UIView& over, double scale, const std::function<void()>& changed) override;
  void didAppear() override;
  void close() override;
  void layOut(CGSize size) override;
  void advanceTo(double time) override;
  void pointerMoved() override { shownUntil_ = now_ + kBarTime; }
  bool pressKey(const UIKey& key) override;

  const std::shared_ptr<VideoPlayback>& playback() const { return playback_; }

 private:
  /// How long the bar stays after the pointer moved, in seconds.
  static constexpr double kBarTime = 2.5;

  void seek(double place, bool isLooking);

  const std::shared_ptr<VideoPlayback> playback_;
  std::shared_ptr<ZELAVPlayerPixelBufferSource> source_;
  std::shared_ptr<ProgressBar> bar_;
  bool hasAppeared_ = false;
  /// Host time of the newest refresh.
  double now_ = 0.0;
  double shownUntil_ = 0.0;
};

}  // namespace zelview
