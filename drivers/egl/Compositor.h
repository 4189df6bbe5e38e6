#pragma once

#include "drivers/egl/EglDriver.h"
#include "drivers/egl/Pacemaker.h"
#include "drivers/egl/ScenePainter.h"
#include "drivers/egl/WindowSurface.h"
#include "platform/quartzcore/Compositor.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace ZELPlatform {

/// Brings refreshes from the compositor's thread to the main one, at most one at a time, and none after `end`.
class RefreshReports : public std::enable_shared_from_this<RefreshReports> {
 public:
  /// Compositor's thread. A refresh is dropped while the one before has not begun.
  void post(double timestamp, double duration);

  /// Main thread.
  void setWanted(bool wanted) { wanted_ = wanted; }
  void end() { wanted_ = false; }

 private:
  std::atomic<bool> pending_{false};
  /// Main thread.
  bool wanted_ = false;
};

/// Composes one window on a thread of its own; hidden at first.
///
/// A picture goes on the window at once when a layer presents, but at most one between two ticks of the display.
class EglCompositor final : public Compositor {
 public:
  EglCompositor(EglDriver& driver, std::unique_ptr<WindowSurface> surface, EGLContext context, double refreshRate);
  ~EglCompositor() override;

  void setScene(Scene scene) override;
  void setVisible(bool visible) override;
  void setWanted(bool wanted) override;
  void invalidate() override;
  void composeNow() override;
  uint64_t composedCount() const override { return composedCount_.load(std::memory_order_relaxed); }

 private:
  using Time = Pacemaker::Time;

  /// What the thread is told. The layers' observers hold it too, so that it outlives their last call.
  struct Orders {
    std::mutex mutex;
    std::condition_variable given;
    std::condition_variable carriedOut;
    std::shared_ptr<const Scene> scene;
    bool changed = false;
    bool visible = false;
    bool wanted = false;
    bool quit = false;
    /// Numbers of the newest immediate composition asked for, and of the newest carried out.
    uint64_t asked = 0;
    uint64_t answered = 0;

    void noteChange();
  };

  void observe(const Scene& scene);

  // The thread.
  void run();
  void obey();
  bool mayCompose() const;
  void waitForOrders(std::unique_lock<std::mutex>& lock);
  void compose(const Scene& scene);
  void reportDueTick();

  EglDriver& driver_;
  std::unique_ptr<WindowSurface> surface_;
  const EGLContext context_;
  const std::shared_ptr<Orders> orders_ = std::make_shared<Orders>();
  const std::shared_ptr<RefreshReports> reports_ = std::make_shared<RefreshReports>();
  std::atomic<uint64_t> composedCount_{0};
  /// Main thread.
  std::vector<std::shared_ptr<LayerContents>> observed_;

  // The thread's own.
  Pacemaker pacemaker_;
  /// Host time less the clock that paces.
  const double hostTimeOffset_;
  std::unique_ptr<ScenePainter> painter_;
  bool lost_ = false;
  Time nextTick_;
  Time nextPicture_;

  std::thread thread_;
};

}  // namespace ZELPlatform
