#pragma once

#include <ZELPlatform/CoreGraphics.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

namespace ZELPlatform {

/// A finished picture in GPU memory. Whoever shows it holds a reference while it does; the producer draws into the
/// image again only when it holds the last one.
class LayerImage {
 public:
  virtual ~LayerImage() = default;
  virtual size_t width() const = 0;
  virtual size_t height() const = 0;

  /// The pixels, rows from the top; waits for the GPU. Any thread; leaves the thread's current context as it was. Null
  /// when the driver refuses.
  virtual std::shared_ptr<CGImage> readBack() = 0;
};

/// What a layer shows: the newest drawn image or a still one, shared between producer, compositor and snapshots. Any
/// thread.
class LayerContents {
 public:
  /// Puts a drawn image in front and tells the observer.
  void present(std::shared_ptr<LayerImage> image);

  void setStill(std::shared_ptr<CGImage> image);

  std::shared_ptr<LayerImage> front() const;
  std::shared_ptr<CGImage> still() const;

  /// Goes up with every present and every still: equal numbers mean an unchanged picture.
  uint64_t generation() const;

  /// Presents so far.
  uint64_t presentCount() const;

  /// Called on the presenting thread after every change. After it was replaced the old one is not called again. Null
  /// ends it if it is still this owner's: a layer may have gone on to another window, which observes it now.
  void setObserver(const void* owner, std::function<void()> observer);

 private:
  void changed();

  mutable std::mutex mutex_;
  std::shared_ptr<LayerImage> front_;
  std::shared_ptr<CGImage> still_;
  uint64_t generation_ = 0;
  uint64_t presentCount_ = 0;
  std::mutex observerMutex_;
  const void* observerOwner_ = nullptr;
  std::function<void()> observer_;
};

}  // namespace ZELPlatform
