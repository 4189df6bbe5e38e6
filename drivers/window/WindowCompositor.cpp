#include "drivers/window/WindowCompositor.h"

#include "platform/quartzcore/LayerContents.h"

#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/Foundation.h>

#include <algorithm>
#include <utility>

namespace ZELPlatform {
namespace {

double seconds(Pacemaker::Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

Pacemaker::Clock::duration periodOf(double refreshRate) {
  const double rate = refreshRate > 0 ? refreshRate : 60.0;
  return std::chrono::duration_cast<Pacemaker::Clock::duration>(std::chrono::duration<double>(1.0 / rate));
}

bool canBeSeen(const Scene& scene) {
  return scene.pixelWidth > 0 && scene.pixelHeight > 0 && scene.points.width > 0 && scene.points.height > 0;
}

}  // namespace

void RefreshReports::post(double timestamp, double duration) {
  if (pending_.exchange(true)) return;
  DispatchQueue::mainQueue()->async([self = shared_from_this(), timestamp, duration] {
    self->pending_ = false;
    if (self->wanted_) DisplayRefresh::shared().refresh(timestamp, duration);
  });
}

void WindowCompositor::Orders::noteChange() {
  {
    const std::lock_guard lock(mutex);
    changed = true;
  }
  given.notify_one();
}

WindowCompositor::WindowCompositor(const NativeSurface& surface, std::unique_ptr<WindowPainter> general,
                                   double refreshRate)
    : surface_(surface),
      general_(std::move(general)),
      pacemaker_(periodOf(refreshRate), Pacemaker::Clock::now()),
      hostTimeOffset_(CACurrentMediaTime() - seconds(Pacemaker::Clock::now().time_since_epoch())),
      thread_([this] { run(); }) {}

WindowCompositor::~WindowCompositor() {
  reports_->end();
  observe({});
  {
    const std::lock_guard lock(orders_->mutex);
    orders_->quit = true;
  }
  orders_->given.notify_one();
  thread_.join();
}

void WindowCompositor::setScene(Scene scene) {
  observe(scene);
  {
    const std::lock_guard lock(orders_->mutex);
    orders_->scene = std::make_shared<const Scene>(std::move(scene));
  }
  orders_->noteChange();
}

void WindowCompositor::observe(const Scene& scene) {
  std::vector<std::shared_ptr<LayerContents>> now;
  for (const SceneItem& item : scene.items) now.push_back(item.contents);
  const auto isIn = [](const auto& list, const auto& contents) {
    return std::find(list.begin(), list.end(), contents) != list.end();
  };
  for (const auto& contents : observed_) {
    if (!isIn(now, contents)) contents->setObserver(this, nullptr);
  }
  for (const auto& contents : now) {
    if (!isIn(observed_, contents)) contents->setObserver(this, [orders = orders_] { orders->noteChange(); });
  }
  observed_ = std::move(now);
}

void WindowCompositor::setVisible(bool visible) {
  {
    const std::lock_guard lock(orders_->mutex);
    orders_->visible = visible;
  }
  orders_->noteChange();
}

void WindowCompositor::setWanted(bool wanted) {
  reports_->setWanted(wanted);
  {
    const std::lock_guard lock(orders_->mutex);
    orders_->wanted = wanted;
  }
  orders_->given.notify_one();
}

void WindowCompositor::invalidate() { orders_->noteChange(); }

void WindowCompositor::composeNow() {
  std::unique_lock lock(orders_->mutex);
  const uint64_t number = ++orders_->asked;
  orders_->given.notify_one();
  orders_->carriedOut.wait(lock, [&] { return orders_->answered >= number; });
}

void WindowCompositor::run() {
  for (const SpecialPainterDescriptor& descriptor : specialPainters()) specials_.push_back({descriptor, nullptr});
  nextTick_ = pacemaker_.tickAfter(Pacemaker::Clock::now());
  nextPicture_ = nextTick_ - pacemaker_.period();
  obey();
  give(nullptr);
  specials_.clear();
}

void WindowCompositor::obey() {
  std::unique_lock lock(orders_->mutex);
  while (!orders_->quit) {
    const uint64_t asked = orders_->asked;
    const bool due = orders_->changed && Pacemaker::Clock::now() >= nextPicture_;
    if (mayCompose() && (due || asked > orders_->answered)) {
      const auto scene = orders_->scene;
      orders_->changed = false;
      lock.unlock();
      compose(*scene);
      lock.lock();
    }
    if (orders_->answered != asked) {
      orders_->answered = asked;
      orders_->carriedOut.notify_all();
    }
    if (orders_->wanted) reportDueTick();
    waitForOrders(lock);
  }
}

bool WindowCompositor::mayCompose() const {
  return !lost_ && orders_->visible && orders_->scene && canBeSeen(*orders_->scene);
}

void WindowCompositor::waitForOrders(std::unique_lock<std::mutex>& lock) {
  if (orders_->quit || orders_->asked > orders_->answered) return;
  Time deadline = Time::max();
  if (mayCompose() && orders_->changed) deadline = nextPicture_;
  if (orders_->wanted) deadline = std::min(deadline, nextTick_);
  if (deadline == Time::max()) {
    orders_->given.wait(lock);
  } else {
    orders_->given.wait_until(lock, deadline);
  }
}

void WindowCompositor::compose(const Scene& scene) {
  lost_ = (painter_ ? painter_ : general_.get())->isLost();
  if (lost_) return;
  nextPicture_ = pacemaker_.tickAfter(Pacemaker::Clock::now());
  lost_ = !paint(scene);
  if (lost_) return;
  const Time begin = Pacemaker::Clock::now();
  const Shown shown = painter_->show();
  const Time end = Pacemaker::Clock::now();
  lost_ = shown == Shown::Lost;
  if (shown == Shown::Again) orders_->noteChange();
  if (shown != Shown::Yes) return;
  composedCount_.fetch_add(1, std::memory_order_relaxed);
  if (painter_ != general_.get()) speciallyPaintedCount_.fetch_add(1, std::memory_order_relaxed);
  if (pacemaker_.noteSwap(begin, end)) nextTick_ = nextPicture_ = end;
}

bool WindowCompositor::paint(const Scene& scene) {
  if (Special* special = suitable(scene)) {
    if (give(special->painter.get()) && painter_->paint(scene)) return true;
    special->refused = true;
  }
  return give(general_.get()) && painter_->paint(scene);
}

bool WindowCompositor::give(WindowPainter* painter) {
  if (painter == painter_) return true;
  if (painter_) painter_->end();
  painter_ = painter && painter->begin() ? painter : nullptr;
  return painter_ != nullptr;
}

WindowCompositor::Special* WindowCompositor::suitable(const Scene& scene) {
  for (Special& special : specials_) {
    if (special.refused || !special.descriptor.suits(scene)) continue;
    if (!special.painter) special.painter = special.descriptor.create(surface_);
    if (special.painter) return &special;
    special.refused = true;
  }
  return nullptr;
}

void WindowCompositor::reportDueTick() {
  const Time now = Pacemaker::Clock::now();
  if (now < nextTick_) return;
  const Time tick = pacemaker_.tickAtOrBefore(now);
  nextTick_ = tick + pacemaker_.period();
  reports_->post(seconds(tick.time_since_epoch()) + hostTimeOffset_, seconds(pacemaker_.period()));
}

}  // namespace ZELPlatform
