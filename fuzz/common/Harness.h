// What every harness needs besides its input: a way to report a broken invariant, and a quiet log.
#pragma once

namespace fuzz {

// Prints the message and aborts: how every harness reports a broken invariant.
[[noreturn]] void Fail(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Installs a logger that drops every line (lines are still formatted), unless the environment
// variable AON_FUZZ_LOG is set: then lines go to stderr, for reading a reproducer's course.
void QuietLog();

}  // namespace fuzz
