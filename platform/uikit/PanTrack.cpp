#include "platform/uikit/PanTrack.h"

#include <algorithm>
#include <cmath>

namespace ZELPlatform {

namespace {

/// How far a touch may stray, in points, before it is a pan: a click or a tap with an unsteady hand stays one.
constexpr double kStartDistance = 4.0;

/// Over how many further points the start distance is made good.
constexpr double kCatchUpDistance = 16.0;

/// Over how many seconds velocity is measured.
constexpr double kVelocityWindow = 0.1;

/// What a difference of two times in seconds may be off by.
constexpr double kTimeTolerance = 1e-6;

/// Of more than two samples within this time, in seconds, those between the first and the last are left out.
constexpr double kSampleSpacing = 0.001;

/// The shortest time that a motion is taken to last, in seconds: a display's refresh. Events that waited in a queue
/// come all at once, and would look as fast as the queue was emptied.
constexpr double kShortestMotion = 1.0 / 60.0;

double length(CGPoint way) { return std::hypot(way.x, way.y); }

CGPoint scaled(CGPoint way, double factor) { return CGPointMake(way.x * factor, way.y * factor); }

CGPoint difference(CGPoint a, CGPoint b) { return CGPointMake(a.x - b.x, a.y - b.y); }

CGPoint sum(CGPoint a, CGPoint b) { return CGPointMake(a.x + b.x, a.y + b.y); }

}  // namespace

void PanTrack::begin(CGPoint place, double time) {
  *this = PanTrack();
  place_ = place;
  addSample(time);
}

void PanTrack::follow(CGPoint place, double time) {
  way_ = sum(way_, difference(place, place_));
  place_ = place;
  farthest_ = std::max(farthest_, length(way_));
  addSample(time);
}

bool PanTrack::isLongEnough() const { return length(way_) >= kStartDistance; }

void PanTrack::start() {
  isStarted_ = true;
  const double distance = length(way_);
  slack_ = distance > 0 ? scaled(way_, std::min(1.0, kStartDistance / distance)) : CGPointMake(0, 0);
}

/// At the start the way so far is left out as far as it was needed to start, so that nothing jumps; it is then added
/// again bit by bit, so that in the end what was grabbed is under the finger. Both depend on the distance alone, not on
/// how many events it came in.
CGPoint PanTrack::translation() const {
  if (!isStarted_) {
    return CGPointMake(0, 0);
  }
  const double caughtUp = std::clamp((farthest_ - kStartDistance) / kCatchUpDistance, 0.0, 1.0);
  return difference(way_, scaled(slack_, 1.0 - caughtUp));
}

void PanTrack::addSample(double time) {
  if (!samples_.empty()) {
    time = std::max(time, samples_.back().time);
  }
  const size_t count = samples_.size();
  if (count >= 2 && (time == samples_[count - 1].time || time - samples_[count - 2].time < kSampleSpacing)) {
    samples_.pop_back();
  }
  samples_.push_back({time, way_});
  // One sample from before the window stays: the motion came from there.
  const auto isInside = [time](const Sample& sample) { return sample.time >= time - kVelocityWindow; };
  const auto inside = std::find_if(samples_.begin(), samples_.end(), isInside);
  if (inside - samples_.begin() > 1) {
    samples_.erase(samples_.begin(), inside - 1);
  }
}

/// Between two samples the motion was even, unless they are further apart than the window: then the touch rested up to
/// the later one.
CGPoint PanTrack::velocity() const {
  if (samples_.empty()) {
    return CGPointMake(0, 0);
  }
  const Sample& newest = samples_.back();
  const double start = newest.time - kVelocityWindow;
  auto first = samples_.begin();
  if (first->time < start) {
    ++first;
  }
  Sample from = *first;
  if (first != samples_.begin()) {
    const Sample& before = *(first - 1);
    const double gap = first->time - before.time;
    if (gap <= kVelocityWindow + kTimeTolerance) {
      const double share = (start - before.time) / gap;
      from = {start, sum(before.way, scaled(difference(first->way, before.way), share))};
    }
  }
  const double duration = newest.time - from.time;
  if (!(duration > 0)) {
    return CGPointMake(0, 0);
  }
  return scaled(difference(newest.way, from.way), 1.0 / std::max(duration, kShortestMotion));
}

}  // namespace ZELPlatform
