#pragma once

#include "drivers/vulkan/Device.h"

#include <atomic>
#include <memory>

namespace metaltest {

/// Makes the call number `dueAt` to Vulkan fail; 0: none.
struct Faults {
  std::atomic<int> calls{0};
  std::atomic<int> dueAt{0};
  VkResult result = VK_ERROR_OUT_OF_DEVICE_MEMORY;

  bool isDue() { return ++calls == dueAt; }

  /// Has the call of that number fail, counted from now.
  void arm(int number, VkResult with) {
    result = with;
    calls = 0;
    dueAt = number;
  }
  /// No call fails any more; true if one did.
  bool disarm() {
    const int due = dueAt.exchange(0);
    return due > 0 && calls >= due;
  }
};

/// Those of all faulty devices. One test at a time.
extern Faults faults;

/// A device whose calls fail when they are told to, watched by the validation layer; null when its opening fails. While
/// it is told that the device was lost, what it does with the device is no use to the layer, which is off then.
std::shared_ptr<ZELPlatform::vulkan::Device> faultyDevice();

}  // namespace metaltest
