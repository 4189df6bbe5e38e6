#pragma once

#include "drivers/gstreamer/GstPointer.h"
#include "drivers/gstreamer/PeriodicTimer.h"
#include "drivers/gstreamer/PluggingGate.h"
#include "drivers/gstreamer/VideoTap.h"
#include "platform/avfoundation/MediaDriver.h"

#include <ZELPlatform/Dispatch.h>
#include <gst/gst.h>

#include <memory>
#include <mutex>
#include <string>

namespace ZELPlatform {

/// A film in a playbin. Orders are carried out in turn on a queue of the film's, as any of them may wait for files,
/// networks and decoders; reports go to the listener from whatever thread has them.
class Film final : public std::enable_shared_from_this<Film> {
 public:
  Film(std::string url, std::shared_ptr<MediaSession> session, std::shared_ptr<MediaListener> listener);
  ~Film();

  void open();
  void setPlaying(bool playing);
  void seek(const MediaSeek& seek);
  void setVolume(double volume);
  void setMuted(bool muted);

  /// The last order: stops everything, and lets go of it when that is done.
  void close();

  Film(const Film&) = delete;
  Film& operator=(const Film&) = delete;

 private:
  enum class Opening { Underway, Ready, Failed };

  void order(void (Film::*step)());
  std::string openPlaybin();
  void start();
  void finishOpening();
  void applyPlaying();
  void applySeek(const MediaSeek& seek);
  void describeAgain();
  void watchOpening();
  void stop();
  void dropPlaybin();
  void fail(const std::string& reason);

  static GstBusSyncReply message(GstBus* bus, GstMessage* message, gpointer film);
  void handle(GstMessage* message);
  void clockStarted(GstElement* playbin);
  void holdTimeline();
  void prerolled();
  void sequenceArrived();
  void finishSeek();
  void noteBuffering(GstMessage* message);
  void reportEnd();
  MediaDescription describe();

  const std::string url_;
  const std::shared_ptr<MediaSession> session_;
  const std::shared_ptr<MediaListener> listener_;
  const std::shared_ptr<DispatchQueue> queue_;

  // The queue's.
  GstPointer<GstElement> playbin_;
  /// Null when the system lacks what sound needs.
  GstPointer<GstElement> volumeControl_;
  std::unique_ptr<VideoTap> tap_;
  std::unique_ptr<PluggingGate> gate_;
  bool closed_ = false;
  std::unique_ptr<PeriodicTimer> openingTimer_;
  int idleChecks_ = 0;
  int reopenings_ = 0;

  /// Guards what follows.
  std::mutex mutex_;
  Opening opening_ = Opening::Underway;
  bool finishing_ = false;
  bool isLive_ = false;
  bool wantsPlaying_ = false;
  bool isPlaying_ = false;
  bool seeking_ = false;
  /// Every sink has had something since the seek under way began.
  bool isPrerolled_ = false;
  bool atEnd_ = false;
  double latency_ = 0.0;
  double volume_ = 1.0;
  bool muted_ = false;
  GstPointer<GstStreamCollection> streams_;
  AVVideoOrientation orientation_;
  /// What the decoder would be called that is not installed; empty when none was missed.
  std::string missing_;
  bool missesPicture_ = false;
};

}  // namespace ZELPlatform
