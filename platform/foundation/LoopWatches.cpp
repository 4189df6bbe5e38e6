#include "platform/foundation/LoopWatches.h"

#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace ZELPlatform {

LoopWatches::LoopWatches() : descriptor_(epoll_create1(EPOLL_CLOEXEC)) {}

LoopWatches::~LoopWatches() { close(descriptor_); }

bool LoopWatches::include(int descriptor) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = descriptor;
  return epoll_ctl(descriptor_, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

bool LoopWatches::add(uint64_t token, int descriptor, std::function<void()> task) {
  if (!isWatched(descriptor) && !include(descriptor)) return false;
  watches_[token] = {descriptor, std::make_shared<const std::function<void()>>(std::move(task))};
  return true;
}

bool LoopWatches::remove(uint64_t token) {
  const auto found = watches_.find(token);
  if (found == watches_.end()) return false;
  const int descriptor = found->second.descriptor;
  watches_.erase(found);
  // Fails harmlessly for a descriptor that its owner has closed already.
  if (!isWatched(descriptor)) epoll_ctl(descriptor_, EPOLL_CTL_DEL, descriptor, nullptr);
  return true;
}

std::vector<uint64_t> LoopWatches::tokens() const {
  std::vector<uint64_t> tokens;
  for (const auto& entry : watches_) tokens.push_back(entry.first);
  return tokens;
}

void LoopWatches::runIfReadable(uint64_t token) {
  const auto found = watches_.find(token);
  if (found == watches_.end()) return;
  pollfd descriptor{found->second.descriptor, POLLIN, 0};
  if (poll(&descriptor, 1, 0) <= 0 || (descriptor.revents & POLLNVAL)) return;
  const auto task = found->second.task;
  (*task)();
}

bool LoopWatches::isWatched(int descriptor) const {
  return std::any_of(watches_.begin(), watches_.end(),
                     [&](const auto& entry) { return entry.second.descriptor == descriptor; });
}

}  // namespace ZELPlatform
