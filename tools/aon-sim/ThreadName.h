// The name of the calling thread, as the kernel keeps it (at most 15 characters).
#pragma once

#include <string>

namespace aon_sim {

std::string CurrentThreadName();
void SetCurrentThreadName(const char* name);

}  // namespace aon_sim
