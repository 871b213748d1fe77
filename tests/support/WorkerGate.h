// Holds the manager's open/close workers where they start: a worker names its thread "AONManager"
// with prctl before it takes the manager's lock, and a binary linked with -Wl,--wrap=prctl that
// includes this header (in one source file) sends that call through gWorkerGate first. Closed, the
// gate keeps the worker there until the test opens it.
#pragma once

#include <sys/prctl.h>

#include <cstdarg>
#include <cstring>

#include "tests/support/Gate.h"

namespace aon_test {

inline Gate gWorkerGate(/*open=*/true);

}  // namespace aon_test

extern "C" int __real_prctl(int option, ...);

extern "C" int __wrap_prctl(int option, ...) {
    std::va_list args;
    va_start(args, option);
    unsigned long arg[4];  // prctl's arguments 2 to 5
    for (unsigned long& value : arg) value = va_arg(args, unsigned long);
    va_end(args);
    const char* name = reinterpret_cast<const char*>(arg[0]);
    if (option == PR_SET_NAME && std::strcmp(name, "AONManager") == 0) aon_test::gWorkerGate.Pass();
    return __real_prctl(option, arg[0], arg[1], arg[2], arg[3]);
}
