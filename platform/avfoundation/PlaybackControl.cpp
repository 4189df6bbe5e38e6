#include "platform/avfoundation/PlaybackControl.h"

#include <ZELPlatform/Dispatch.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <utility>

namespace ZELPlatform {
namespace {

/// For tracks that do not tell their rate.
constexpr double kUsualFrameLength = 1.0 / 30.0;

/// Sound often lasts longer than the picture: about four seconds before the wanted time there is a frame, or none.
constexpr int kLargestGap = 128;

/// Thirty years in seconds: times without an end must fit into nanoseconds.
constexpr double kLongestFilm = 1e9;

constexpr double kNever = std::numeric_limits<double>::infinity();

}  // namespace

/// Takes the pipeline's reports to the main thread, as long as the control lives.
class PlaybackControl::Listener final : public MediaListener {
 public:
  Listener(std::weak_ptr<PlaybackControl> control, std::shared_ptr<MediaSession> session)
      : control_(std::move(control)), session_(std::move(session)) {}

  void ready(const MediaDescription& description) override {
    post([description](PlaybackControl& control) { control.ready(description); });
  }
  void described(const MediaDescription& description) override {
    post([description](PlaybackControl& control) { control.described(description); });
  }
  void failed(const std::string& sentence) override {
    // Whoever waits for a frame may be the main thread.
    session_->frames.close();
    post([sentence](PlaybackControl& control) { control.failed(sentence); });
  }
  void seekFinished(bool done) override {
    post([done](PlaybackControl& control) { control.seekFinished(done); });
  }
  void buffered(double fraction) override {
    post([fraction](PlaybackControl& control) { control.buffered(fraction); });
  }
  void ended() override {
    post([](PlaybackControl& control) { control.drained(); });
  }

 private:
  void post(std::function<void(PlaybackControl&)> report) {
    DispatchQueue::mainQueue()->async([control = control_, report = std::move(report)] {
      const std::shared_ptr<PlaybackControl> alive = control.lock();
      if (alive && alive->pipeline_) report(*alive);
    });
  }

