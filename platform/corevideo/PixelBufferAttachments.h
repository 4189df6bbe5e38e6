#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace ZELPlatform {

/// Things that drivers keep with a pixel buffer, such as textures that are its memory: made once, dropped before the
/// memory is given back. They must not hold the buffer. Any thread.
class PixelBufferAttachments {
 public:
  /// What is attached: whose it is, and of which plane.
  struct Key {
    const void* owner = nullptr;
    size_t plane = 0;
    uint32_t format = 0;
    size_t width = 0;
    size_t height = 0;

    bool operator==(const Key&) const = default;
  };

  /// What was attached under the key, else what `make` gives, which is kept even if it is null: what cannot be made of
  /// a memory once cannot be made of it the next time.
  std::shared_ptr<void> findOrMake(const Key& key, const std::function<std::shared_ptr<void>()>& make) {
    const std::lock_guard lock(mutex_);
    for (const auto& [known, attachment] : attachments_) {
      if (known == key) return attachment;
    }
    return attachments_.emplace_back(key, make()).second;
  }

 private:
  std::mutex mutex_;
  std::vector<std::pair<Key, std::shared_ptr<void>>> attachments_;
};

}  // namespace ZELPlatform
