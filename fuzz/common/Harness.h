// What every harness needs besides its input: a way to report a broken invariant, a quiet log, and
// the threads the library starts for a step.
#pragma once

#include <chrono>
#include <cstddef>

#include "fuzz/common/FuzzInput.h"

namespace fuzz {

// Prints the message and aborts: how every harness reports a broken invariant.
[[noreturn]] void Fail(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Made once per process, before the harness's own set-up:
// - installs a logger that drops every line (lines are still formatted), unless the environment
//   variable AON_FUZZ_LOG is set: then lines go to stderr, for reading a reproducer's course;
// - keeps the calling thread, and every thread it starts from now on, on the processor it runs
//   on. The library's workers and the binder's death threads start and end within a step; each
//   one's end unmaps memory, and while the process also runs on another processor that processor
//   has to acknowledge the TLB flush, which on a busy virtual machine can take longer than the
//   whole step. The harnesses wait for those threads anyway, so they lose no parallelism by
//   sharing a processor.
void SetUpProcess();

// The number of threads the process has now, read from /proc/self/task (what it allocates it
// frees).
size_t ThreadCount();

// Waits, yielding the processor, until the process has at most `count` threads: the threads
// started since ThreadCount() said `count` have ended. False when some still run after `bound`.
[[nodiscard]] bool WaitForThreadCount(size_t count, std::chrono::milliseconds bound);

}  // namespace fuzz
