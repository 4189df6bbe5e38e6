#include "drivers/egl/Compositor.h"

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

std::shared_ptr<Compositor> EglDriver::createCompositor(const NativeSurface& surface, double refreshRate,
                                                        std::string* error) {
  auto window = WindowSurface::create(*display_, surface, error);
  if (!window) return nullptr;
  EGLContext context = display_->createContext(window->config(), root_);
  if (context == EGL_NO_CONTEXT) {
    *error = "The window cannot be drawn on: EGL cannot create a context for it (" + eglErrorName() + ").";
    return nullptr;
  }
  return std::make_shared<EglCompositor>(*this, std::move(window), context, refreshRate);
}

void RefreshReports::post(double timestamp, double duration) {
  if (pending_.exchange(true)) return;
  DispatchQueue::mainQueue()->async([self = shared_from_this(), timestamp, duration] {
    self->pending_ = false;
    if (self->wanted_) DisplayRefresh::shared().refresh(timestamp, duration);
  });
}

void EglCompositor::Orders::noteChange() {
  {
    const std::lock_guard lock(mutex);
    changed = true;
  }
  given.notify_one();
}

EglCompositor::EglCompositor(EglDriver& driver, std::unique_ptr<WindowSurface> surface, EGLContext context,
                             double refreshRate)
    : driver_(driver),
      surface_(std::move(surface)),
      context_(context),
      pacemaker_(periodOf(refreshRate), Pacemaker::Clock::now()),
      hostTimeOffset_(CACurrentMediaTime() - seconds(Pacemaker::Clock::now().time_since_epoch())),
      thread_([this] { run(); }) {}

EglCompositor::~EglCompositor() {
  reports_->end();
  observe({});
  {
    const std::lock_guard lock(orders_->mutex);
    orders_->quit = true;
  }
  orders_->given.notify_one();
  thread_.join();
}

void EglCompositor::setScene(Scene scene) {
  observe(scene);
  {
    const std::lock_guard lock(orders_->mutex);
    orders_->scene = std::make_shared<const Scene>(std::move(scene));
  }
  orders_->noteChange();
}

void EglCompositor::observe(const Scene& scene) {
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

void EglCompositor::setVisible(bool visible) {
  {
    const std::lock_guard lock(orders_->mutex);
    orders_->visible = visible;
  }
  orders_->noteChange();
}

void EglCompositor::setWanted(bool wanted) {
  reports_->setWanted(wanted);
  {
    const std::lock_guard lock(orders_->mutex);
    orders_->wanted = wanted;
  }
  orders_->given.notify_one();
}

void EglCompositor::invalidate() { orders_->noteChange(); }

void EglCompositor::composeNow() {
  std::unique_lock lock(orders_->mutex);
  const uint64_t number = ++orders_->asked;
  orders_->given.notify_one();
  orders_->carriedOut.wait(lock, [&] { return orders_->answered >= number; });
}

void EglCompositor::run() {
  lost_ = !surface_->makeCurrent(context_);
  if (!lost_) painter_ = ScenePainter::create(driver_);
  lost_ = lost_ || !painter_;
  nextTick_ = pacemaker_.tickAfter(Pacemaker::Clock::now());
  nextPicture_ = nextTick_ - pacemaker_.period();
  obey();
  painter_.reset();
  const EGLDisplay display = driver_.display().handle();
  eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  surface_.reset();
  eglDestroyContext(display, context_);
}

void EglCompositor::obey() {
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

bool EglCompositor::mayCompose() const {
  return !lost_ && orders_->visible && orders_->scene && canBeSeen(*orders_->scene);
}

void EglCompositor::waitForOrders(std::unique_lock<std::mutex>& lock) {
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

void EglCompositor::compose(const Scene& scene) {
  lost_ = surface_->isLost();
  if (lost_) return;
  nextPicture_ = pacemaker_.tickAfter(Pacemaker::Clock::now());
  surface_->resize(scene.pixelWidth, scene.pixelHeight);
  // The picture is waited for, so that what the swap takes is the display's time alone.
  if (const auto painted = painter_->paint(scene)) painted->wait();
  const Time begin = Pacemaker::Clock::now();
  lost_ = !surface_->swap();
  const Time end = Pacemaker::Clock::now();
  if (lost_) return;
  composedCount_.fetch_add(1, std::memory_order_relaxed);
  if (pacemaker_.noteSwap(begin, end)) nextTick_ = nextPicture_ = end;
}

void EglCompositor::reportDueTick() {
  const Time now = Pacemaker::Clock::now();
  if (now < nextTick_) return;
  const Time tick = pacemaker_.tickAtOrBefore(now);
  nextTick_ = tick + pacemaker_.period();
  reports_->post(seconds(tick.time_since_epoch()) + hostTimeOffset_, seconds(pacemaker_.period()));
}

}  // namespace ZELPlatform
