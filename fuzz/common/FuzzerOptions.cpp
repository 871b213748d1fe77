// Defaults of the libFuzzer executables' AddressSanitizer runtime (ASAN_OPTIONS still overrides
// them). Linked into the fuzzers only, not into the corpus replays.
//
// The allocator keeps the memory that freed chunks leave in its free lists instead of returning
// it to the kernel every five seconds. Every input allocates and frees the same kinds of results;
// returned memory makes each of them fault its pages in again, and a page fault costs more than
// most inputs. Nothing is detected differently: the quarantine, the redzones and the leak check
// are untouched.
extern "C" const char* __asan_default_options() {
    return "allocator_release_to_os_interval_ms=-1";
}
