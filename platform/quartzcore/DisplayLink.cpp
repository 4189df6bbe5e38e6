#include <ZELPlatform/QuartzCore.h>

#include "platform/quartzcore/RefreshPreparation.h"

#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/UIScreen.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>

namespace {

/// The source in charge without a window: a main-run-loop timer at the main screen's rate.
class RefreshTimer final : public DisplayRefresh::Source {
 public:
  ~RefreshTimer() override { stop(); }

  void setWanted(bool wanted) override {
    if (wanted == (timer_ != 0)) {
      return;
    }
    if (wanted) {
      start();
    } else {
      stop();
    }
  }

 private:
  void start() {
    period_ = screenPeriod();
    origin_ = CACurrentMediaTime();
    timer_ = NSRunLoop::mainRunLoop().addTimer(period_, period_, [this] { tick(); });
  }

  void stop() {
    if (const NSRunLoop::Token timer = std::exchange(timer_, 0)) {
      NSRunLoop::mainRunLoop().remove(timer);
    }
  }

  void tick() {
    // The newest multiple of the period, so that timestamps are evenly spaced however late the loop is.
    constexpr double kEarlyTolerance = 1e-3;
    const double rounds = std::floor((CACurrentMediaTime() - origin_) / period_ + kEarlyTolerance);
    const double period = period_;
    const double timestamp = origin_ + rounds * period;
    if (screenPeriod() != period_) {
      stop();
      start();
    }
    DisplayRefresh::shared().refresh(timestamp, period);
  }

  static double screenPeriod() { return 1.0 / std::max(1.0, UIScreen::mainScreen().maximumFramesPerSecond()); }

  NSRunLoop::Token timer_ = 0;
  double period_ = 0.0;
  double origin_ = 0.0;
};

std::vector<std::function<void()>>& refreshPreparations() {
  static auto& preparations = *new std::vector<std::function<void()>>;
  return preparations;
}

}  // namespace

namespace ZELPlatform {

void addRefreshPreparation(std::function<void()> task) { refreshPreparations().push_back(std::move(task)); }

}  // namespace ZELPlatform

struct CADisplayLink::State {
  std::weak_ptr<CADisplayLink> self;
  std::atomic<bool> paused{false};
  std::atomic<bool> invalid{false};
  std::atomic<double> timestamp{0.0};
  std::atomic<double> duration{0.0};

  /// Shared, so that a target may invalidate its own link while it runs.
  std::shared_ptr<std::function<void()>> target() {
    const std::lock_guard lock(mutex_);
    return target_;
  }

  void setTarget(std::shared_ptr<std::function<void()>> target) {
    {
      const std::lock_guard lock(mutex_);
      target_.swap(target);
    }
    // The old target goes here, outside the lock: what it holds may call back.
  }

 private:
  std::mutex mutex_;
  std::shared_ptr<std::function<void()>> target_;
};

struct DisplayRefresh::Implementation {
  std::vector<std::shared_ptr<CADisplayLink>> links;
  std::shared_ptr<Source> source = std::make_shared<RefreshTimer>();
  bool stepped = false;
  bool wanted = false;

  void add(const std::shared_ptr<CADisplayLink>& link) {
    if (std::find(links.begin(), links.end(), link) == links.end()) {
      links.push_back(link);
    }
    update();
  }

  void removeInvalidLinks() {
    // The links are dropped outside the list: their destruction may come back here.
    std::vector<std::shared_ptr<CADisplayLink>> dead;
    const auto isLive = [](const auto& link) { return !link->state_->invalid; };
    const auto firstDead = std::stable_partition(links.begin(), links.end(), isLive);
    dead.assign(std::make_move_iterator(firstDead), std::make_move_iterator(links.end()));
    links.erase(firstDead, links.end());
    update();
  }

  /// Tells the source whether any link wants refreshes, when that changed.
  void update() {
    const auto isRunning = [](const auto& link) { return !link->state_->invalid && !link->state_->paused; };
    const bool wants = !stepped && std::any_of(links.begin(), links.end(), isRunning);
    if (std::exchange(wanted, wants) != wants) {
      source->setWanted(wants);
    }
  }

  void replaceSource(std::shared_ptr<Source> next) {
    if (std::exchange(wanted, false)) {
      source->setWanted(false);
    }
    source = std::move(next);
    update();
  }
};

std::shared_ptr<CADisplayLink> CADisplayLink::create(std::function<void()> target) {
  std::shared_ptr<CADisplayLink> link(new CADisplayLink());
  link->state_ = std::make_shared<State>();
  link->state_->self = link;
  link->state_->setTarget(std::make_shared<std::function<void()>>(std::move(target)));
  return link;
}

CADisplayLink::~CADisplayLink() = default;

bool CADisplayLink::isPaused() const { return state_->paused; }

void CADisplayLink::setPaused(bool paused) {
  state_->paused = paused;
  DisplayRefresh::shared().implementation_->update();
}

void CADisplayLink::addToMainRunLoop() {
  const std::shared_ptr<CADisplayLink> self = state_->self.lock();
  if (self && !state_->invalid) {
    DisplayRefresh::shared().implementation_->add(self);
  }
}

void CADisplayLink::invalidate() {
  if (state_->invalid.exchange(true)) {
    return;
  }
  // The target may hold the last reference to this link.
  const std::shared_ptr<CADisplayLink> self = state_->self.lock();
  state_->setTarget(nullptr);
  if (DispatchIsMainThread()) {
    DisplayRefresh::shared().implementation_->removeInvalidLinks();
  } else {
    DispatchQueue::mainQueue()->async([] { DisplayRefresh::shared().implementation_->removeInvalidLinks(); });
  }
}

double CADisplayLink::timestamp() const { return state_->timestamp; }

double CADisplayLink::duration() const { return state_->duration; }

DisplayRefresh::DisplayRefresh() : implementation_(std::make_unique<Implementation>()) {}

DisplayRefresh::~DisplayRefresh() = default;

DisplayRefresh& DisplayRefresh::shared() {
  // Never destroyed: links may be dropped while the process ends.
  static DisplayRefresh& refresh = *new DisplayRefresh();
  return refresh;
}

void DisplayRefresh::setSource(std::shared_ptr<Source> source) {
  implementation_->replaceSource(source ? std::move(source) : std::make_shared<RefreshTimer>());
}

void DisplayRefresh::removeSource(const std::shared_ptr<Source>& source) {
  if (source && implementation_->source == source) {
    setSource(nullptr);
  }
}

void DisplayRefresh::setStepped(bool stepped) {
  implementation_->stepped = stepped;
  implementation_->update();
}

bool DisplayRefresh::isStepped() const { return implementation_->stepped; }

void DisplayRefresh::refresh(double timestamp, double duration) {
  for (size_t index = 0; index < refreshPreparations().size(); ++index) {
    refreshPreparations()[index]();
  }
  // A copy: targets add, pause and invalidate links. Those added now wait for the next refresh.
  const std::vector<std::shared_ptr<CADisplayLink>> links = implementation_->links;
  for (const std::shared_ptr<CADisplayLink>& link : links) {
    if (link->state_->paused || link->state_->invalid) {
      continue;
    }
    const std::shared_ptr<std::function<void()>> target = link->state_->target();
    if (target && *target) {
      link->state_->timestamp = timestamp;
      link->state_->duration = duration;
      (*target)();
    }
  }
}