  const std::weak_ptr<PlaybackControl> control_;
  const std::shared_ptr<MediaSession> session_;
};

struct PlaybackControl::End {
  std::atomic<double> time{kNever};
  /// The latest item time that an output was asked about since the last seek: the end may become known after it.
  std::atomic<double> asked{-kNever};
};

std::shared_ptr<PlaybackControl> PlaybackControl::create(const std::shared_ptr<AVPlayerItem>& item,
                                                         const Settings& settings, std::function<void()> changed) {
  std::shared_ptr<PlaybackControl> control(new PlaybackControl(item, settings, std::move(changed)));
  control->open();
  return control;
}

PlaybackControl::PlaybackControl(const std::shared_ptr<AVPlayerItem>& item, const Settings& settings,
                                 std::function<void()> changed)
    : item_(item),
      playback_(item->playback()),
      settings_(settings),
      changed_(std::move(changed)),
      session_(std::make_shared<MediaSession>(settings.stepped)),
      end_(std::make_shared<End>()) {}

PlaybackControl::~PlaybackControl() { stop(); }

void PlaybackControl::open() {
  session_->asked = [end = end_, weak = weak_from_this()](double time) {
    end->asked = time;
    if (time < end->time || end->time.exchange(kNever) == kNever) return;
    DispatchQueue::mainQueue()->async([weak] {
      const std::shared_ptr<PlaybackControl> control = weak.lock();
      if (control && control->isDrained_) control->reachedEnd();
    });
  };
  playback_->begin(session_);
  std::string reason;
  const std::shared_ptr<MediaDriver> driver = activeMediaDriver(&reason);
  if (!driver) {
    isFailed_ = true;
    playback_->setFailed(reason);
    DispatchQueue::mainQueue()->async([playback = playback_] { playback->notifyStatus(); });
    return;
  }
  pipeline_ = driver->createPipeline(item_->url(), session_, std::make_shared<Listener>(weak_from_this(), session_));
  pipeline_->setVolume(settings_.volume);
  pipeline_->setMuted(settings_.muted);
}

void PlaybackControl::stop() {
  abandonSeeks();
  stopWatchingForTheEnd();
  if (!pipeline_) return;
  session_->timeline.hold(session_->timeline.itemTimeAt(CACurrentMediaTime()));
  session_->frames.close();
  pipeline_ = nullptr;
}

void PlaybackControl::setRate(double rate) {
  if (rate == settings_.rate) return;
  settings_.rate = rate;
  update();
}

void PlaybackControl::setVolume(double volume) {
  settings_.volume = volume;
  if (pipeline_) pipeline_->setVolume(volume);
}

void PlaybackControl::setMuted(bool muted) {
  settings_.muted = muted;
  if (pipeline_) pipeline_->setMuted(muted);
}

AVPlayerTimeControlStatus PlaybackControl::timeControlStatus() const {
  if (settings_.rate == 0.0) return AVPlayerTimeControlStatusPaused;
  const bool plays = isReady_ && !isHindered() && !seekUnderWay_ && !nextSeek_;
  return plays ? AVPlayerTimeControlStatusPlaying : AVPlayerTimeControlStatusWaitingToPlayAtSpecifiedRate;
}

bool PlaybackControl::isHindered() const { return isFailed_ || isBuffering_ || isEnded_; }

// Seeking.

void PlaybackControl::seek(MediaSeek request, AVPlayer::SeekCompletion completion) {
  if (isFailed_ || (isReady_ && !playback_->description().seekable)) {
    complete(std::move(completion), false);
    return;
  }
  abandonSeeks();
  request.time = cutToLength(request.time);
  nextSeek_ = Seek{request, std::move(completion), 0};
  isDrained_ = isEnded_ = false;
  end_->asked = -kNever;
  stopWatchingForTheEnd();
  session_->timeline.hold(request.time);
  // The first frame of all must not flash up before the place where playing is to begin.
  if (!isReady_) session_->frames.setHidden(true);
  playback_->noteFlush();
  update();
}

/// Of the seeks asked for so far none will finish; the one under way goes on in the pipeline.
void PlaybackControl::abandonSeeks() {
  if (nextSeek_) complete(std::move(nextSeek_->completion), false);
  nextSeek_.reset();
  if (seekUnderWay_) complete(std::exchange(seekUnderWay_->completion, nullptr), false);
}

/// Later, so that nobody is called from within his own call.
void PlaybackControl::complete(AVPlayer::SeekCompletion completion, bool finished) {
  if (completion) {
    DispatchQueue::mainQueue()->async([completion = std::move(completion), finished] { completion(finished); });
  }
}

double PlaybackControl::frameLength() const {
  for (const AVPlayerItemTrack& track : playback_->description().tracks) {
    if (track.mediaType == AVMediaTypeVideo && track.nominalFrameRate > 0.0) return 1.0 / track.nominalFrameRate;
  }
  return kUsualFrameLength;
}

/// At the very end there is no frame any more: the last time lies in the middle of the last frame.
double PlaybackControl::cutToLength(double time) const {
  const std::optional<double> duration = playback_->description().duration;
  time = std::min(time, duration ? *duration - frameLength() / 2 : kLongestFilm);
  return std::max(time, 0.0);
}

void PlaybackControl::startSeek(Seek seek) {
  seek.request.time = cutToLength(seek.request.time);
  seek.request.rate = session_->isStepped || settings_.rate == 0.0 ? 1.0 : settings_.rate;
  MediaSeek request = seek.request;
  request.time = std::max(0.0, request.time - seek.framesBefore * frameLength());
  pipelineRate_ = request.rate;
  session_->timeline.hold(seek.request.time);
  session_->frames.discard();
  session_->frames.setHidden(false);
  seekUnderWay_ = std::move(seek);
  pipeline_->seek(request);
}

void PlaybackControl::seekFinished(bool done) {
  if (done && !nextSeek_ && seekBeforeTheGap()) return;
  const std::optional<Seek> finished = std::exchange(seekUnderWay_, std::nullopt);
  if (!finished) return;
  update();
  if (finished->completion) finished->completion(done);
}

/// Where sound has no picture any more, the last frame is found by going back further and further.
bool PlaybackControl::seekBeforeTheGap() {
  if (!seekUnderWay_ || session_->frames.hasFrames() || !session_->frames.isEnded()) return false;
  const int before = std::max(1, seekUnderWay_->framesBefore * 2);
  if (before > kLargestGap || seekUnderWay_->request.time <= 0.0) return false;
  Seek seek = std::move(*seekUnderWay_);
  seek.framesBefore = before;
  isDrained_ = false;
  startSeek(std::move(seek));
  return true;
}

// What the pipeline reports.

void PlaybackControl::ready(const MediaDescription& description) {
  if (isFailed_) return;
  isReady_ = true;
  playback_->setReady(description);
  if (nextSeek_ && !description.seekable) {
    session_->timeline.hold(0.0);
    session_->frames.setHidden(false);
    abandonSeeks();
  }
  update();
  playback_->notifyStatus();
}

void PlaybackControl::described(const MediaDescription& description) {
  if (!isReady_) return;
  playback_->setDescription(description);
  playback_->notifyStatus();
}

void PlaybackControl::failed(const std::string& sentence) {
  if (isFailed_) return;
  isFailed_ = true;
  session_->timeline.hold(session_->timeline.itemTimeAt(CACurrentMediaTime()));
  abandonSeeks();
  seekUnderWay_.reset();
  stopWatchingForTheEnd();
  playback_->setFailed(sentence);
  changed_();
  playback_->notifyStatus();
}

void PlaybackControl::buffered(double fraction) {
  const bool wasBuffering = std::exchange(isBuffering_, fraction < 1.0);
  playback_->setBufferedFraction(fraction);
  if (wasBuffering != isBuffering_) update();
}

// Playing and standing.

void PlaybackControl::update() {
  if (!pipeline_ || !isReady_ || isFailed_) {
    changed_();
    return;
  }
  if (!seekUnderWay_ && nextSeek_) {
    startSeek(*std::exchange(nextSeek_, std::nullopt));
  } else if (!seekUnderWay_ && !session_->isStepped && settings_.rate != 0.0 && settings_.rate != pipelineRate_ &&
             !isEnded_) {
    if (playback_->description().seekable) {
      startSeek(Seek{MediaSeek{session_->timeline.itemTimeAt(CACurrentMediaTime())}, nullptr, 0});
    }
  }
  if (session_->isStepped) {
    updateStepped();
  } else {
    // A seek under way does not hold this up: the pipeline plays on, or stands, where the seek leads.
    const bool plays = settings_.rate != 0.0 && !isBuffering_ && (!isEnded_ || pipelineIsPlaying_);
    if (std::exchange(pipelineIsPlaying_, plays) != plays) pipeline_->setPlaying(plays);
    watchForTheEnd();
  }
  changed_();
}

/// The pipeline always runs, as far as there is room for frames; the timeline is run here, by the host's clock.
void PlaybackControl::updateStepped() {
  if (!std::exchange(pipelineIsPlaying_, true)) pipeline_->setPlaying(true);
  const double now = CACurrentMediaTime();
  const double time = session_->timeline.itemTimeAt(now);
  if (settings_.rate != 0.0 && !isEnded_ && !seekUnderWay_) {
    if (session_->timeline.rate() != settings_.rate) session_->timeline.run(now, time, settings_.rate);
  } else {
    session_->timeline.hold(time);
  }
}

// The end.

void PlaybackControl::drained() {
  if (seekUnderWay_ || nextSeek_) return;
  isDrained_ = true;
  watchForTheEnd();
}

/// The decoders are done before the last frame has had its time.
void PlaybackControl::watchForTheEnd() {
  stopWatchingForTheEnd();
  if (!isDrained_ || isEnded_ || settings_.rate == 0.0) return;
  const double now = CACurrentMediaTime();
  double end = session_->frames.lastFrameEnd();
  // Sound may have lasted longer.
  if (!session_->isStepped) end = std::max(end, session_->timeline.itemTimeAt(now));
  session_->timeline.setEnd(end);
  if (session_->isStepped) {
    end_->time = end;
    // A frame's time, which an output is asked about, may have been rounded to a nanosecond.
    if (end_->asked >= end) session_->asked(end_->asked);
    return;
  }
  const double left = session_->timeline.hostTimeOf(end).value_or(now) - now;
  endTimer_ = NSRunLoop::mainRunLoop().addTimer(std::max(left, 0.0), 0.0, [this] {
    endTimer_ = 0;
    reachedEnd();
  });
}

void PlaybackControl::stopWatchingForTheEnd() {
  end_->time = kNever;
  session_->timeline.setEnd(std::nullopt);
  if (endTimer_ != 0) NSRunLoop::mainRunLoop().remove(std::exchange(endTimer_, 0));
}

void PlaybackControl::reachedEnd() {
  if (isEnded_ || isFailed_) return;
  const std::shared_ptr<PlaybackControl> alive = shared_from_this();
  isEnded_ = true;
  // A stepped display asks ahead of its clock.
  session_->timeline.hold(session_->isStepped ? session_->frames.lastFrameEnd()
                                              : session_->timeline.itemTimeAt(CACurrentMediaTime()));
  if (settings_.actionAtItemEnd == AVPlayerActionAtItemEndPause) settings_.rate = 0.0;
  update();
  playback_->notifyPlayedToEnd();
}

}  // namespace ZELPlatform
