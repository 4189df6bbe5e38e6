#pragma once

namespace ZELPlatform {

/// Readable while the main queue has tasks, and from `wakeMainQueue` to the end of the next drain. Any thread.
int mainQueueDescriptor();

/// Makes the descriptor readable once. Any thread.
void wakeMainQueue();

/// Runs the tasks that are in the main queue now, but none that they add. Main thread; may be called from such a task.
void drainMainQueue();

}  // namespace ZELPlatform
