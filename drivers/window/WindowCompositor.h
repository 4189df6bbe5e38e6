#pragma once

#include "drivers/window/Pacemaker.h"
#include "drivers/window/WindowPainter.h"
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
/// A picture goes on the window at once when a layer presents, but at most one between two ticks of the display. A
/// special painter has the window while it suits the scene, the general one at all other times.
class WindowCompositor final : public Compositor {
 public:
  WindowCompositor(const NativeSurface& surface, std::unique_ptr<WindowPainter> general, double refreshRate);
  ~WindowCompositor() override;

  void setScene(Scene scene) override;
  void setVisible(bool visible) override;
  void setWanted(bool wanted) override;
  void invalidate() override;
  void composeNow() override;
  uint64_t composedCount() const override { return composedCount_.load(std::memory_order_relaxed); }

  /// Pictures that special painters put on the window so far.
  uint64_t speciallyPaintedCount() const { return speciallyPaintedCount_.load(std::memory_order_relaxed); }

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

  /// A special painter of this window; made when it first suits.
  struct Special {
    SpecialPainterDescriptor descriptor;
    std::unique_ptr<WindowPainter> painter;
    bool refused = false;
  };

  // The thread.
  void run();
  void obey();
  bool mayCompose() const;
  void waitForOrders(std::unique_lock<std::mutex>& lock);
  void compose(const Scene& scene);
  bool paint(const Scene& scene);
  bool give(WindowPainter* painter);
  Special* suitable(const Scene& scene);
  void reportDueTick();

  const NativeSurface surface_;
  const std::unique_ptr<WindowPainter> general_;
  const std::shared_ptr<Orders> orders_ = std::make_shared<Orders>();
  const std::shared_ptr<RefreshReports> reports_ = std::make_shared<RefreshReports>();
  std::atomic<uint64_t> composedCount_{0};
  std::atomic<uint64_t> speciallyPaintedCount_{0};
  /// Main thread.
  std::vector<std::shared_ptr<LayerContents>> observed_;

  // The thread's own.
  Pacemaker pacemaker_;
  /// Host time less the clock that paces.
  const double hostTimeOffset_;
  std::vector<Special> specials_;
  /// Who has the window; null while nobody has.
  WindowPainter* painter_ = nullptr;
  bool lost_ = false;
  Time nextTick_;
  Time nextPicture_;

  std::thread thread_;
};

}  // namespace ZELPlatform
