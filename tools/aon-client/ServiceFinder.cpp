#include "tools/aon-client/ServiceFinder.h"

#include <android/binder_manager.h>

#include <algorithm>
#include <cstdio>

namespace aon_client {

ndk::SpAIBinder FindService(const std::string& instance, std::chrono::milliseconds wait,
                            RunControl& control, std::string* error) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + wait;
    for (;;) {
        ndk::SpAIBinder binder(AServiceManager_checkService(instance.c_str()));
        if (binder.get() != nullptr) return binder;
        const Clock::time_point now = Clock::now();
        if (now >= deadline) break;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now);
        if (!control.Pause(std::min(kRetryPeriod, left + std::chrono::milliseconds(1)))) {
            *error = "interrupted while waiting for " + instance;
            return nullptr;
        }
    }
    char seconds[32];
    std::snprintf(seconds, sizeof(seconds), "%.1f s", wait.count() / 1000.0);
    *error = instance + " not found (waited " + seconds + "); " +
             (AServiceManager_isDeclared(instance.c_str())
                      ? "the device declares it: is the camera HAL process running, and did it "
                        "call RegisterIAonService()?"
                      : "either the device does not declare it (no VINTF manifest entry) or "
                        "SELinux does not let this process find it");
    return nullptr;
}

}  // namespace aon_client
