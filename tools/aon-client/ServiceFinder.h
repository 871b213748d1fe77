// Finds the service by its instance name within a bound. The platform's own wait
// (AServiceManager_waitForService) has none, so the finder asks the service manager again every
// kRetryPeriod until the bound has passed.
#pragma once

#include <android/binder_auto_utils.h>

#include <chrono>
#include <string>

#include "tools/aon-client/RunControl.h"

namespace aon_client {

constexpr std::chrono::milliseconds kRetryPeriod{100};

// The service's binder, or null with `error` set: not found within `wait` (saying whether the
// device declares the instance), or the wait was interrupted.
ndk::SpAIBinder FindService(const std::string& instance, std::chrono::milliseconds wait,
                            RunControl& control, std::string* error);

}  // namespace aon_client
