// Threads for the harnesses: where they run, and a wait for the ones a step started.
#pragma once

#include <chrono>
#include <cstddef>

namespace fuzz {

// Keeps the calling thread, and every thread it starts from now on, on the processor it runs on.
// The library's workers and the binder's death threads start and end within a step; each one's
// end unmaps memory, and while the process also runs on another processor that processor has to
// acknowledge the TLB flush, which on a busy virtual machine can take longer than the whole step.
// The harnesses wait for those threads anyway, so they lose no parallelism by sharing a processor.
void StayOnThisProcessor();

// The number of threads the process has now, read from /proc/self/stat without allocating.
size_t ThreadCount();

// Waits, yielding the processor, until the process has at most `count` threads: the threads
// started since ThreadCount() said `count` have ended. False when some still run after `bound`.
[[nodiscard]] bool WaitForThreadCount(size_t count, std::chrono::milliseconds bound);

}  // namespace fuzz
