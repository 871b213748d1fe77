#include "tools/aon-sim/ThreadName.h"

#include <sys/prctl.h>

namespace aon_sim {

std::string CurrentThreadName() {
    char name[17] = {};
    prctl(PR_GET_NAME, name, 0, 0, 0);
    return name;
}

void SetCurrentThreadName(const char* name) {
    prctl(PR_SET_NAME, name, 0, 0, 0);
}

}  // namespace aon_sim
